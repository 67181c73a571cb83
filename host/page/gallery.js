'use strict';
// The page: its controls, and what they show of the cards.

class CGallery {
  constructor() {
    this.cards = [];
    this.plates = [];
    this.find = id => document.getElementById(id);
    this.grid = new CGrid(this.find('pictures'), {
      onOpen: card => this.viewer.open(card),
      onVisible: (visible, next) => this.onVisible?.(visible, next),
    });
    this.viewer = new CViewer(document.querySelector('dialog'), {
      neighbour: (card, step) => this.neighbour(card, step),
      focus: card => this.grid.focusCard(card),
    });
    this.listen();
  }

  listen() {
    let waiting = 0;
    this.find('filter').addEventListener('input', () => {
      clearTimeout(waiting);
      waiting = setTimeout(() => this.refresh(), this.cards.length > 2000 ? 120 : 0);
    });
    this.find('order').addEventListener('change', () => this.refresh());
    const size = this.find('size');
    size.value = this.grid.size;
    size.addEventListener('change', () => this.grid.setSize(size.value));
    this.find('bars').addEventListener('change', event => {
      document.body.classList.toggle('plain', !event.target.checked);
    });
    const theme = this.find('theme');
    theme.addEventListener('change', () => { document.documentElement.dataset.theme = theme.value; });
    this.find('problems').addEventListener('click', () => this.showProblems());
    addEventListener('keydown', event => {
      if (event.key !== '/' || event.target.matches('input, select') || document.querySelector('dialog[open]')) return;
      event.preventDefault();
      this.find('filter').focus();
    });
  }

  // Shows other cards. `keepPlace` when they are the same ones with more facts.
  setCards(cards, plates = []) {
    this.cards = cards;
    this.plates = plates;
    const common = commonFolder([...new Set(cards.map(card => card.folder))]);
    this.commonLength = common ? common.length + 1 : 0;
    this.offerFacts();
    this.refresh();
  }

  allCards() { return [...this.plates.flatMap(plate => plate.cards), ...this.cards]; }

  // A choice for each fact by which the cards differ.
  offerFacts() {
    const place = this.find('facts'), chosen = this.chosenFacts();
    place.replaceChildren();
    for (const [fact, name] of Object.entries(factNames)) {
      const values = valuesOf(this.cards, fact);
      if (values.length < 2) continue;
      const select = element('select', {name: fact, ariaLabel: name}, new Option(`${name}: any`, ''));
      for (const [value, number] of values) select.add(new Option(`${name}: ${value} (${number})`, value));
      select.value = values.some(([value]) => value === chosen[fact]) ? chosen[fact] : '';
      select.onchange = () => this.refresh();
      place.append(select, ' ');
    }
  }

  chosenFacts() {
    return Object.fromEntries([...this.find('facts').querySelectorAll('select')].map(each => [each.name, each.value]));
  }

  refresh() {
    const line = this.find('filter').value, words = wordsOf(line), facts = this.chosenFacts();
    const wanted = card => matches(card, card.foundBy === line ? [] : words, facts);
    const cards = this.cards.filter(wanted);
    const groups = groupsOf(cards, this.find('order').value);
    for (const group of groups) {
      if (group.folder !== undefined) group.shortTitle = group.folder.slice(this.commonLength) || group.folder || 'This folder';
    }
    let wells = 0;
    const plates = [];
    for (const plate of this.plates) {
      const matching = new Set(plate.cards.filter(wanted));
      wells += matching.size;
      if (matching.size) plates.push({...plate, matching: matching.size === plate.cards.length ? null : matching});
    }
    this.shown = [...plates.flatMap(plate => plate.cards), ...groups.flatMap(group => group.cards)];
    this.grid.show([...plates, ...groups]);
    this.tell(cards.length + wells, words.length > 0 || Object.values(facts).some(value => value));
  }

  tell(shown, isFiltered) {
    const all = this.allCards(), bad = all.filter(card => card.reason !== undefined).length;
    const text = !all.length ? this.emptyText ?? 'There are no pictures here'
                 : !isFiltered ? count(all.length, 'picture')
                 : shown ? `${shown.toLocaleString('en')} of ${count(all.length, 'picture')}`
                         : `None of ${count(all.length, 'picture')} matches`;
    this.find('status').textContent = text;
    const problems = this.find('problems');
    problems.hidden = bad === 0;
    problems.textContent = `${bad.toLocaleString('en')} could not be shown`;
  }

  showProblems() {
    let index = this.grid.cards.findIndex(card => card.reason !== undefined);
    if (index < 0) {
      this.find('filter').value = '';
      for (const select of this.find('facts').querySelectorAll('select')) select.value = '';
      this.refresh();
      index = this.grid.cards.findIndex(card => card.reason !== undefined);
    }
    if (index >= 0) return this.grid.focus(index);
    document.querySelector('.plate .bad')?.focus();
  }

  neighbour(card, step) { return this.shown[this.shown.indexOf(card) + step]; }
}

function cardOf(facts) {
  const slash = facts.path.lastIndexOf('/');
  return {...facts, name: facts.path.slice(slash + 1), folder: facts.path.slice(0, slash) || '/',
          picture() { return facts.file ?? this.source; }};
}

// The cards that lie in the page itself. Their pictures are looked at when they are shown.
function embeddedCards() {
  const cards = [], plates = [];
  for (const script of document.querySelectorAll('script[type="application/json"]')) {
    const facts = JSON.parse(script.textContent);
    if (facts.plate) {
      plates.push({plate: facts.plate, title: facts.title, cards: []});
      continue;
    }
    const card = cardOf(facts), jpeg = script.nextElementSibling;
    if (jpeg?.type === 'text/base64') card.picture = () => `data:image/jpeg;base64,${jpeg.textContent}`;
    if (facts.row === undefined) cards.push(card); else plates.at(-1).cards.push(card);
  }
  return {cards, plates};
}
