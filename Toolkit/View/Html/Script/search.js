// Text of pages, and where it is found.

// How far a text goes along its line, and which line that is.
function lineOf({ x, y, rotation }) {
  if (rotation === 90) return { along: y, across: -x };
  if (rotation === 180) return { along: -x, across: -y };
  if (rotation === 270) return { along: -y, across: x };
  return { along: x, across: y };
}

// What stands between two texts that follow each other.
function between(previous, next) {
  if (!previous) return '';
  const last = lineOf(previous);
  const here = lineOf(next);
  const size = Math.max(previous.style.size, next.style.size);
  if (previous.rotation !== next.rotation) return '\n';
  if (Math.abs(here.across - last.across) > 0.4 * size) return '\n';
  const gap = here.along - last.along - previous.width;
  return gap > 0.12 * size || gap < -0.5 * size ? ' ' : '';
}

// The text of a page, and where in it each of its texts begins.
function textOf(items) {
  const parts = [];
  let text = '';
  let previous = null;
  items.forEach((item, i) => {
    if (item.kind !== 'text') return;
    text += between(previous, item);
    parts.push({ item: i, from: text.length, to: text.length + item.text.length });
    text += item.text;
    previous = item;
  });
  return { text, parts };
}

// What a query matches: its words with any blanks between them, in any case.
function matcher(query) {
  const words = query.trim().split(/\s+/u).filter((word) => word !== '');
  if (words.length === 0) return null;
  const plain = words.map((word) => word.replace(/[\\^$.*+?()[\]{}|]/gu, '\\$&'));
  return new RegExp(plain.join('\\s+'), 'giu');
}

class Search {
  static mostHits = 10000;

  // `changed` is told when there are more hits, or others.
  constructor(source, changed) {
    this.source = source;
    this.changed = changed;
    this.texts = new Map();
    this.clear();
  }

  clear() {
    this.hits = []; // page, from, to
    this.byPage = new Map(); // places among the hits
    this.current = -1;
    this.isDone = true;
    clearTimeout(this.timer);
  }

  get isActive() {
    return this.query !== undefined && this.query !== '';
  }

  // Looks for a query from a page on, round all pages, without keeping the browser busy.
  find(query, start) {
    this.clear();
    this.query = query.trim();
    this.start = start;
    const expression = matcher(query);
    if (expression) {
      this.isDone = false;
      this.look(expression, 0);
    } else this.changed();
  }

  look(expression, first) {
    const until = performance.now() + 12;
    const count = this.source.pages.length;
    let page = first;
    for (; page < count && this.hits.length < Search.mostHits; page += 1) {
      if (page > first && performance.now() > until) break;
      this.lookOnPage(expression, page);
    }
    this.isDone = page >= count || this.hits.length >= Search.mostHits;
    this.chooseFirst();
    this.changed();
    if (!this.isDone) this.timer = setTimeout(() => this.look(expression, page));
  }

  pageText(page) {
    if (!this.texts.has(page)) this.texts.set(page, textOf(this.source.layout(page).items));
    return this.texts.get(page);
  }

  lookOnPage(expression, page) {
    const found = [];
    for (const match of this.pageText(page).text.matchAll(expression)) {
      if (this.hits.length >= Search.mostHits) break;
      found.push(this.hits.length);
      this.hits.push({ page, from: match.index, to: match.index + match[0].length });
    }
    if (found.length > 0) this.byPage.set(page, found);
  }

  // The first hit from the page on where the search began, else the first one.
  chooseFirst() {
    if (this.current >= 0) return;
    this.current = this.hits.findIndex((hit) => hit.page >= this.start);
    if (this.current < 0 && this.isDone && this.hits.length > 0) this.current = 0;
  }

  step(by) {
    const { length } = this.hits;
    if (length > 0) this.current = (Math.max(this.current, 0) + by + length) % length;
    this.changed();
  }

  get hit() {
    return this.hits[this.current];
  }

  // What is to be marked on a page: parts of its texts.
  partsOn(page) {
    return (this.byPage.get(page) ?? []).flatMap((place) => {
      const hit = this.hits[place];
      return this.pageText(page).parts
        .filter((part) => part.from < hit.to && part.to > hit.from)
        .map((part) => ({
          item: part.item, isCurrent: place === this.current,
          from: Math.max(hit.from, part.from) - part.from,
          to: Math.min(hit.to, part.to) - part.from,
        }));
    });
  }

  get words() {
    if (!this.isActive) return '';
    const { length } = this.hits;
    if (length === 0) return this.isDone ? 'No hits' : '…';
    const more = length >= Search.mostHits || !this.isDone ? '+' : '';
    return `${this.current + 1} of ${length}${more}`;
  }
}
