// Reads what make_outlines.py writes.

const DIGITS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
const VALUE_OF = new Map([...DIGITS].map((digit, value) => [digit.charCodeAt(0), value]));

function numbersOf(text) {
  const numbers = [];
  let number = 0;
  let shift = 0;
  for (let i = 0; i < text.length; ++i) {
    const value = VALUE_OF.get(text.charCodeAt(i));
    number |= (value & 31) << shift;
    shift += 5;
    if (value & 32) continue;
    numbers.push(number & 1 ? ~(number >> 1) : number >> 1);
    number = shift = 0;
  }
  return numbers;
}

function lineOf(text, scale, origin) {
  const numbers = numbersOf(text);
  const line = [];
  let x = 0;
  let y = 0;
  for (let i = 0; i < numbers.length; i += 2) {
    x += numbers[i];
    y += numbers[i + 1];
    line.push([origin[1] + y * scale[1], origin[0] + x * scale[0]]);
  }
  return line;
}

/** The same ring without leaps from one edge of the map to the other: it may leave the map there instead. */
function unwrapped(ring) {
  let turn = 0;
  const points = ring.map(([latitude, longitude], i) => {
    const step = i === 0 ? 0 : longitude - ring[i - 1][1];
    if (Math.abs(step) > 180) turn -= 360 * Math.sign(step);
    return [latitude, longitude + turn];
  });
  // Around a pole it ends a turn from where it began.
  const [first, last] = [points[0], points.at(-1)];
  const pole = first[0] < 0 ? -90 : 90;
  return Math.abs(last[1] - first[1]) < 180 ? points : [...points, [pole, last[1]], [pole, first[1]]];
}

/** What leaves the map at one edge comes in at the other too. */
function onBothEdges(rings) {
  const longitudes = rings[0].map(([, longitude]) => longitude);
  const shifted = (by) => rings.map((ring) => ring.map(([latitude, longitude]) => [latitude, longitude + by]));
  const polygons = [rings];
  if (longitudes.some((longitude) => longitude > 180)) polygons.push(shifted(-360));
  if (longitudes.some((longitude) => longitude < -180)) polygons.push(shifted(360));
  return polygons;
}

/** Land as polygons of rings, and borders as lines, of [latitude, longitude]; places as [latitude, longitude, name]. */
export function readOutlines({ scale, origin, arcs, land, borders, places }) {
  const lines = arcs.map((text) => lineOf(text, scale, origin));
  const arc = (number) => (number >= 0 ? lines[number] : lines[~number].slice().reverse());
  // The last point of an arc is the first of the next.
  const ring = (numbers) => unwrapped(numbers.flatMap((number) => arc(number).slice(1)));
  return {
    land: land.flatMap((rings) => onBothEdges(rings.map(ring))),
    borders: borders.map((number) => lines[number]),
    places,
  };
}
