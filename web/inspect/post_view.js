import { element, visible } from "../shared/elements.js";
import { linesOf } from "../map/facts.js";
import { MapView } from "../map/map_view.js";
import { BodyView } from "./body_view.js";
import { facts } from "./post_text.js";

const byId = (id) => document.getElementById(id);

/** One POST, unfolded. */
export class PostView {
  /** `base` is the URL of the inspector, with a slash at its end. */
  constructor(base) {
    this.base = base;
    this.request = new BodyView(byId("request"), "Request");
    this.reply = new BodyView(byId("reply"), "Reply");
    this.maps = [];
  }

  /** In place of the one before. What the server does not keep any more is said instead. */
  async show(summary) {
    this.loading?.abort();
    this.loading = new AbortController();
    byId("hint").hidden = true;
    byId("detail").hidden = false;
    byId("title").textContent = `POST ${summary.id}`;
    byId("facts").replaceChildren(...facts(summary).map(([name, value]) =>
      element("div", "", element("dt", "quiet", name), element("dd", "", value))));
    const url = new URL(`posts/${summary.id}`, this.base).href;
    let post = {};
    let trouble = "";
    try {
      const response = await fetch(url, { signal: this.loading.signal });
      if (response.ok) post = await response.json();
      else trouble = response.status === 404 ? "The server does not keep this POST any more."
        : `The server answered with status ${response.status}.`;
    } catch (error) {
      if (error.name === "AbortError") return;
      trouble = `The server cannot be asked for it: ${error.message}`;
    }
    byId("trouble").textContent = trouble;
    byId("trouble").hidden = !trouble;
    this.request.show(post.request ?? {}, `${url}/request`);
    this.reply.show(post.reply ?? {}, `${url}/reply`);
    await this.showMaps(post.maps ?? []);
  }

  async showMaps(maps) {
    this.maps = maps;
    byId("places").hidden = maps.length === 0;
    if (maps.length === 0) return;
    this.view ??= this.makeView();
    const view = await this.view;
    // Another may have been chosen since.
    if (this.maps !== maps) return;
    view.show(maps);
    this.chooseMap(view, maps.length === 1 ? 0 : -1);
  }

  async makeView() {
    const outlines = await (await fetch(new URL("outlines.json", this.base))).json();
    const view = new MapView(byId("map"), outlines, {
      label: "Map of the chosen POST",
      onPick: (index) => this.chooseMap(view, index),
    });
    return view;
  }

  /** With -1, all. */
  chooseMap(view, index) {
    if (index !== view.chosen) view.choose(index);
    const button = (title, number) => {
      const made = element("button", "", title);
      made.type = "button";
      made.setAttribute("aria-pressed", number === index);
      made.addEventListener("click", () => {
        this.chooseMap(view, number);
        byId("maps").children[number + 1].focus();
      });
      return made;
    };
    const titles = this.maps.map(({ title }, number) => visible(title ?? `request ${number + 1}`));
    byId("maps").replaceChildren(...(titles.length === 1 ? [element("h3", "", titles[0])]
      : [button("All", -1), ...titles.map(button)]));
    const lines = index < 0 ? this.maps.map((map, number) => `${titles[number]}: ${linesOf(map)[0] ?? ""}`)
      : linesOf(this.maps[index]);
    byId("said").replaceChildren(...lines.map((line) => element("li", "", visible(line))));
  }
}
