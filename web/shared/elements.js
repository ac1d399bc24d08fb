// Elements and their texts. Texts come from the network: they only ever become text.

/** An element with this class and this text or these children. */
export function element(tag, className = "", ...children) {
  const made = document.createElement(tag);
  if (className) made.className = className;
  made.append(...children.map((child) => (child instanceof Node ? child : String(child))));
  return made;
}

/** What `text` looks like on one line: control characters and those that turn the direction of writing are shown. */
export function visible(text) {
  return String(text).replace(/[\p{Cc}\u200e\u200f\u202a-\u202e\u2066-\u2069\u2028\u2029]/gu, (found) => {
    const code = found.codePointAt(0);
    return code < 0x20 ? String.fromCodePoint(0x2400 + code) : `\\u${code.toString(16).padStart(4, "0")}`;
  });
}

/** Calls `work` once, before the next picture, however often it is asked for until then. */
export function beforeNextFrame(work) {
  let waiting = false;
  return () => {
    if (waiting) return;
    waiting = true;
    requestAnimationFrame(() => {
      waiting = false;
      work();
    });
  };
}

/** "1 request", "2 requests". */
export function counted(number, noun) {
  return `${number.toLocaleString("en")} ${noun}${number === 1 ? "" : "s"}`;
}
