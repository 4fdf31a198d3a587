// Boxes below each other of which only those in sight, and a screen's height around them, are
// there.
class Column {
  // `heightOf` and `widthOf` say how large a box is, in pixels, with what is between boxes;
  // `draw` makes an element, `fit` gives it its size, `drop` is told when one goes.
  constructor({ scroller, count, heightOf, widthOf, draw, fit = () => {}, drop = () => {} }) {
    Object.assign(this, { scroller, count, heightOf, widthOf, draw, fit, drop });
    this.sizer = document.createElement('div');
    this.sizer.className = 'sizer';
    scroller.append(this.sizer);
    this.drawn = new Map();
    this.tops = new Float64Array(count + 1);
    scroller.addEventListener('scroll', () => this.update(), { passive: true });
    new ResizeObserver(() => this.update()).observe(scroller);
  }

  // Finds all places anew.
  measure() {
    let widest = 0;
    for (let i = 0; i < this.count; i += 1) {
      this.tops[i + 1] = this.tops[i] + this.heightOf(i);
      if (this.widthOf) widest = Math.max(widest, this.widthOf(i));
    }
    this.sizer.style.height = `${this.tops[this.count]}px`;
    if (this.widthOf) this.sizer.style.width = `${widest}px`;
    for (const [i, box] of this.drawn) this.put(i, box);
    this.update();
  }

  // The box at a height.
  at(height) {
    let low = 0;
    let high = this.count - 1;
    while (low < high) {
      const middle = (low + high + 1) >> 1;
      if (this.tops[middle] <= height) low = middle;
      else high = middle - 1;
    }
    return low;
  }

  put(i, box) {
    box.style.top = `${this.tops[i]}px`;
    this.fit(i, box);
  }

  update() {
    const { scrollTop, clientHeight } = this.scroller;
    if (this.count === 0 || clientHeight === 0) return;
    const first = this.at(scrollTop - clientHeight);
    const last = this.at(scrollTop + 2 * clientHeight);
    for (const [i, box] of this.drawn) {
      if (i < first || i > last) this.remove(i, box);
    }
    for (let i = first; i <= last; i += 1) {
      if (!this.drawn.has(i)) this.add(i);
    }
  }

  add(i) {
    const box = this.draw(i);
    this.put(i, box);
    this.drawn.set(i, box);
    // In the order of the boxes, which is that of the tab key and of copied text.
    let next = null;
    for (const [other, there] of this.drawn) {
      if (other > i && (next === null || other < next.other)) next = { other, there };
    }
    this.sizer.insertBefore(box, next === null ? null : next.there);
  }

  remove(i, box) {
    if (box.contains(document.activeElement)) this.scroller.focus({ preventScroll: true });
    this.drop(i);
    box.remove();
    this.drawn.delete(i);
  }

  // Scrolls as little as shows all of a box.
  reveal(i) {
    const { scrollTop, clientHeight } = this.scroller;
    if (this.tops[i] < scrollTop) this.scroller.scrollTop = this.tops[i];
    else if (this.tops[i + 1] > scrollTop + clientHeight) {
      this.scroller.scrollTop = this.tops[i + 1] - clientHeight;
    }
    this.update();
  }

  refresh() {
    for (const [i, box] of [...this.drawn]) this.remove(i, box);
    this.update();
  }
}
