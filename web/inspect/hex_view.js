import { element } from "../shared/elements.js";
import { RowList } from "../shared/row_list.js";

const ROW_HEIGHT = 20;
const WIDE = 16;
const NARROW = 8;
// What a row of so many bytes takes, in widths of a character: the offset, two digits and a space, and the text.
const COLUMNS = (count) => 9 + 4 * count;

/** The bytes of a body, in hexadecimal and as text; those of one field are marked, and one has the caret. */
export class HexView {
  /** Told of the offset under the pointer, or of none, and of the one that people go to. */
  constructor(box, { onPoint, onGo }) {
    this.onGo = onGo;
    this.hex = "";
    this.perRow = WIDE;
    this.caret = -1;
    this.range = [0, 0];
    this.list = new RowList(box, {
      rowHeight: ROW_HEIGHT,
      render: (index, row) => this.render(index, row),
      onKey: ({ key }) => this.takeKey(key),
    });
    const offsetOf = ({ target }) => Number(target.dataset.at ?? -1);
    box.addEventListener("pointerover", (event) => onPoint(offsetOf(event)));
    box.addEventListener("pointerleave", () => onPoint(-1));
    box.addEventListener("click", (event) => {
      if (offsetOf(event) >= 0) this.go(offsetOf(event));
    });
    new ResizeObserver(() => this.fit()).observe(box);
  }

  get length() {
    return this.hex.length / 2;
  }

  show(hex) {
    this.hex = hex;
    this.caret = -1;
    this.range = [0, 0];
    this.perRow = 0;
    this.fit();
    this.list.box.scrollTop = 0;
  }

  /** As many bytes a row as there is room for. */
  fit() {
    const probe = element("span", "", "0".repeat(10));
    this.list.height.append(probe);
    const character = probe.getBoundingClientRect().width / 10 || 8;
    probe.remove();
    const perRow = COLUMNS(WIDE) * character <= this.list.box.clientWidth ? WIDE : NARROW;
    if (perRow === this.perRow) return;
    this.perRow = perRow;
    this.list.setCount(Math.ceil(this.length / perRow));
  }

  mark(from, to) {
    if (from === this.range[0] && to === this.range[1]) return;
    this.range = [from, to];
    this.list.refresh();
  }

  /** As much of it as there is room for, from its beginning. */
  reveal({ from, to }) {
    if (from >= this.length) return;
    this.list.reveal(Math.floor((Math.max(from + 1, to) - 1) / this.perRow));
    this.list.reveal(Math.floor(from / this.perRow));
  }

  go(offset) {
    this.caret = Math.min(this.length - 1, Math.max(0, offset));
    const row = Math.floor(this.caret / this.perRow);
    this.list.setActive(row);
    this.list.reveal(row);
    this.onGo(this.caret);
  }

  takeKey(key) {
    const page = this.perRow * Math.max(1, Math.floor(this.list.box.clientHeight / ROW_HEIGHT) - 1);
    const steps = {
      ArrowLeft: -1, ArrowRight: 1, ArrowUp: -this.perRow, ArrowDown: this.perRow, PageUp: -page, PageDown: page,
      Home: -Infinity, End: Infinity,
    };
    const step = steps[key];
    if (step === undefined) return false;
    this.go(this.caret < 0 && Number.isFinite(step) ? 0 : this.caret + step);
    return true;
  }

  render(index, row) {
    const from = index * this.perRow;
    const to = Math.min(this.length, from + this.perRow);
    row.append(element("span", "offset", from.toString(16).padStart(6, "0")), "  ");
    const text = element("span", "text");
    for (let at = from; at < to; ++at) {
      const digits = this.hex.slice(2 * at, 2 * at + 2);
      const code = Number.parseInt(digits, 16);
      row.append(this.cell(at, digits), this.space(at, to));
      text.append(this.cell(at, code > 0x20 && code < 0x7f ? String.fromCharCode(code) : "·"));
    }
    row.append("   ".repeat(this.perRow - (to - from)), " ", text);
  }

  cell(at, text) {
    const isMarked = at >= this.range[0] && at < this.range[1];
    const made = element("span", `${isMarked ? "marked" : ""} ${at === this.caret ? "caret" : ""}`.trim(), text);
    made.dataset.at = at;
    return made;
  }

  /** Between two bytes: marked where both are. */
  space(at, end) {
    const isMarked = at >= this.range[0] && at + 1 < this.range[1] && at + 1 < end;
    return isMarked ? element("span", "marked", " ") : " ";
  }
}
