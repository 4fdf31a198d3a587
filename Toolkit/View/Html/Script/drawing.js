// Pages as SVG, a unit for a point.

function make(name, attributes = {}, ...children) {
  const made = document.createElementNS('http://www.w3.org/2000/svg', name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...children);
  return made;
}

const placed = ({ x, y, rotation }) =>
  `translate(${x} ${y})${rotation === 0 ? '' : ` rotate(${rotation})`}`;

let madePatterns = 0;

class PageDrawing {
  constructor(source, pictures, place) {
    const { width, height } = source.pages[place];
    this.pictures = pictures;
    this.isInvisible = source.textIsInvisible;
    this.taken = [];
    this.texts = new Map(); // elements, by the items' places
    this.items = source.layout(place).items;
    this.sheet = make('svg', { class: 'sheet', viewBox: `0 0 ${width} ${height}` });
    this.items.forEach((item, i) => this.sheet.append(this.draw(item, i)));
    this.marks = make('g');
    this.sheet.append(this.marks);
  }

  // Gives back the pictures.
  drop() {
    for (const release of this.taken) release();
    this.taken = [];
  }

  draw(item, i) {
    if (item.kind === 'text') return this.drawText(item, i);
    if (item.kind === 'picture') return this.drawPicture(item);
    if (item.kind === 'box') return this.drawBox(item);
    const { x, y, width, height, color } = item;
    return make('rect', { x, y, width, height, fill: color });
  }

  drawText(item, i) {
    const { style } = item;
    const text = make('text', {
      class: this.isInvisible ? `${style.face} invisible` : style.face,
      transform: placed(item), 'font-size': style.size, fill: style.color,
    }, item.text);
    if (style.bold) text.setAttribute('font-weight', 'bold');
    if (style.italic) text.setAttribute('font-style', 'italic');
    if (style.underlined) text.setAttribute('text-decoration', 'underline');
    if (style.adjustment !== 0) text.setAttribute('letter-spacing', style.adjustment);
    if (style.blank !== 0) text.setAttribute('word-spacing', style.blank);
    if (item.width > 0) {
      text.setAttribute('textLength', item.width);
      text.setAttribute('lengthAdjust', 'spacingAndGlyphs');
    }
    this.texts.set(i, text);
    return text;
  }

  // The area clips, and stands in the page as the content stands in it.
  drawPicture(item) {
    const { width, height, contentWidth, contentHeight } = item;
    const size = { width: contentWidth, height: contentHeight };
    const image = make('image', { ...size, preserveAspectRatio: 'none' });
    const content = item.replicated
      ? this.repeat(item, image)
      : [make('g', { transform: placed(item.content) }, image)];
    const area = make('svg', { width, height }, ...content);
    this.taken.push(this.pictures.take(item.picture,
      (address) => image.setAttribute('href', address),
      (name) => area.replaceChildren(this.drawBox({ x: 0, y: 0, width, height, label: name }))));
    return make('g', { transform: placed(item.area) }, area);
  }

  repeat({ width, height, content, contentWidth, contentHeight }, image) {
    madePatterns += 1;
    const id = `pattern-${madePatterns}`;
    return [
      make('pattern', {
        id, patternUnits: 'userSpaceOnUse', width: contentWidth, height: contentHeight,
        patternTransform: placed(content),
      }, image),
      make('rect', { width, height, fill: `url(#${id})` }),
    ];
  }

  drawBox({ x, y, width, height, label }) {
    const size = Math.min(9, Math.max(height - 2, 1));
    return make('svg', { x, y, width, height, class: 'box' },
      make('rect', { width: '100%', height: '100%' }),
      make('text', { x: 4, y: size + 2, 'font-size': size, class: 'sans' }, label));
  }

  // Shows hits: parts of texts, and whether each belongs to the current hit.
  mark(parts) {
    // Of text that is too small to be set, letters have no place.
    const set = parts.filter(({ item, to }) => this.texts.get(item).getNumberOfChars() >= to);
    this.marks.replaceChildren(...set.map((part) => this.drawMark(part)));
  }

  drawMark({ item, from, to, isCurrent }) {
    const text = this.texts.get(item);
    const { style } = this.items[item];
    const start = text.getStartPositionOfChar(from).x;
    const end = text.getEndPositionOfChar(to - 1).x;
    return make('rect', {
      class: isCurrent ? 'mark current' : 'mark', transform: text.getAttribute('transform'),
      x: Math.min(start, end) - 0.5, y: -0.85 * style.size, width: Math.abs(end - start) + 1,
      height: 1.1 * style.size,
    });
  }
}
