import { counted, visible } from "../shared/elements.js";

// What is said of a POST, from its summary.

export function bytes(count) {
  if (count < 10_000) return `${count.toLocaleString("en")} B`;
  const [divisor, unit] = count < 10 * 2 ** 20 ? [1024, "KiB"] : [2 ** 20, "MiB"];
  return `${(count / divisor).toFixed(1)} ${unit}`;
}

export function clock(post) {
  return visible(post.time ?? "").slice(11, 23);
}

export function duration(post) {
  return Number.isFinite(post.duration_ms) ? `${post.duration_ms.toFixed(post.duration_ms < 10 ? 2 : 0)} ms` : "";
}

export function services(post) {
  return (post.services ?? []).map(visible).join(", ");
}

export function isFailure(post) {
  return post.status !== 200 || post.fault != null;
}

/** Names and values, for people. */
export function facts(post) {
  return [
    ["time", visible(post.time ?? "").replace("T", " ").replace("Z", " UTC")],
    ["client", visible(post.client ?? "")],
    ["status", String(post.status)],
    ["duration", duration(post)],
    ["requests", `${counted(post.requests ?? 0, "request")}${post.services?.length ? `: ${services(post)}` : ""}`],
    ["fault", post.fault == null ? "" : visible(post.fault)],
  ].filter(([, value]) => value);
}

/** Whether every word of the filter is in what the list says of it. */
export function matches(post, words) {
  const text = [`#${post.id}`, post.time, post.client, `status:${post.status}`, ...(post.services ?? []),
    post.fault == null ? "" : `fault:${post.fault}`].join("\n").toLowerCase();
  return words.every((word) => text.includes(word));
}
