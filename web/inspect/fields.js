import { visible } from "../shared/elements.js";

const MOST_UNFOLDED = 2000;
const UNFOLDED_DEPTH = 2;

/** A field of a body: a node that the server sent, and where it is among the others. */
class Field {
  constructor(node, parent, position, siblings) {
    this.node = node;
    this.parent = parent;
    this.position = position;
    this.siblings = siblings;
    this.depth = parent ? parent.depth + 1 : 0;
    this.isOpen = false;
    this.name = visible(node.name ?? "");
    this.value = node.value == null ? "" : visible(node.value);
    this.remark = [node.number != null && `field ${node.number}`, node.message, node.note].filter(Boolean).map(visible)
      .join(", ");
    const children = node.children ?? [];
    this.children = children.map((child, i) => new Field(child, this, i + 1, children.length));
  }

  /** From the outermost. */
  get path() {
    return this.parent ? [...this.parent.path, this] : [this];
  }

  has(offset) {
    return offset >= this.node.from && offset < this.node.to;
  }
}

/** The fields of a body, as a tree of which parts are unfolded. */
export class Fields {
  constructor(tree) {
    this.roots = tree.map((node, i) => new Field(node, null, i + 1, tree.length));
    const all = this.all();
    const deepest = all.length <= MOST_UNFOLDED ? Infinity : UNFOLDED_DEPTH;
    for (const field of all) field.isOpen = field.depth < deepest;
  }

  all() {
    const found = [];
    const walk = (fields) => fields.forEach((field) => {
      found.push(field);
      walk(field.children);
    });
    walk(this.roots);
    return found;
  }

  /** Those that are not folded away, from top to bottom. */
  unfolded() {
    const found = [];
    const walk = (fields) => fields.forEach((field) => {
      found.push(field);
      if (field.isOpen) walk(field.children);
    });
    walk(this.roots);
    return found;
  }

  unfoldTo(field) {
    for (const outer of field.path.slice(0, -1)) outer.isOpen = true;
  }

  /** The innermost field that has this byte, if any has. */
  at(offset) {
    let found;
    for (let fields = this.roots; ;) {
      const inside = fields.filter((field) => field.has(offset));
      // What was compressed has no bytes of its own: all of it is where its container is.
      const areAllAlike = inside.length > 1 &&
        inside.every(({ node }) => node.from === inside[0].node.from && node.to === inside[0].node.to);
      if (inside.length === 0 || (found && areAllAlike)) return found;
      found = inside[0];
      fields = found.children;
    }
  }
}
