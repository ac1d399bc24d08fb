// What is on a map, in words.

export function position({ latitude, longitude }) {
  return `${latitude.toFixed(5)}, ${longitude.toFixed(5)}`;
}

export function metres(length) {
  if (length >= 10_000) return `${(length / 1000).toLocaleString("en", { maximumFractionDigits: 1 })} km`;
  return `${Math.round(length).toLocaleString("en")} m`;
}

export function isSomewhere(thing) {
  return Number.isFinite(thing?.latitude) && Number.isFinite(thing?.longitude) && Math.abs(thing.latitude) <= 90;
}

function within(thing) {
  return Number.isFinite(thing.accuracy_m) ? ` within ${metres(thing.accuracy_m)}` : "";
}

function labelled(what, { label }) {
  if (!label || what.includes(label)) return what;
  return label.includes(what) ? label : `${what} (${label})`;
}

function kindOf({ kind }) {
  return typeof kind === "number" ? `kind ${kind}` : kind;
}

/** The kinds of things, in the order they are drawn: each has its list in a map, its colour and its words. */
export const KINDS = [
  {
    list: "features",
    colour: "--feature",
    name: "feature",
    describe: (it) => (it.name || "feature without a name") + (it.kind == null ? "" : ` (${kindOf(it)})`),
  },
  {
    list: "stations",
    colour: (it) => (it.kind === "cell" ? "--cell" : "--wifi"),
    name: (it) => (it.kind === "cell" ? "cell" : "wifi access point"),
    describe: (it) =>
      [`${it.kind === "cell" ? "cell" : "wifi"} ${it.name}`,
        Number.isFinite(it.radius_m) && `reaches ${metres(it.radius_m)}`,
        Number.isFinite(it.received_dbm) && `received at ${it.received_dbm} dBm`].filter(Boolean).join(", "),
  },
  {
    list: "points",
    colour: "--point",
    name: "point asked about",
    describe: (it) => `${labelled("point asked about", it)} ${position(it)}`,
  },
  {
    list: "fixes",
    colour: "--fix",
    name: "own fix",
    describe: (it) => `${labelled("own fix", it)} ${position(it)}${within(it)}`,
  },
  {
    list: "estimates",
    colour: "--estimate",
    name: "estimate",
    describe: (it) => `${labelled("estimate", it)} ${position(it)}${within(it)}`,
  },
];

/** A value of KINDS that may depend on the thing. */
export function of(value, thing) {
  return typeof value === "function" ? value(thing) : value;
}

/** The things of one map, in the order they are drawn. */
export function thingsOf(map) {
  return KINDS.flatMap((kind) => (Array.isArray(map[kind.list]) ? map[kind.list] : [])
    .map((thing) => ({ kind, thing })));
}

/** Metres on a sphere. */
export function distanceBetween(a, b) {
  const radians = Math.PI / 180;
  const dLatitude = ((b.latitude - a.latitude) * radians) / 2;
  const dLongitude = ((b.longitude - a.longitude) * radians) / 2;
  const chord = Math.sin(dLatitude) ** 2 +
    Math.cos(a.latitude * radians) * Math.cos(b.latitude * radians) * Math.sin(dLongitude) ** 2;
  return 2 * 6_371_008.8 * Math.asin(Math.min(1, Math.sqrt(chord)));
}

/** The first estimate, the first fix and the metres between them, or nothing. */
export function gapOf(map) {
  const estimate = map.estimates?.find(isSomewhere);
  const fix = map.fixes?.find(isSomewhere);
  if (!estimate || !fix) return undefined;
  const length = Number.isFinite(map.distance_m) ? map.distance_m : distanceBetween(estimate, fix);
  return { estimate, fix, length };
}

/** What one map shows, as lines of text, the most important first. */
export function linesOf(map) {
  const describe = ({ kind, thing }) =>
    (isSomewhere(thing) || ["features", "stations"].includes(kind.list) ? kind.describe(thing) : of(kind.name, thing));
  const lines = new Map(KINDS.map(({ list }) => [list, []]));
  for (const it of thingsOf(map)) lines.get(it.kind.list).push(describe(it));
  const gap = gapOf(map);
  return [
    ...(map.note ? [String(map.note)] : []), ...lines.get("estimates"), ...lines.get("fixes"),
    ...(gap ? [`${metres(gap.length)} between estimate and fix`] : []),
    ...lines.get("points"), ...lines.get("features"), ...lines.get("stations"),
  ];
}
