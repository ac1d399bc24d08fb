import { element } from "../shared/elements.js";

/* global L */

const STEPS = [30, 20, 10, 5, 2, 1, 0.5, 0.2, 0.1, 0.05, 0.02, 0.01, 0.005, 0.002, 0.001, 0.0005];
const MIN_GRID_PIXELS = 110;
const MIN_ZOOM_OF_PLACES = 3;
// Beyond, the outlines are too coarse to say what is land: nothing is better than what is wrong.
const MAX_ZOOM_OF_LAND = 10;
// Beyond, Mercator's projection has nothing.
const NORTHERNMOST = 85;

function degrees(value, step, positive, negative) {
  const decimals = step >= 1 ? 0 : Math.ceil(-Math.log10(step));
  const letter = Number(value.toFixed(decimals)) === 0 ? "" : value > 0 ? ` ${positive}` : ` ${negative}`;
  return `${Math.abs(value).toFixed(decimals)}°${letter}`;
}

function multiples(step, from, to) {
  const found = [];
  for (let i = Math.ceil(from / step); i * step <= to; ++i) found.push(i * step);
  return found;
}

/** Land, borders, a grid of degrees and places, under whatever a map shows. */
export class Backdrop {
  constructor(map, outlines) {
    this.map = map;
    this.places = outlines.places;
    map.createPane("backdrop").classList.add("pane-backdrop");
    map.createPane("names").classList.add("pane-names");
    const renderer = L.canvas({ pane: "backdrop", padding: 0.3 });
    const options = { renderer, pane: "backdrop", interactive: false };
    this.land = L.polygon(outlines.land, { ...options, stroke: false, fillOpacity: 1, smoothFactor: 1.2 }).addTo(map);
    this.borders = L.polyline(outlines.borders, { ...options, weight: 1 }).addTo(map);
    this.grid = L.polyline([], { ...options, weight: 1, opacity: 0.7 }).addTo(map);
    this.names = L.layerGroup().addTo(map);
    map.on("moveend resize", () => this.update());
  }

  setColours(colour) {
    this.land.setStyle({ fillColor: colour("--map-land") });
    this.borders.setStyle({ color: colour("--map-border") });
    this.grid.setStyle({ color: colour("--map-grid") });
  }

  update() {
    this.names.clearLayers();
    const isClose = this.map.getZoom() > MAX_ZOOM_OF_LAND;
    this.map.getContainer().classList.toggle("map-close", isClose);
    for (const layer of [this.land, this.borders]) {
      if (this.map.hasLayer(layer) === isClose) isClose ? layer.remove() : layer.addTo(this.map).bringToBack();
    }
    const bounds = this.map.getBounds();
    this.drawGrid(bounds);
    if (this.map.getZoom() >= MIN_ZOOM_OF_PLACES) this.namePlaces(bounds);
  }

  drawGrid(bounds) {
    const pixelsPerDegree = (256 * 2 ** this.map.getZoom()) / 360;
    const step = STEPS.findLast((candidate) => candidate * pixelsPerDegree >= MIN_GRID_PIXELS) ?? STEPS[0];
    const [south, north] = [bounds.getSouth(), bounds.getNorth()].map(
      (latitude) => Math.max(-NORTHERNMOST, Math.min(NORTHERNMOST, latitude)));
    const west = Math.max(-180, bounds.getWest());
    const east = Math.min(180, bounds.getEast());
    const latitudes = multiples(step, south, north);
    const longitudes = multiples(step, west, east);
    this.grid.setLatLngs([
      ...latitudes.map((latitude) => [[latitude, Math.max(-180, west - step)], [latitude, Math.min(180, east + step)]]),
      ...longitudes.map((longitude) => [[Math.max(-NORTHERNMOST, south - step), longitude],
        [Math.min(NORTHERNMOST, north + step), longitude]]),
    ]);
    const edge = this.map.containerPointToLatLng([0, this.map.getSize().y]);
    // Not where the buttons are that zoom.
    const free = latitudes.filter((latitude) => this.map.latLngToContainerPoint([latitude, edge.lng]).y > 95);
    for (const latitude of free) this.write([latitude, edge.lng], degrees(latitude, step, "N", "S"), "at-left");
    for (const longitude of longitudes) {
      this.write([edge.lat, longitude], degrees(longitude, step, "E", "W"), "at-bottom");
    }
  }

  namePlaces(bounds) {
    const taken = [];
    for (const [latitude, longitude, name] of this.places) {
      if (!bounds.contains([latitude, longitude])) continue;
      const { x, y } = this.map.latLngToContainerPoint([latitude, longitude]);
      const box = { left: x - 8, right: x + 14 + name.length * 7, top: y - 10, bottom: y + 10 };
      const hides = (other) =>
        box.left < other.right && other.left < box.right && box.top < other.bottom && other.top < box.bottom;
      if (taken.some(hides)) continue;
      taken.push(box);
      this.write([latitude, longitude], name, "place");
    }
  }

  write(position, text, className) {
    const html = element("span", "", text);
    html.setAttribute("aria-hidden", "true");
    const icon = L.divIcon({ html, className: `map-name ${className}`, iconSize: null });
    this.names.addLayer(L.marker(position, { icon, pane: "names", interactive: false, keyboard: false }));
  }
}
