import { counted, element, visible } from "../shared/elements.js";
import { RowList } from "../shared/row_list.js";
import { linesOf } from "../map/facts.js";
import { MapView } from "../map/map_view.js";

// The page that kesu --map writes: all that it shows stands in it.

const ROW_HEIGHT = 46;
const byId = (id) => document.getElementById(id);
const read = (id) => JSON.parse(byId(id).textContent);

const answers = read("answers").map((map) => {
  const lines = linesOf(map).map(visible);
  return { map, title: visible(map.title ?? ""), lines, words: [map.title, ...lines].join("\n").toLowerCase() };
});
let shown = answers;

const view = new MapView(byId("map"), read("outlines"), {
  label: "Map of the answers",
  onPick: (index) => {
    list.setActive(index);
    list.reveal(index);
    choose(index);
  },
});

const list = new RowList(byId("list"), {
  rowHeight: ROW_HEIGHT,
  render: (index, row) => {
    const { title, lines } = shown[index];
    row.append(element("div", "", title), element("div", "quiet", lines[0] ?? ""));
    const isChosen = index === view.chosen;
    row.classList.toggle("chosen", isChosen);
    row.setAttribute("aria-selected", isChosen);
  },
  onActive: choose,
});

function choose(index) {
  view.choose(index);
  byId("chosen").hidden = index < 0;
  if (index >= 0) {
    const { title, lines } = shown[index];
    byId("chosen").replaceChildren(element("h2", "", title),
      element("ul", "", ...lines.map((line) => element("li", "", line))));
  }
  list.refresh();
}

function search() {
  const wanted = byId("filter").value.toLowerCase().split(/\s+/).filter(Boolean);
  shown = answers.filter(({ words }) => wanted.every((word) => words.includes(word)));
  list.setActive(-1);
  list.setCount(shown.length);
  view.show(shown.map(({ map }) => map));
  choose(-1);
  const all = counted(answers.length, "answer");
  byId("count").textContent = wanted.length ? `${shown.length.toLocaleString("en")} of ${all}` : all;
}

let typing;
byId("filter").addEventListener("input", () => {
  clearTimeout(typing);
  typing = setTimeout(search, 150);
});
byId("all").addEventListener("click", () => {
  byId("filter").value = "";
  search();
});
search();
