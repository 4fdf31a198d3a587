// The pages in the middle, and how large they are.
class Pages {
  static gap = 20;
  static steps = [10, 25, 33, 50, 67, 75, 90, 100, 110, 125, 150, 175, 200, 250, 300, 400, 600, 800];
  static pixelsPerPoint = 96 / 72;
  // Browsers have no room for more.
  static mostHeight = 3e7;

  // `turned` is told when another page is looked at, `zoomed` of another scale.
  constructor({ source, pictures, search, warn, turned, zoomed }) {
    Object.assign(this, { source, pictures, search, warn, turned, zoomed });
    this.scroller = element('pages');
    this.zoom = 'auto';
    this.current = 0;
    this.drawings = new Map();
    this.column = new Column({
      scroller: this.scroller, count: source.pages.length,
      heightOf: (i) => Math.round(this.scaleOf(i) * source.pages[i].height) + Pages.gap,
      widthOf: (i) => Math.round(this.scaleOf(i) * source.pages[i].width) + 2 * Pages.gap,
      draw: (i) => this.draw(i), fit: (i, box) => this.fit(i, box), drop: (i) => this.drop(i),
    });
    this.totalHeight = source.pages.reduce((sum, { height }) => sum + height, 0);
    this.scroller.addEventListener('scroll', () => this.look(), { passive: true });
    new ResizeObserver(() => this.measure()).observe(this.scroller);
    this.measure();
  }

  // Pixels for a point.
  scaleOf(i) {
    const { width, height } = this.source.pages[i];
    const across = Math.max(this.scroller.clientWidth - 2 * Pages.gap, 40) / width;
    const down = Math.max(this.scroller.clientHeight - 2 * Pages.gap, 40) / height;
    const whole = Pages.pixelsPerPoint;
    const scales = {
      auto: Math.min(across, 1.25 * whole), width: Math.min(across, 4 * whole),
      page: Math.min(across, down, 4 * whole),
    };
    const scale = scales[this.zoom] ?? (this.zoom / 100) * whole;
    return Math.min(scale, Pages.mostHeight / (this.totalHeight ?? 1));
  }

  get percent() {
    return (100 * this.scaleOf(this.current)) / Pages.pixelsPerPoint;
  }

  // Finds all sizes anew; what is looked at stays where it is.
  measure() {
    const { scrollTop } = this.scroller;
    const { tops } = this.column;
    const { current } = this;
    const height = tops[current + 1] - tops[current];
    const part = height > 0 ? (scrollTop - tops[current]) / height : 0;
    this.column.measure();
    if (height > 0) {
      this.scroller.scrollTop = tops[current] + part * (tops[current + 1] - tops[current]);
    }
    this.column.update();
    this.zoomed();
  }

  zoomTo(zoom) {
    this.zoom = zoom;
    this.measure();
  }

  // One step of zoom in a direction.
  zoomBy(direction) {
    const now = this.percent;
    const steps = direction > 0 ? Pages.steps : [...Pages.steps].reverse();
    const next = steps.find((step) => direction * (step - now) > 0.5);
    if (next !== undefined) this.zoomTo(next);
  }

  draw(i) {
    const { number } = this.source.pages[i];
    const drawing = new PageDrawing(this.source, this.pictures, i);
    this.drawings.set(i, drawing);
    const box = document.createElement('div');
    box.className = 'page';
    box.dataset.place = i;
    box.setAttribute('role', 'group');
    box.setAttribute('aria-label', `Page ${number}`);
    box.append(drawing.sheet);
    const warnings = this.source.layout(i).warnings.length;
    if (warnings > 0) box.append(this.makeChip(warnings, number));
    // Its letters have places once it is in the page.
    queueMicrotask(() => this.mark(i));
    return box;
  }

  makeChip(count, number) {
    const chip = document.createElement('button');
    chip.type = 'button';
    chip.className = 'chip';
    chip.textContent = count === 1 ? '1 warning' : `${count} warnings`;
    chip.addEventListener('click', () => this.warn(number));
    return chip;
  }

  fit(i, box) {
    const { width, height } = this.source.pages[i];
    const scale = this.scaleOf(i);
    const pixels = Math.round(scale * width);
    const all = Math.max(this.column.sizer.clientWidth, pixels + 2 * Pages.gap);
    box.style.width = `${pixels}px`;
    box.style.height = `${Math.round(scale * height)}px`;
    box.style.left = `${Math.round((all - pixels) / 2)}px`;
    box.style.marginTop = `${Pages.gap}px`;
  }

  drop(i) {
    this.drawings.get(i).drop();
    this.drawings.delete(i);
  }

  mark(i) {
    const drawing = this.drawings.get(i);
    if (drawing) drawing.mark(this.search.partsOn(i));
  }

  markAll() {
    for (const i of this.drawings.keys()) this.mark(i);
  }

  // Shows a page from its top.
  goTo(place) {
    const { scroller, column } = this;
    const target = Math.min(Math.max(place, 0), this.source.pages.length - 1);
    scroller.scrollTop = column.tops[target];
    column.update();
    this.wanted = { place: target, scrollTop: scroller.scrollTop };
    this.look();
  }

  // Which page is looked at: the one that was asked for, as long as nobody scrolls, else what
  // covers the upper part of the window.
  look() {
    const { scrollTop, clientHeight } = this.scroller;
    const isWanted = this.wanted && Math.abs(this.wanted.scrollTop - scrollTop) < 2;
    if (!isWanted) this.wanted = null;
    const place = isWanted ? this.wanted.place : this.column.at(scrollTop + 0.4 * clientHeight);
    if (place === this.current) return;
    this.current = place;
    this.turned(place);
  }

  // Brings a hit into sight.
  reveal({ page }) {
    const { scroller, column } = this;
    if (!this.drawings.has(page)) this.goTo(page);
    this.markAll();
    const mark = this.drawings.get(page)?.sheet.querySelector('.current');
    if (!mark) return;
    const at = mark.getBoundingClientRect();
    const frame = scroller.getBoundingClientRect();
    const isSeen = at.top >= frame.top + 10 && at.bottom <= frame.bottom - 10;
    if (!isSeen) scroller.scrollTop += at.top - frame.top - frame.height / 3;
    if (at.left < frame.left || at.right > frame.right) {
      scroller.scrollLeft += at.left - frame.left - frame.width / 3;
    }
    column.update();
    this.markAll();
  }
}
