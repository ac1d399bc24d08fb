import { element, visible } from "../shared/elements.js";
import { gapOf, isSomewhere, metres, of, thingsOf } from "./facts.js";

/* global L */

const SIZES = { estimates: 6, fixes: 6, points: 6, features: 5, stations: 4 };
// Beyond so many maps, only dots and circles, and paler ones.
const FEW = 50;

/** What maps show, above the backdrop: circles of accuracy and of range below, dots above. */
export class Drawing {
  /** `onPick(index)` is told of which map a dot was clicked. */
  constructor(map, colour, onPick) {
    this.map = map;
    this.colour = colour;
    map.createPane("areas").classList.add("pane-areas");
    map.createPane("dots").classList.add("pane-dots");
    this.areas = { renderer: L.canvas({ pane: "areas" }), pane: "areas", interactive: false };
    this.dots = { renderer: L.canvas({ pane: "dots" }), pane: "dots" };
    this.layers = L.featureGroup().addTo(map);
    this.mark = L.layerGroup().addTo(map);
    this.tooltip = L.tooltip({ direction: "top", offset: [0, -6], className: "map-tooltip" });
    this.layers.on("mouseover", ({ layer, latlng }) => this.tell(layer, latlng));
    this.layers.on("mouseout", () => map.closeTooltip(this.tooltip));
    this.layers.on("click", ({ layer }) => {
      if (layer.mapIndex !== undefined) onPick(layer.mapIndex);
    });
  }

  tell(layer, latlng) {
    if (!layer.words) return;
    this.tooltip.setContent(element("span", "", visible(layer.words)));
    this.map.openTooltip(this.tooltip.setLatLng(layer.getLatLng?.() ?? latlng));
  }

  draw(maps) {
    this.maps = maps;
    this.isCrowded = maps.length > FEW;
    this.layers.clearLayers();
    this.mark.clearLayers();
    this.map.closeTooltip(this.tooltip);
    maps.forEach((map, index) => {
      this.drawGap(map, index);
      for (const { kind, thing } of thingsOf(map)) this.drawThing(kind, thing, index);
    });
  }

  drawThing(kind, thing, index) {
    const color = this.colour(of(kind.colour, thing));
    const words = `${kind.describe(isSomewhere(thing) ? thing : { ...thing, latitude: 0, longitude: 0 })}`;
    if (Array.isArray(thing.box) && !this.isCrowded) this.drawBox(thing.box, color);
    if (!isSomewhere(thing)) return;
    const at = [thing.latitude, thing.longitude];
    const radius = [thing.accuracy_m, thing.radius_m].find((length) => Number.isFinite(length) && length > 0);
    if (radius !== undefined) {
      this.layers.addLayer(L.circle(at, {
        ...this.areas, radius, color, weight: kind.list === "stations" ? 1 : 1.5,
        opacity: this.isCrowded ? 0.35 : 0.8, fillColor: color,
        fillOpacity: this.isCrowded ? 0.02 : { stations: 0.04, fixes: 0.05 }[kind.list] ?? 0.14,
        dashArray: kind.list === "fixes" || kind.list === "stations" ? "5 4" : null,
      }));
    }
    const isHollow = kind.list === "fixes";
    const dot = L.circleMarker(at, {
      ...this.dots, radius: this.isCrowded ? 3.5 : SIZES[kind.list], color: isHollow ? color : this.colour("--panel"),
      weight: isHollow ? 3 : this.isCrowded ? 0.5 : 1.5, fillColor: isHollow ? this.colour("--panel") : color,
      fillOpacity: this.isCrowded ? 0.8 : 1,
    });
    dot.mapIndex = index;
    dot.words = words;
    this.layers.addLayer(dot);
  }

  drawBox([south, west, north, east], color) {
    if (![south, west, north, east].every(Number.isFinite)) return;
    const eastward = east < west ? east + 360 : east;
    this.layers.addLayer(L.rectangle([[south, west], [north, eastward]],
      { ...this.areas, color, weight: 1, dashArray: "3 4", fillOpacity: 0.05 }));
  }

  drawGap(map, index) {
    const gap = gapOf(map);
    if (!gap) return;
    const line = L.polyline([gap.fix, gap.estimate].map((it) => [it.latitude, it.longitude]), {
      ...this.dots, color: this.colour("--text"), weight: 2, dashArray: "2 5",
    });
    line.mapIndex = index;
    line.words = `${metres(gap.length)} between estimate and fix`;
    this.layers.addLayer(line);
  }

  /** Of some maps, how far a station reaches aside, which may be far: null where nothing has a place. */
  boundsOf(maps) {
    const bounds = L.latLngBounds([]);
    // A cell may be far from where it is heard.
    const isAside = (map, thing) => thing.kind === "cell" && (map.estimates?.length || map.fixes?.length);
    const things = maps.flatMap((map) => thingsOf(map).map(({ thing }) => thing).filter((it) => !isAside(map, it)));
    for (const thing of things) {
      if (Array.isArray(thing.box) && thing.box.every(Number.isFinite)) {
        bounds.extend([thing.box[0], thing.box[1]]).extend([thing.box[2], thing.box[3]]);
      }
      if (!isSomewhere(thing)) continue;
      const at = L.latLng(thing.latitude, thing.longitude);
      const reach = thing.accuracy_m ?? thing.radius_m;
      bounds.extend(reach > 0 && reach < 2e6 ? at.toBounds(2 * reach) : at);
    }
    return bounds.isValid() ? bounds : null;
  }

  /** Rings around the dots of one map. */
  markMap(index) {
    this.mark.clearLayers();
    if (index < 0 || this.maps.length < 2) return;
    for (const { kind, thing } of thingsOf(this.maps[index])) {
      if (!isSomewhere(thing) || kind.list === "stations" || kind.list === "features") continue;
      this.mark.addLayer(L.circleMarker([thing.latitude, thing.longitude], {
        ...this.areas, radius: 11, color: this.colour("--chosen-mark"), weight: 2, fill: false,
      }));
    }
  }
}
