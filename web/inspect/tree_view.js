import { element } from "../shared/elements.js";
import { RowList } from "../shared/row_list.js";

const ROW_HEIGHT = 22;
const INDENT = 16;

/** The fields of a body as a tree. */
export class TreeView {
  /** Told of the field under the pointer, or of none, and of the one that people go to. */
  constructor(box, { onPoint, onGo }) {
    this.onGo = onGo;
    this.shown = [];
    this.marked = undefined;
    this.list = new RowList(box, {
      rowHeight: ROW_HEIGHT, listRole: "tree", rowRole: "treeitem",
      render: (index, row) => this.render(this.shown[index], row),
      onActive: (index) => onGo(this.shown[index]),
      onKey: (event, index) => this.takeKey(event.key, this.shown[index], index),
    });
    const fieldOf = ({ target }) => this.shown[this.list.indexOf(target)];
    box.addEventListener("pointerover", (event) => onPoint(fieldOf(event)));
    box.addEventListener("pointerleave", () => onPoint(undefined));
    box.addEventListener("click", (event) => {
      if (event.target.closest(".fold")) this.fold(fieldOf(event));
    });
    box.addEventListener("dblclick", (event) => this.fold(fieldOf(event)));
  }

  show(fields) {
    this.fields = fields;
    this.marked = undefined;
    this.shown = fields.unfolded();
    this.list.setActive(-1);
    this.list.setCount(this.shown.length);
    this.list.box.scrollTop = 0;
  }

  /** Unfolds nothing: the innermost field around it that is there is marked in its place. */
  mark(field) {
    const marked = field?.path.findLast((outer) => this.shown.includes(outer));
    // What is under the pointer is told of again when it is drawn anew.
    if (marked === this.marked) return;
    this.marked = marked;
    this.list.refresh();
  }

  go(field) {
    this.fields.unfoldTo(field);
    this.update(field);
  }

  update(active) {
    this.shown = this.fields.unfolded();
    this.list.setCount(this.shown.length);
    const index = this.shown.indexOf(active);
    this.list.setActive(index);
    if (index >= 0) this.list.reveal(index);
  }

  fold(field) {
    if (!field?.children.length) return;
    field.isOpen = !field.isOpen;
    this.update(field);
  }

  takeKey(key, field, index) {
    if (!field) return false;
    if (key === "Enter" || key === " ") {
      this.fold(field);
    } else if (key === "ArrowRight" && field.children.length) {
      if (field.isOpen) this.list.choose(index + 1);
      else this.fold(field);
    } else if (key === "ArrowLeft" && field.isOpen && field.children.length) {
      this.fold(field);
    } else if (key === "ArrowLeft" && field.parent) {
      this.list.choose(this.shown.indexOf(field.parent));
    }
    return ["Enter", " ", "ArrowRight", "ArrowLeft"].includes(key);
  }

  render(field, row) {
    const hasChildren = field.children.length > 0;
    row.style.paddingLeft = `${field.depth * INDENT + 4}px`;
    row.classList.toggle("marked", field === this.marked);
    row.setAttribute("aria-level", field.depth + 1);
    row.setAttribute("aria-posinset", field.position);
    row.setAttribute("aria-setsize", field.siblings);
    row.setAttribute("aria-selected", row.classList.contains("active"));
    if (hasChildren) row.setAttribute("aria-expanded", field.isOpen);
    const fold = element("span", hasChildren ? "fold" : "leaf", hasChildren ? (field.isOpen ? "▾" : "▸") : "");
    fold.setAttribute("aria-hidden", "true");
    row.append(fold, element("span", "name", field.name));
    if (field.value) row.append(" ", element("span", "value", field.value));
    if (field.remark) row.append(" ", element("span", "remark", field.remark));
  }
}
