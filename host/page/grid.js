'use strict';
// Lays groups of cards out and keeps only those near the window in the document, however many there are.

function element(name, properties = {}, ...children) {
  const made = Object.assign(document.createElement(name), properties);
  made.append(...children);
  return made;
}

const kGap = 12, kTitleHeight = 30, kLineHeight = 17, kMostLines = 7;
const kSizes = {small: {width: 150, height: 120}, medium: {width: 220, height: 180}, large: {width: 330, height: 270}};

class CGrid {
  // `onVisible` is told of the cards in the window, and of those a screen beyond, when these change.
  constructor(main, {onOpen, onVisible}) {
    this.main = main;
    this.onOpen = onOpen;
    this.onVisible = onVisible;
    this.size = devicePixelRatio >= 1.5 ? 'small' : 'medium';
    this.groups = [];
    this.boxes = [];
    this.cards = [];
    this.drawn = new Map();  // box -> element
    this.current = 0;        // of the cards, the one that Tab reaches
    main.setAttribute('role', 'list');
    main.setAttribute('aria-label', 'Pictures');
    main.addEventListener('keydown', event => this.onKey(event));
    main.addEventListener('focusin', event => this.onFocus(event));
    new ResizeObserver(() => this.layOut()).observe(main);
    let frame = 0;
    const later = () => { frame ||= requestAnimationFrame(() => { frame = 0; this.draw(); }); };
    addEventListener('scroll', later, {passive: true});
    addEventListener('resize', later);
  }

  show(groups) {
    this.groups = groups;
    this.width = 0;
    this.layOut();
  }

  setSize(size) {
    this.size = size;
    this.width = 0;
    this.layOut();
  }

  // Draws a card anew whose facts have come.
  update(card) {
    const box = card.box;
    if (!box || !this.drawn.has(box)) return;
    const old = this.drawn.get(box), made = this.make(box);
    const hadFocus = old.contains(document.activeElement);
    old.replaceWith(made);
    this.drawn.set(box, made);
    if (hadFocus) made.querySelector('.shot')?.focus({preventScroll: true});
  }

  layOut() {
    if (this.main.clientWidth === this.width) return;
    this.width = this.main.clientWidth;
    const size = kSizes[this.size];
    const columns = Math.max(1, Math.floor((this.width + kGap) / (size.width + kGap)));
    const cell = Math.floor((this.width - (columns - 1) * kGap) / columns);
    this.cell = {width: cell, height: size.height};
    this.boxes = [];
    this.cards = [];
    this.place(columns, cell);
    this.current = Math.min(this.current, Math.max(0, this.cards.length - 1));
    for (const drawn of this.drawn.values()) drawn.remove();
    this.drawn.clear();
    this.draw();
  }

  // Groups that fit beside each other share a row. The cards of a row are as high as the one with most lines.
  place(columns, cell) {
    let y = 0, row = [], hasTitle = false;
    const step = cell + kGap;
    const endRow = () => {
      const lines = Math.min(kMostLines, Math.max(0, ...row.map(({card}) => card.brief?.length ?? this.expectedLines ?? 0)));
      const top = y + (hasTitle ? kTitleHeight : 0), height = this.cell.height + 38 + lines * kLineHeight;
      for (const box of row) Object.assign(box, {y: top, h: height, lines});
      if (row.length) y = top + height + kGap;
      row = [];
      hasTitle = false;
    };
    for (const group of this.groups) {
      if (group.plate || group.bad || group.cards.length > columns - row.length) endRow();
      if (group.title !== undefined) {
        const room = group.plate ? columns : Math.min(columns - row.length, Math.max(1, group.cards.length));
        this.boxes.push({title: group, x: row.length * step, y, w: room * step - kGap, h: kTitleHeight});
        hasTitle = true;
      }
      if (group.plate) {
        y += kTitleHeight + this.placePlate(group, y + kTitleHeight) + kGap;
        hasTitle = false;
        continue;
      }
      for (const card of group.cards) {
        if (row.length === columns) endRow();
        card.box = {card, x: row.length * step, w: cell, index: this.cards.length};
        row.push(card.box);
        this.boxes.push(card.box);
        this.cards.push(card);
      }
    }
    endRow();
    this.boxes.sort((a, b) => a.y - b.y || a.x - b.x);
    this.tallest = this.boxes.reduce((most, box) => Math.max(most, box.h), 0);
    this.main.style.height = `${y}px`;
  }

  // The height that it takes.
  placePlate(group, y) {
    const {rows, columns} = group.plate, width = Math.min(this.width, 1600);
    group.well = Math.max(4, Math.min(180, Math.floor((width - 30) / columns) - 2));
    const h = 20 + rows * (group.well + 2);
    this.boxes.push({plate: group, x: 0, y, w: 30 + columns * (group.well + 2), h});
    return h;
  }

  // The boxes that touch these heights of the page.
  between(top, bottom) {
    let low = 0, high = this.boxes.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (this.boxes[middle].y < top - this.tallest) low = middle + 1; else high = middle;
    }
    const found = [];
    for (let i = low; i < this.boxes.length && this.boxes[i].y < bottom; ++i) {
      if (this.boxes[i].y + this.boxes[i].h > top) found.push(this.boxes[i]);
    }
    return found;
  }

  draw() {
    const top = -this.main.getBoundingClientRect().top, bottom = top + innerHeight;
    const wanted = new Set(this.between(top - innerHeight / 2, bottom + innerHeight));
    const focused = document.activeElement?.closest?.('.card')?.box;
    const stop = this.cards[this.current]?.box;
    if (stop) wanted.add(stop);
    for (const [box, drawn] of this.drawn) {
      if (wanted.has(box) || box === focused) continue;
      drawn.remove();
      this.drawn.delete(box);
    }
    for (const box of wanted) {
      if (this.drawn.has(box)) continue;
      const made = this.make(box);
      this.drawn.set(box, made);
      this.insertInOrder(made, box);
    }
    this.tellVisible(top, bottom);
  }

  // The order in the document is that on the screen, for Tab and for screen readers.
  insertInOrder(made, box) {
    made.box = box;
    let after = this.main.lastElementChild;
    while (after && (after.box.y > box.y || (after.box.y === box.y && after.box.x > box.x))) {
      after = after.previousElementSibling;
    }
    if (after) after.after(made); else this.main.prepend(made);
  }

  tellVisible(top, bottom) {
    if (!this.onVisible) return;
    const cardsOf = boxes => boxes.flatMap(box => box.card ? [box.card] : []);
    const visible = cardsOf(this.between(top, bottom));
    this.onVisible(visible, cardsOf(this.between(bottom, bottom + innerHeight)).filter(card => !visible.includes(card)));
  }

  make(box) {
    const made = box.title ? this.makeTitle(box.title) : box.plate ? this.makePlate(box.plate) : this.makeCard(box);
    made.box = box;
    made.style.left = `${box.x}px`;
    made.style.top = `${box.y}px`;
    made.style.width = `${box.w}px`;
    if (!box.title) made.style.height = `${box.h}px`;
    return made;
  }

  makeTitle(group) {
    return element('h2', {textContent: group.shortTitle ?? group.title, title: group.title,
                          className: group.bad ? 'bad' : ''});
  }

  makeCard(box) {
    const {card, index} = box;
    const shot = element('button', {className: 'shot', type: 'button', tabIndex: index === this.current ? 0 : -1});
    shot.style.height = `${this.cell.height + 8}px`;
    shot.append(this.makePicture(card));
    shot.onclick = () => this.onOpen(card);
    const caption = element('div', {className: 'caption'}, element('b', {textContent: card.name, title: card.path}));
    for (const line of (card.brief ?? []).slice(0, box.lines)) {
      caption.append(element('span', {textContent: line, title: line}));
    }
    const made = element('article', {className: 'card'}, shot, caption);
    made.setAttribute('role', 'listitem');
    made.setAttribute('aria-posinset', index + 1);
    made.setAttribute('aria-setsize', this.cards.length);
    return made;
  }

  makePicture(card) {
    if (card.reason !== undefined) {
      return element('span', {className: 'none', textContent: card.reason, title: card.reason});
    }
    const source = card.picture();
    if (!source) return element('span', {className: 'wait', textContent: '…', ariaLabel: `${card.name}, not here yet`});
    const image = element('img', {alt: card.name, decoding: 'async', src: source});
    const fit = () => {
      // Whole pixels of the screen, so that no edge is a mixture.
      const scale = Math.min((this.cell.width - 8) / image.naturalWidth, this.cell.height / image.naturalHeight, 2);
      image.style.width = `${Math.max(1, Math.round(image.naturalWidth * scale))}px`;
      image.style.height = `${Math.max(1, Math.round(image.naturalHeight * scale))}px`;
    };
    image.style.maxWidth = `${this.cell.width - 8}px`;
    image.style.maxHeight = `${this.cell.height}px`;
    image.onload = fit;
    return element('span', {className: 'frame'}, image, ...scaleBarOf(card));
  }

  makePlate(group) {
    const {plate} = group;
    const made = element('section', {className: 'plate', ariaLabel: group.title});
    made.style.gridTemplate = `18px repeat(${plate.rows}, ${group.well}px) / 28px repeat(${plate.columns}, ${group.well}px)`;
    made.style.fontSize = `${Math.min(11, group.well * 0.75)}px`;
    made.append(element('b'));
    for (let column = 1; column <= plate.columns; ++column) made.append(element('b', {textContent: column}));
    const wells = new Map(group.cards.map(card => [card.row * plate.columns + card.column, card]));
    for (let row = 0; row < plate.rows; ++row) {
      made.append(element('b', {textContent: rowName(row)}));
      for (let column = 0; column < plate.columns; ++column) {
        made.append(this.makeWell(wells.get(row * plate.columns + column), row, column, group));
      }
    }
    return made;
  }

  makeWell(card, row, column, group) {
    const place = rowName(row) + (column + 1);
    if (!card) return element('s', {title: `${place}: no image`});
    const title = `${place}: ${card.name}` + (card.fields > 1 ? `, the first of ${card.fields} fields` : '');
    const well = element('button', {type: 'button', title: card.reason ? `${title}: ${card.reason}` : title});
    if (card.reason !== undefined) {
      well.className = 'bad';
      well.ariaLabel = well.title;
    } else {
      well.append(element('img', {alt: title, decoding: 'async', src: card.picture()}));
    }
    if (group.matching && !group.matching.has(card)) well.classList.add('unmatched');
    well.onclick = () => this.onOpen(card);
    return well;
  }

  onFocus(event) {
    const box = event.target.closest('.card')?.box;
    if (!box || !event.target.classList.contains('shot')) return;
    this.moveStop(box.index);
  }

  moveStop(index) {
    const stopOf = at => this.drawn.get(this.cards[at]?.box)?.querySelector('.shot');
    const old = stopOf(this.current);
    if (old) old.tabIndex = -1;
    this.current = index;
    const now = stopOf(index);
    if (now) now.tabIndex = 0;
  }

  // Brings a card into the window and gives it the focus.
  focus(index) {
    const box = this.cards[index]?.box;
    if (!box) return;
    this.moveStop(index);
    const top = this.main.getBoundingClientRect().top + box.y;
    const head = document.querySelector('header').getBoundingClientRect().bottom;
    if (top < head) scrollBy(0, top - head - kGap);
    if (top + box.h > innerHeight) scrollBy(0, top + box.h - innerHeight + kGap);
    this.draw();
    this.drawn.get(box).querySelector('.shot').focus({preventScroll: true});
  }

  // False when the card is not in the grid.
  focusCard(card) {
    const index = card.box?.index;
    if (index === undefined || this.cards[index] !== card) return false;
    this.focus(index);
    return true;
  }

  onKey(event) {
    const box = event.target.closest('.card')?.box;
    if (!box || event.altKey || event.ctrlKey || event.metaKey) return;
    const index = {
      ArrowRight: () => box.index + 1,
      ArrowLeft: () => box.index - 1,
      ArrowDown: () => this.neighbour(box, 1),
      ArrowUp: () => this.neighbour(box, -1),
      Home: () => 0,
      End: () => this.cards.length - 1,
    }[event.key]?.();
    if (index === undefined || index < 0 || index >= this.cards.length) return;
    event.preventDefault();
    this.focus(index);
  }

  // The card in the next row whose column is nearest.
  neighbour(box, direction) {
    let row, best;
    for (let i = box.index + direction; this.cards[i]; i += direction) {
      const other = this.cards[i].box;
      if (other.y === box.y) continue;
      row ??= other.y;
      if (other.y !== row) break;
      if (!best || Math.abs(other.x - box.x) < Math.abs(best.x - box.x)) best = other;
    }
    return best?.index;
  }
}

function rowName(row) {
  return (row >= 26 ? String.fromCharCode(64 + Math.floor(row / 26)) : '') + String.fromCharCode(65 + row % 26);
}

function scaleBarOf(card) {
  if (!card.bar) return [];
  const bar = element('i', {className: 'bar', title: "along the picture's width"},
                      element('b', {textContent: card.bar.label}));
  bar.style.width = `${card.bar.share * 100}%`;
  return [bar];
}
