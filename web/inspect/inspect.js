import { beforeNextFrame, counted, element } from "../shared/elements.js";
import { RowList } from "../shared/row_list.js";
import { Feed } from "./feed.js";
import { bytes, clock, duration, isFailure, matches, services } from "./post_text.js";
import { PostView } from "./post_view.js";

const ROW_HEIGHT = 46;
const NEWS_MS = 4000;
const byId = (id) => document.getElementById(id);

const base = new URL("..", import.meta.url).href;
const feed = new Feed(new URL("events", base).href);
const view = new PostView(base);
// While paused, those that there were then.
let kept = null;
let shown = [];
let chosenId;
// The newest is shown until people choose one.
let follows = true;

const list = new RowList(byId("list"), {
  rowHeight: ROW_HEIGHT,
  render: renderPost,
  onActive: (index) => {
    follows = false;
    choose(shown[index]);
  },
});

function renderPost(index, row) {
  const post = shown[index];
  const isChosen = post.id === chosenId;
  row.classList.toggle("chosen", isChosen);
  row.setAttribute("aria-selected", isChosen);
  const status = post.fault == null ? String(post.status) : `${post.status} fault`;
  row.append(
    element("div", "first", element("span", "id", `#${post.id}`), element("span", "", clock(post)),
      element("span", isFailure(post) ? "bad" : "good", status), element("span", "quiet", duration(post))),
    element("div", "second quiet", [counted(post.requests ?? 0, "request"), services(post),
      `${bytes(post.bytes_in)} → ${bytes(post.bytes_out)}`, post.fault].filter(Boolean).join(" · ")));
}

function choose(post) {
  chosenId = post.id;
  list.refresh();
  view.show(post);
}

function update() {
  const posts = kept ?? feed.posts;
  const words = byId("filter").value.toLowerCase().split(/\s+/).filter(Boolean);
  const wasAtEnd = list.isAtEnd();
  shown = posts.filter((post) => matches(post, words));
  list.setCount(shown.length);
  list.setActive(shown.findIndex(({ id }) => id === chosenId));
  if (wasAtEnd && shown.length) list.reveal(shown.length - 1);
  const newest = shown.at(-1);
  if (follows && newest && newest.id !== chosenId) choose(newest);
  byId("count").textContent = words.length
    ? `${shown.length.toLocaleString("en")} of ${counted(posts.length, "POST")}` : counted(posts.length, "POST");
  tellState();
}

function tellState() {
  const waiting = kept ? feed.posts.filter(({ id }) => id > (kept.at(-1)?.id ?? 0)).length : 0;
  const state = kept ? "paused" : feed.isLive ? "live" : "lost";
  byId("state").className = `state state-${state}`;
  setText(byId("state"), { paused: "paused", live: "live", lost: "connection lost, trying again" }[state]);
  byId("pause").setAttribute("aria-pressed", kept !== null);
  setText(byId("pause"), kept ? `Go on${waiting ? ` (${waiting} new)` : ""}` : "Pause");
}

/** Those who listen hear only what is new. */
function setText(target, text) {
  if (target.textContent !== text) target.textContent = text;
}

const updateSoon = beforeNextFrame(update);
let news = 0;

function tellNews() {
  if (news) byId("news").textContent = `${counted(news, "new POST")}, the last with status ${feed.posts.at(-1)?.status}`;
  news = 0;
}

feed.addEventListener("change", () => {
  if (news++ === 0) setTimeout(tellNews, NEWS_MS);
  updateSoon();
});
feed.addEventListener("restart", () => {
  kept = null;
  chosenId = undefined;
  follows = true;
});
feed.addEventListener("state", tellState);
byId("filter").addEventListener("input", updateSoon);
byId("pause").addEventListener("click", () => {
  kept = kept ? null : feed.posts.slice();
  update();
});
byId("example").textContent =
  `kesu --server ${location.origin} locate --cell 1,1,1,1001,-71 --wifi 00-00-5E-00-53-01,-60`;
update();
