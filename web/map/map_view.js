import { element } from "../shared/elements.js";
import { Backdrop } from "./backdrop.js";
import { Drawing } from "./drawing.js";
import { of, thingsOf } from "./facts.js";
import { readOutlines } from "./outlines.js";

/* global L */

const CLOSEST = 20;
// What is found is not shown larger by itself.
const CLOSEST_TO_FIT = 17;
const dark = matchMedia("(prefers-color-scheme: dark)");
const still = matchMedia("(prefers-reduced-motion: reduce)");

/** A map in `container` of the answers that it is given. It asks no server for anything. */
export class MapView {
  /** `outlines` are those of make_outlines.py; `onPick(index)` is told which of the maps shown was clicked. */
  constructor(container, outlines, { label, onPick = () => {} }) {
    container.classList.add("map");
    container.setAttribute("role", "application");
    container.setAttribute("aria-label", `${label}: arrow keys move it, plus and minus zoom`);
    const moves = !still.matches;
    this.map = L.map(container, {
      attributionControl: false, minZoom: 1, maxZoom: CLOSEST, worldCopyJump: false, maxBoundsViscosity: 1,
      maxBounds: [[-89, -400], [89, 400]], zoomAnimation: moves, fadeAnimation: moves, markerZoomAnimation: moves,
      inertia: moves, zoomSnap: 0.25, zoomDelta: 0.75, wheelPxPerZoomLevel: 90,
    });
    L.control.scale({ imperial: false, position: "bottomright" }).addTo(this.map);
    this.backdrop = new Backdrop(this.map, readOutlines(outlines));
    const style = getComputedStyle(document.documentElement);
    this.colour = (name) => style.getPropertyValue(name).trim();
    this.drawing = new Drawing(this.map, this.colour, onPick);
    this.legend = element("ul", "map-legend");
    this.legend.setAttribute("aria-label", "Legend");
    container.append(this.legend);
    this.maps = [];
    this.chosen = -1;
    this.map.setView([20, 0], 1.5, { animate: false });
    this.backdrop.setColours(this.colour);
    this.backdrop.update();
    dark.addEventListener("change", () => this.recolour());
    new ResizeObserver(() => this.map.invalidateSize({ animate: false, pan: false })).observe(container);
  }

  /** Shows these, in place of what there was, and all of them at once. */
  show(maps) {
    this.maps = maps;
    this.chosen = -1;
    this.map.invalidateSize({ animate: false, pan: false });
    this.drawing.draw(maps);
    this.writeLegend();
    this.fit(maps);
  }

  /** Marks one, or with -1 none, and goes there. */
  choose(index) {
    this.chosen = index;
    this.drawing.markMap(index);
    this.fit(index < 0 ? this.maps : [this.maps[index]]);
  }

  fit(maps) {
    const bounds = this.drawing.boundsOf(maps);
    // Beside the buttons that zoom.
    const room = { paddingTopLeft: [60, 36], paddingBottomRight: [36, 36] };
    if (bounds) this.map.fitBounds(bounds, { ...room, maxZoom: CLOSEST_TO_FIT, animate: false });
    else this.map.setView([20, 0], 1.5, { animate: false });
  }

  recolour() {
    this.backdrop.setColours(this.colour);
    this.drawing.draw(this.maps);
    this.drawing.markMap(this.chosen);
  }

  writeLegend() {
    const names = new Map();
    for (const { kind, thing } of this.maps.flatMap(thingsOf)) {
      names.set(of(kind.name, thing), of(kind.colour, thing).slice(2));
    }
    this.legend.replaceChildren(...[...names].reverse().map(([name, colour]) =>
      element("li", "", element("span", `swatch swatch-${colour}`), name)));
    this.legend.hidden = names.size === 0;
  }
}
