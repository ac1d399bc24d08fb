import { beforeNextFrame, element } from "./elements.js";

// Rows above and below those in sight that are there too.
const SPARE = 6;
let lists = 0;

/**
 * A list of equally high rows, of which only those in sight are in the document: a million costs no more than a
 * hundred. One of them may be active: the arrow keys, Home, End, Page Up and Page Down move it.
 */
export class RowList {
  /**
   * `box` scrolls and takes the focus. `render(index, row)` fills an empty row, again whenever it comes into sight.
   * `onActive(index)` is told what people make active; `onKey(event, index)` may take other keys, and is true then.
   */
  constructor(box, { rowHeight, listRole = "listbox", rowRole = "option", render, onActive, onKey }) {
    this.box = box;
    this.rowHeight = rowHeight;
    this.rowRole = rowRole;
    this.render = render;
    this.onActive = onActive ?? (() => {});
    this.onKey = onKey ?? (() => false);
    this.count = 0;
    this.active = -1;
    this.id = `rows-${++lists}`;
    this.rows = new Map();
    this.height = element("div", "rows-height");
    this.height.setAttribute("role", "presentation");
    box.classList.add("rows");
    box.setAttribute("role", listRole);
    box.tabIndex = 0;
    box.append(this.height);
    this.drawSoon = beforeNextFrame(() => this.draw());
    box.addEventListener("scroll", this.drawSoon, { passive: true });
    box.addEventListener("keydown", (event) => this.takeKey(event));
    box.addEventListener("click", (event) => {
      const index = this.indexOf(event.target);
      if (index >= 0) this.choose(index);
    });
    new ResizeObserver(this.drawSoon).observe(box);
  }

  /** Takes that many rows, whatever they are now. */
  setCount(count) {
    this.count = count;
    if (this.active >= count) this.active = -1;
    this.height.style.height = `${count * this.rowHeight}px`;
    this.refresh();
  }

  /** Fills the rows in sight anew, soon. */
  refresh() {
    this.isStale = true;
    this.drawSoon();
  }

  /** The number of the row that has `target` in it, or -1. */
  indexOf(target) {
    const row = target.closest?.(".row");
    return row && this.height.contains(row) ? Number(row.dataset.index) : -1;
  }

  setActive(index) {
    this.active = index;
    this.refresh();
  }

  choose(index) {
    this.setActive(index);
    this.reveal(index);
    this.onActive(index);
  }

  isAtEnd() {
    return this.box.scrollTop + this.box.clientHeight >= this.box.scrollHeight - this.rowHeight;
  }

  isInSight(index) {
    const top = index * this.rowHeight;
    return top >= this.box.scrollTop && top + this.rowHeight <= this.box.scrollTop + this.box.clientHeight;
  }

  /** Scrolls no further than it takes for this row to be in sight. */
  reveal(index) {
    const top = index * this.rowHeight;
    const lowest = top + this.rowHeight - this.box.clientHeight;
    if (top < this.box.scrollTop) this.box.scrollTop = top;
    else if (lowest > this.box.scrollTop) this.box.scrollTop = lowest;
  }

  draw() {
    const first = Math.max(0, Math.floor(this.box.scrollTop / this.rowHeight) - SPARE);
    const last = Math.min(this.count, Math.ceil((this.box.scrollTop + this.box.clientHeight) / this.rowHeight) + SPARE);
    for (const [index, row] of this.rows) {
      if (!this.isStale && index >= first && index < last) continue;
      row.remove();
      this.rows.delete(index);
    }
    this.isStale = false;
    for (let index = first; index < last; ++index) {
      if (!this.rows.has(index)) this.rows.set(index, this.makeRow(index));
    }
    const active = this.rows.get(this.active);
    if (active) this.box.setAttribute("aria-activedescendant", active.id);
    else this.box.removeAttribute("aria-activedescendant");
  }

  makeRow(index) {
    const row = element("div", index === this.active ? "row active" : "row");
    row.id = `${this.id}-${index}`;
    row.dataset.index = index;
    row.style.transform = `translateY(${index * this.rowHeight}px)`;
    row.style.height = `${this.rowHeight}px`;
    row.setAttribute("role", this.rowRole);
    row.setAttribute("aria-posinset", index + 1);
    row.setAttribute("aria-setsize", this.count);
    this.render(index, row);
    // In the order of the list, for those who listen to it.
    const next = [...this.rows.keys()].filter((other) => other > index);
    this.height.insertBefore(row, next.length ? this.rows.get(Math.min(...next)) : null);
    return row;
  }

  takeKey(event) {
    if (event.ctrlKey || event.altKey || event.metaKey || this.count === 0) return;
    if (this.onKey(event, this.active)) {
      event.preventDefault();
      return;
    }
    const page = Math.max(1, Math.floor(this.box.clientHeight / this.rowHeight) - 1);
    const steps = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -Infinity, End: Infinity };
    const step = steps[event.key];
    if (step === undefined) return;
    event.preventDefault();
    this.choose(Math.min(this.count - 1, Math.max(0, this.active + step)));
  }
}
