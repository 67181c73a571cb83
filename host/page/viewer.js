'use strict';
// The larger view of one picture, with everything that is known of it.

class CViewer {
  // `neighbour(card, step)` gives the card before or behind; `large(card, choice)` the address of a larger picture, or
  // nothing where there is none; `describe(card)`, where a server answers, asks for the rest of what is known, and other
  // planes can then be chosen; `focus(card)` gives the focus back when the view closes, where it can.
  constructor(dialog, {neighbour, focus, large, describe}) {
    Object.assign(this, {dialog, neighbour, focus, large, describe});
    dialog.addEventListener('keydown', event => {
      if (event.target.matches('input[type=range]')) return;
      if (event.key === 'ArrowRight') this.step(1);
      if (event.key === 'ArrowLeft') this.step(-1);
    });
    dialog.addEventListener('close', () => this.onClose());
    dialog.addEventListener('click', event => { if (event.target === dialog) this.close(); });
  }

  open(card) {
    this.opener = document.activeElement;
    this.show(card);
    if (!this.dialog.open) this.dialog.showModal();
    this.dialog.querySelector('.close').focus();
  }

  close() {
    this.dialog.close();
    this.onClose();
  }

  // The event of a dialog's end comes some time after it.
  onClose() {
    if (this.dialog.open || !this.card) return;
    const {card} = this;
    this.card = undefined;
    this.dialog.replaceChildren();
    if (!this.focus(card)) this.opener?.focus();
  }

  step(direction) {
    const next = this.neighbour(this.card, direction);
    if (!next) return;
    const focused = document.activeElement?.className;
    this.show(next);
    (this.dialog.querySelector(`.${focused || 'close'}`) ?? this.dialog.querySelector('.close')).focus();
  }

  async show(card) {
    this.card = card;
    this.draw();
    if (!this.describe) return;
    await this.describe(card);
    if (this.card === card && this.dialog.open) this.draw();
  }

  draw() {
    const {card} = this;
    const button = (className, text, label, work) =>
      element('button', {type: 'button', className, textContent: text, ariaLabel: label, onclick: work});
    const nav = element('nav', {}, element('h2', {id: 'shown', textContent: card.name}),
                        button('previous', '◀', 'Previous picture', () => this.step(-1)),
                        button('next', '▶', 'Next picture', () => this.step(1)),
                        button('close', 'Close', 'Close', () => this.close()));
    this.dialog.setAttribute('aria-labelledby', 'shown');
    const focused = this.dialog.contains(document.activeElement) ? document.activeElement.className : '';
    this.dialog.replaceChildren(
      element('div', {className: 'viewer'}, nav, this.makeStage(card), this.makeTexts(card)));
    if (focused) this.dialog.querySelector(`.${focused}`)?.focus();
  }

  makeStage(card) {
    const stage = element('div', {className: 'stage'});
    if (card.reason !== undefined) {
      stage.append(element('p', {className: 'none', textContent: card.reason}));
      return stage;
    }
    this.image = element('img', {alt: card.name, src: card.picture() ?? ''});
    // Fills the stage as soon as its shape is known; a thumbnail by a few times, a large picture as it is.
    this.image.onload = () => {
      const dense = this.image.naturalWidth / (this.image.isLarge ? devicePixelRatio : 0.25);
      this.image.style.width = `${Math.round(dense)}px`;
    };
    stage.append(element('div', {className: 'frame'}, this.image, ...scaleBarOf(card)));
    this.load();
    return stage;
  }

  // The small picture stands there until the large one has come.
  load() {
    const address = this.large?.(this.card, this.choice());
    if (!address) return;
    const shown = this.image, card = this.card, coming = new Image();
    this.wanted = address;
    shown.classList.add('busy');
    coming.onload = () => {
      if (this.wanted !== address || this.card !== card) return;
      shown.classList.remove('busy');
      shown.isLarge = true;
      shown.src = address;
    };
    coming.onerror = () => shown.classList.remove('busy');
    coming.src = address;
  }

  // What the controls say; nothing where there are none.
  choice() {
    const chosen = {};
    for (const range of this.dialog.querySelectorAll('input[type=range]')) chosen[range.name] = range.value;
    const boxes = [...this.dialog.querySelectorAll('input[name=c]')];
    if (boxes.some(box => !box.checked)) chosen.c = boxes.filter(box => box.checked).map(box => box.value).join(',');
    return chosen;
  }

  makeTexts(card) {
    const aside = element('aside');
    if (this.describe && card.reason === undefined) aside.append(...this.makeControls(card));
    const list = element('dl');
    const where = card.href ? element('a', {href: card.href, textContent: card.path}) : card.path;
    for (const [label, text] of [['File', where], ...(card.lines ?? [])]) {
      list.append(element('dt', {textContent: label}), element('dd', {}, text));
    }
    aside.append(list);
    return aside;
  }

  makeControls(card) {
    const {z = 1, t = 1, channels = 1} = card.facts ?? {};
    if (z <= 1 && t <= 1 && channels <= 1) return [];
    const set = element('fieldset', {}, element('legend', {textContent: 'Shown'}));
    const range = (name, text, most, value) => {
      const shown = element('output', {textContent: `${value} of ${most}`});
      const input = element('input', {type: 'range', name, min: 1, max: most, value, ariaLabel: text});
      input.oninput = () => { shown.textContent = `${input.value} of ${most}`; };
      input.onchange = () => this.load();
      set.append(element('label', {}, text, input, shown));
    };
    if (z > 1) range('z', 'z plane', z, Math.floor(z / 2) + 1);
    if (t > 1) range('t', 'Time point', t, 1);
    for (let c = 1; channels > 1 && c <= Math.min(channels, 32); ++c) {
      const box = element('input', {type: 'checkbox', name: 'c', value: c, checked: true});
      box.onchange = () => { if (this.dialog.querySelector('input[name=c]:checked')) this.load(); else box.checked = true; };
      set.append(element('label', {}, box, card.channelNames?.[c - 1] ?? `Channel ${c}`));
    }
    return [set];
  }
}
