import { counted, element } from "../shared/elements.js";
import { Fields } from "./fields.js";
import { HexView } from "./hex_view.js";
import { TreeView } from "./tree_view.js";

/** A request or a reply: its fields, its bytes, and which belong to which. */
export class BodyView {
  /** In `box`; `name` is "Request", say. */
  constructor(box, name) {
    this.size = element("span", "quiet");
    this.save = element("a", "", "Save as a file");
    this.error = element("p", "bad error");
    this.where = element("p", "where quiet");
    this.where.setAttribute("role", "status");
    const tree = element("div", "tree");
    tree.setAttribute("aria-label", `${name}: fields`);
    const hex = element("div", "hex");
    hex.setAttribute("aria-label", `${name}: bytes in hexadecimal, arrow keys go from byte to byte`);
    box.append(element("div", "body-head", element("h3", "", name), this.size, this.save), this.error, tree, this.where,
      hex);
    this.fields = new Fields([]);
    this.tree = new TreeView(tree, {
      onPoint: (field) => this.point(field, () => this.hex.reveal(field.node)),
      onGo: (field) => this.goToField(field),
    });
    this.hex = new HexView(hex, {
      onPoint: (offset) => {
        const field = this.fields.at(offset);
        this.point(field, () => this.revealInTree(field));
      },
      onGo: (offset) => this.goToByte(offset),
    });
  }

  show(body, link) {
    this.fields = new Fields(body.tree ?? []);
    this.chosen = undefined;
    this.size.textContent = counted((body.hex ?? "").length / 2, "byte");
    this.save.href = link;
    this.error.textContent = body.error ?? "";
    this.error.hidden = !body.error;
    this.tree.show(this.fields);
    this.hex.show(body.hex ?? "");
    this.tell(undefined);
  }

  /** While the pointer is there; behind it, what was chosen is marked again. */
  point(field, reveal) {
    this.mark(field ?? this.chosen);
    if (field) reveal();
  }

  goToField(field) {
    this.chosen = field;
    this.mark(field);
    this.hex.reveal(field.node);
  }

  goToByte(offset) {
    this.chosen = this.fields.at(offset);
    if (this.chosen) this.tree.go(this.chosen);
    this.mark(this.chosen, offset);
  }

  mark(field, offset) {
    this.tree.mark(field);
    this.hex.mark(field?.node.from ?? 0, field?.node.to ?? 0);
    this.tell(field, offset);
  }

  revealInTree(field) {
    const index = this.tree.shown.indexOf(this.tree.marked);
    if (field && index >= 0) this.tree.list.reveal(index);
  }

  tell(field, offset = field?.node.from) {
    if (!field) {
      this.where.textContent = "Point at a field or at a byte";
      return;
    }
    const { from, to } = field.node;
    const names = field.path.map(({ name }) => name).join(" › ");
    const value = field.value ? ` = ${field.value}` : "";
    const place = offset === from ? "" : `byte ${offset}, in `;
    this.where.textContent = `${place}${from}–${to}: ${names}${value}`;
  }
}
