// Thumbnails and contents at the side.

function makeLink(className, number, ...children) {
  const link = document.createElement('a');
  link.className = className;
  link.href = `#page=${number}`;
  link.append(...children);
  return link;
}

function makeLine(text) {
  const line = document.createElement('span');
  line.textContent = text;
  return line;
}

class Thumbnails {
  static width = 116;
  static mostHeight = 170;
  static around = 36; // what isn't the sheet

  constructor(source, pictures) {
    Object.assign(this, { source, pictures, current: 0, drawings: new Map() });
    const { pages } = source;
    this.column = new Column({
      scroller: element('thumbnails'), count: pages.length,
      heightOf: (i) => Math.round(this.sizeOf(i).height) + Thumbnails.around + 6,
      draw: (i) => this.draw(i), drop: (i) => this.drop(i),
    });
    this.column.measure();
    element('thumbnails').addEventListener('keydown', (event) => this.key(event));
  }

  sizeOf(i) {
    const { width, height } = this.source.pages[i];
    const scale = Math.min(Thumbnails.width / width, Thumbnails.mostHeight / height);
    return { width: Math.max(scale * width, 2), height: Math.max(scale * height, 2) };
  }

  draw(i) {
    const { number } = this.source.pages[i];
    const drawing = new PageDrawing(this.source, this.pictures, i);
    this.drawings.set(i, drawing);
    const { width, height } = this.sizeOf(i);
    drawing.sheet.style.width = `${width}px`;
    drawing.sheet.style.height = `${height}px`;
    drawing.sheet.setAttribute('aria-hidden', 'true');
    const link = makeLink('thumbnail', number, drawing.sheet, makeLine(number));
    link.setAttribute('aria-label', `Page ${number}`);
    link.style.height = `${height + Thumbnails.around}px`;
    this.tell(link, i);
    return link;
  }

  drop(i) {
    this.drawings.get(i).drop();
    this.drawings.delete(i);
  }

  // Only one of them is reached with the tab key; the arrows lead on.
  tell(link, i) {
    const isCurrent = i === this.current;
    link.tabIndex = isCurrent ? 0 : -1;
    if (isCurrent) link.setAttribute('aria-current', 'page');
    else link.removeAttribute('aria-current');
  }

  show(place) {
    this.current = place;
    for (const [i, link] of this.column.drawn) this.tell(link, i);
    this.column.reveal(place);
  }

  key(event) {
    const step = { ArrowDown: 1, ArrowUp: -1 }[event.key];
    if (step === undefined) return;
    event.preventDefault();
    event.stopPropagation();
    const next = Math.min(Math.max(this.current + step, 0), this.source.pages.length - 1);
    location.hash = `page=${this.source.pages[next].number}`;
    this.show(next);
    this.column.drawn.get(next)?.focus({ preventScroll: true });
  }
}

class Contents {
  static height = 30;

  constructor(source) {
    this.source = source;
    this.scroller = element('contents');
    if (source.contents.length === 0) return this.sayNothing();
    this.current = -1;
    this.column = new Column({
      scroller: this.scroller, count: source.contents.length, heightOf: () => Contents.height,
      draw: (i) => this.draw(i),
    });
    this.column.measure();
  }

  sayNothing() {
    const line = document.createElement('p');
    line.className = 'nothing';
    line.textContent = 'The document has no groups and no tags.';
    this.scroller.append(line);
  }

  draw(i) {
    const { level, name, page } = this.source.contents[i];
    const link = makeLink('entry', this.source.pages[page].number, name);
    link.title = name;
    link.style.paddingLeft = `${8 + 14 * Math.min(level, 8)}px`;
    this.tell(link, i);
    return link;
  }

  tell(link, i) {
    if (i === this.current) link.setAttribute('aria-current', 'location');
    else link.removeAttribute('aria-current');
  }

  // Marks the first entry that leads to the page, or to the nearest before it.
  show(place) {
    if (!this.column) return;
    const { contents } = this.source;
    let last = -1;
    contents.forEach(({ page }, i) => {
      if (page <= place && (last < 0 || page > contents[last].page)) last = i;
    });
    this.current = last;
    for (const [i, link] of this.column.drawn) this.tell(link, i);
    if (last >= 0) this.column.reveal(last);
  }
}

// The tabs over them.
class Tabs {
  constructor() {
    this.tabs = [...document.querySelectorAll('[role=tab]')];
    for (const tab of this.tabs) {
      tab.addEventListener('click', () => this.choose(tab));
      tab.addEventListener('keydown', (event) => this.key(event, tab));
    }
  }

  choose(chosen) {
    for (const tab of this.tabs) {
      tab.setAttribute('aria-selected', tab === chosen);
      tab.tabIndex = tab === chosen ? 0 : -1;
      element(tab.getAttribute('aria-controls')).hidden = tab !== chosen;
    }
  }

  key(event, tab) {
    if (event.key !== 'ArrowLeft' && event.key !== 'ArrowRight') return;
    event.preventDefault();
    event.stopPropagation();
    const other = this.tabs[(this.tabs.indexOf(tab) + 1) % this.tabs.length];
    this.choose(other);
    other.focus();
  }
}
