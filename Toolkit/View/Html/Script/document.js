'use strict';
// The view of a document. What the file holds stands in elements that the browser passes over;
// they are read when a page comes into sight. Everything goes into the page as attributes of
// SVG elements and as text, never as markup.
{

const element = (id) => document.getElementById(id);

// An element that has been read to its end; null while the file is still on its way.
function wholeElement(id) {
  const found = element(id);
  if (!found) return null;
  return found.nextSibling || document.readyState !== 'loading' ? found : null;
}

const faces = ['serif', 'sans', 'mono'];
// Widths of a blank in the fonts that stand in, in parts of their size.
const blanks = [0.25, 0.278, 0.6];

// Keeps what was used last.
class Recent {
  constructor(most) {
    this.most = most;
    this.kept = new Map();
  }

  get(key, make) {
    const value = this.kept.has(key) ? this.kept.get(key) : make();
    this.kept.delete(key);
    this.kept.set(key, value);
    if (this.kept.size > this.most) this.kept.delete(this.kept.keys().next().value);
    return value;
  }
}

// The items of a page, by their names.
function readItem(styles, item) {
  if (item[0] === 0) {
    const [, x, y, rotation, width, style, text] = item;
    return { kind: 'text', x, y, rotation, width, style: styles[style], text };
  }
  if (item[0] === 1) {
    const [, x, y, width, height, color] = item;
    return { kind: 'rule', x, y, width, height, color };
  }
  if (item[0] === 2) {
    const [, picture, x, y, rotation, width, height, ...rest] = item;
    const [contentX, contentY, contentRotation, contentWidth, contentHeight, replicated] = rest;
    const content = { x: contentX, y: contentY, rotation: contentRotation };
    return {
      kind: 'picture', picture, area: { x, y, rotation }, width, height, content,
      contentWidth, contentHeight, replicated: replicated === 1,
    };
  }
  const [, x, y, width, height, label] = item;
  return { kind: 'box', x, y, width, height, label };
}

function readStyle([face, marks, size, blank, adjustment, color]) {
  return {
    face: faces[face], bold: (marks & 1) !== 0, italic: (marks & 2) !== 0,
    underlined: (marks & 4) !== 0, size, color, adjustment,
    blank: blank < 0 ? 0 : blank - blanks[face] * size,
  };
}

// Pages, counted from 0, and what is known of all of them.
class ViewDocument {
  constructor() {
    const index = JSON.parse(element('index').textContent);
    Object.assign(this, {
      title: index.title, hasText: index.hasText, textIsInvisible: index.textIsInvisible,
      contents: index.contents.map(([level, name, page]) => ({ level, name, page })),
      pages: index.pages.map(([number, width, height]) => ({
        number, width: Math.max(width, 1), height: Math.max(height, 1),
      })),
    });
    this.read = new Recent(48);
  }

  // The place of a page by its number in the document; -1 when it isn't here.
  placeOf(number) {
    return this.pages.findIndex((page) => page.number === number);
  }

  layout(place) {
    return this.read.get(place, () => this.readLayout(place));
  }

  readLayout(place) {
    const { styles, items, warnings } = JSON.parse(element(`page-${place}`).textContent);
    const read = styles.map(readStyle);
    return { items: items.map((item) => readItem(read, item)), warnings };
  }
}

function bytesOf(base64) {
  const characters = atob(base64);
  const bytes = new Uint8Array(characters.length);
  for (let i = 0; i < bytes.length; i += 1) bytes[i] = characters.charCodeAt(i);
  return bytes;
}

// Pictures out of the file, as long as somebody shows them.
class Pictures {
  constructor() {
    this.used = new Map(); // by the numbers of those whose data are stored: address, users
    this.waiting = new Set();
    document.addEventListener('DOMContentLoaded', () => this.serve());
  }

  // Has a picture shown as soon as it is there; gives what takes it back. `show` gets its
  // address, `fail` a name for it.
  take(number, show, fail) {
    const request = { number, show, fail, stored: null };
    if (!this.tryServe(request)) this.wait(request);
    return () => this.release(request);
  }

  wait(request) {
    this.waiting.add(request);
    if (!this.timer) this.timer = setInterval(() => this.serve(), 50);
  }

  serve() {
    for (const request of this.waiting) {
      if (this.tryServe(request)) this.waiting.delete(request);
    }
    if (this.waiting.size > 0) return;
    clearInterval(this.timer);
    this.timer = 0;
  }

  tryServe(request) {
    const found = wholeElement(`picture-${request.number}`);
    if (!found) return false;
    const { failed, same } = found.dataset;
    if (failed !== undefined) {
      request.fail(failed);
      return true;
    }
    request.stored = same === undefined ? request.number : Number(same);
    request.show(this.addressOf(request.stored));
    return true;
  }

  addressOf(stored) {
    let used = this.used.get(stored);
    if (!used) {
      const { dataset, textContent } = element(`picture-${stored}`);
      const bytes = bytesOf(textContent);
      used = { address: URL.createObjectURL(new Blob([bytes], { type: dataset.type })), users: 0 };
      this.used.set(stored, used);
    }
    used.users += 1;
    return used.address;
  }

  release(request) {
    this.waiting.delete(request);
    const used = this.used.get(request.stored);
    if (!used) return;
    used.users -= 1;
    if (used.users > 0) return;
    URL.revokeObjectURL(used.address);
    this.used.delete(request.stored);
  }
}
