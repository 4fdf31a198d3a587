// All pages on paper, each at its size.
class Printing {
  constructor(source, pictures) {
    Object.assign(this, { source, pictures, drawings: [], rules: new Map() });
    this.paper = document.createElement('div');
    this.paper.id = 'paper';
    document.body.append(this.paper);
    window.addEventListener('beforeprint', () => this.draw());
    window.addEventListener('afterprint', () => this.drop());
  }

  async print() {
    await this.prepare();
    window.print();
  }

  // Draws the pages, and waits until their pictures can be seen.
  async prepare() {
    this.draw();
    const images = [...this.paper.querySelectorAll('image')];
    await Promise.allSettled(images.map((image) => this.decode(image.getAttribute('href'))));
  }

  decode(address) {
    const image = new Image();
    image.src = address ?? '';
    return image.decode();
  }

  draw() {
    if (this.drawings.length > 0) return;
    this.drawings = this.source.pages.map((_, i) => new PageDrawing(this.source, this.pictures, i));
    this.paper.replaceChildren(...this.drawings.map(({ sheet }, i) => this.fit(sheet, i)));
  }

  fit(sheet, i) {
    const { width, height } = this.source.pages[i];
    sheet.style.width = `${width}pt`;
    // A little less than the paper: rounding mustn't take another page.
    sheet.style.height = `${height - 0.2}pt`;
    sheet.style.page = this.ruleFor(`${width}pt ${height}pt`);
    return sheet;
  }

  // The name of a rule for paper of a size.
  ruleFor(size) {
    if (!this.rules.has(size)) {
      const name = `paper-${this.rules.size}`;
      document.styleSheets[0].insertRule(`@page ${name} { size: ${size}; margin: 0; }`);
      this.rules.set(size, name);
    }
    return this.rules.get(size);
  }

  drop() {
    for (const drawing of this.drawings) drawing.drop();
    this.drawings = [];
    this.paper.replaceChildren();
  }
}
