// The bar, the keys, and how all parts work together.

const narrow = window.matchMedia('(max-width: 860px)');

class View {
  constructor() {
    this.source = new ViewDocument();
    this.pictures = new Pictures();
    this.search = new Search(this.source, () => this.showHits());
    this.tabs = new Tabs();
    this.toggleSidebar(!narrow.matches);
    this.pages = new Pages({
      source: this.source, pictures: this.pictures, search: this.search,
      warn: () => this.showWarnings(), turned: () => this.showPage(),
      zoomed: () => this.showZoom(),
    });
    this.thumbnails = new Thumbnails(this.source, this.pictures);
    this.contents = new Contents(this.source);
    this.printing = new Printing(this.source, this.pictures);
    element('title').textContent = this.source.title || 'Document';
    this.listen();
    this.followHash();
    this.showPage();
    if (document.readyState === 'loading') {
      document.addEventListener('DOMContentLoaded', () => this.countWarnings());
    } else this.countWarnings();
  }

  listen() {
    const clicks = {
      'toggle-sidebar': () => this.toggleSidebar(), 'previous-page': () => this.turn(-1),
      'next-page': () => this.turn(1), 'zoom-in': () => this.pages.zoomBy(1),
      'zoom-out': () => this.pages.zoomBy(-1), 'previous-hit': () => this.step(-1),
      'next-hit': () => this.step(1), print: () => this.printing.print(),
      'show-warnings': () => this.showWarnings(), 'show-help': () => element('help').showModal(),
    };
    for (const [id, run] of Object.entries(clicks)) element(id).addEventListener('click', run);
    element('page-number').addEventListener('change', () => this.takePageNumber());
    element('zoom').addEventListener('change', (event) => this.pages.zoomTo(event.target.value));
    element('query').addEventListener('input', () => this.startSearch());
    element('search').addEventListener('submit', (event) => event.preventDefault());
    element('thumbnails').addEventListener('click', (event) => this.closeDrawer(event));
    element('contents').addEventListener('click', (event) => this.closeDrawer(event));
    element('warning-list').addEventListener('click', () => element('warnings').close());
    window.addEventListener('hashchange', () => this.followHash());
    document.addEventListener('keydown', (event) => this.key(event));
    document.addEventListener('copy', (event) => copyText(event, this.pages));
  }

  // Pages

  turn(by) {
    this.pages.goTo(this.pages.current + by);
    this.announce();
  }

  turnTo(place) {
    this.pages.goTo(place);
    this.announce();
  }

  announce() {
    element('announcement').textContent =
      `Page ${this.source.pages[this.pages.current].number} of ${this.source.pages.length}`;
  }

  takePageNumber() {
    const place = this.source.placeOf(Number(element('page-number').value));
    if (place >= 0) this.turnTo(place);
    this.showPage();
  }

  followHash() {
    const match = /^#page=(\d+)$/u.exec(location.hash);
    const place = match ? this.source.placeOf(Number(match[1])) : -1;
    if (place >= 0) this.pages.goTo(place);
  }

  showPage() {
    const { pages } = this.source;
    if (!this.pages || !this.thumbnails) return;
    const { current } = this.pages;
    const isAll = pages[0].number === 1 && pages.at(-1).number === pages.length;
    element('page-number').value = pages[current].number;
    element('page-count').textContent =
      isAll ? `of ${pages.length}` : `(${current + 1} of ${pages.length})`;
    element('previous-page').disabled = current === 0;
    element('next-page').disabled = current === pages.length - 1;
    this.thumbnails.show(current);
    this.contents.show(current);
    this.showZoom();
    clearTimeout(this.noting);
    this.noting = setTimeout(() => {
      history.replaceState(null, '', `#page=${pages[current].number}`);
    }, 300);
  }

  // Zoom

  showZoom() {
    if (!this.pages) return;
    const { zoom } = this.pages;
    const select = element('zoom');
    const hasOption = [...select.options].some((option) => option.value === String(zoom));
    const other = element('zoom-other');
    other.hidden = hasOption;
    other.textContent = `${Math.round(this.pages.percent)}%`;
    select.value = hasOption ? String(zoom) : 'other';
  }

  // Search

  startSearch() {
    clearTimeout(this.searching);
    this.searching = setTimeout(() => {
      this.revealed = null;
      this.search.find(element('query').value, this.pages.current);
    }, 120);
  }

  step(by) {
    this.search.step(by);
  }

  showHits() {
    const { hits, hit, words, isActive } = this.search;
    const output = element('hits');
    output.textContent = this.source.hasText ? words : 'No text';
    output.classList.toggle('none', isActive && hits.length === 0);
    for (const id of ['previous-hit', 'next-hit']) element(id).hidden = hits.length === 0;
    if (hit && hit !== this.revealed) this.pages.reveal(hit);
    else this.pages.markAll();
    this.revealed = hit;
  }

  endSearch() {
    element('query').value = '';
    this.search.find('', 0);
    element('pages').focus();
  }

  // The sidebar

  toggleSidebar(isOpen = document.body.classList.contains('wide')) {
    document.body.classList.toggle('wide', !isOpen);
    element('toggle-sidebar').setAttribute('aria-expanded', isOpen);
  }

  // On narrow screens it lies over the pages.
  closeDrawer(event) {
    if (narrow.matches && event.target.closest('a')) this.toggleSidebar(false);
  }

  // Warnings

  countWarnings() {
    this.told = JSON.parse(element('told').textContent);
    let count = this.told.length;
    this.source.pages.forEach((_, i) => { count += this.warningsOf(i).length; });
    element('warning-count').textContent = count;
    element('show-warnings').hidden = count === 0;
    element('show-warnings').setAttribute('aria-label', `Warnings: ${count}`);
  }

  // Few pages have any, and those that have end with them.
  warningsOf(place) {
    const text = element(`page-${place}`).textContent;
    return text.endsWith('"warnings":[]}') ? [] : this.source.layout(place).warnings;
  }

  showWarnings() {
    const most = 1000;
    const lines = this.told.map(([, text]) => makeListItem(text));
    this.source.pages.forEach(({ number }, i) => {
      if (lines.length >= most) return;
      for (const text of this.warningsOf(i)) {
        lines.push(makeListItem(makeLink('', number, `Page ${number}`), `: ${text}`));
      }
    });
    element('warning-list').replaceChildren(...lines.slice(0, most));
    element('warnings').showModal();
  }

  // Keys

  key(event) {
    const run = this.orderOf(event);
    if (!run) return;
    event.preventDefault();
    run();
  }

  orderOf(event) {
    if (document.querySelector('dialog[open]')) return null;
    const { key } = event;
    if ((event.ctrlKey || event.metaKey) && !event.altKey) return this.controlKeys[key.toLowerCase()];
    if (event.altKey) return null;
    const isQuery = event.target === element('query');
    if (isQuery && key === 'Enter') return () => this.step(event.shiftKey ? -1 : 1);
    if (key === 'Escape') return () => this.escape();
    const turns = { PageDown: () => this.turn(1), PageUp: () => this.turn(-1) };
    if (turns[key]) return turns[key];
    if (event.target.closest('input, select')) return null;
    if (key === ' ' && event.target.closest('a, button')) return null;
    return this.plainKeys[key];
  }

  escape() {
    if (narrow.matches) this.toggleSidebar(false);
    this.endSearch();
  }

  controlKeys = {
    f: () => this.focusSearch(), p: () => this.printing.print(),
  };

  plainKeys = {
    ArrowRight: () => this.aside(1), ArrowLeft: () => this.aside(-1),
    ArrowDown: () => this.scrollBy(60), ArrowUp: () => this.scrollBy(-60),
    ' ': () => this.scrollBy(0.9 * element('pages').clientHeight),
    Home: () => this.turnTo(0), End: () => this.turnTo(this.source.pages.length - 1),
    '+': () => this.pages.zoomBy(1), '=': () => this.pages.zoomBy(1),
    '-': () => this.pages.zoomBy(-1), 0: () => this.pages.zoomTo('auto'),
    '/': () => this.focusSearch(), '?': () => element('help').showModal(),
    n: () => this.step(1), N: () => this.step(-1),
  };

  scrollBy(height) {
    element('pages').scrollBy({ top: height });
  }

  // Turns pages, or scrolls those that are wider than the window.
  aside(direction) {
    const { scrollWidth, clientWidth } = element('pages');
    if (scrollWidth > clientWidth + 1) element('pages').scrollBy({ left: 60 * direction });
    else this.turn(direction);
  }

  focusSearch() {
    element('query').focus();
    element('query').select();
  }
}

function makeListItem(...children) {
  const item = document.createElement('li');
  item.append(...children);
  return item;
}

// Text that is copied from pages has its lines.
function copyText(event, pages) {
  const selection = document.getSelection();
  if (selection.isCollapsed || !element('pages').contains(selection.anchorNode)) return;
  const range = selection.getRangeAt(0);
  let text = '';
  let previous = null;
  for (const box of pages.column.sizer.children) {
    const { texts, items } = pages.drawings.get(Number(box.dataset.place));
    for (const [i, drawn] of texts) {
      if (!range.intersectsNode(drawn)) continue;
      text += between(previous, items[i]) + selectedPart(range, drawn.firstChild);
      previous = items[i];
    }
  }
  event.clipboardData.setData('text/plain', text);
  event.preventDefault();
}

function selectedPart(range, node) {
  const from = range.startContainer === node ? range.startOffset : 0;
  const to = range.endContainer === node ? range.endOffset : node.data.length;
  return node.data.slice(from, to);
}

new View();
}
