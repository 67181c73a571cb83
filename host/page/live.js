'use strict';
// The page of a folder that is being looked at: pictures come as they are made.

class CLiveGallery extends CGallery {
  constructor() {
    super();
    this.find('filter').placeholder = 'Find by words of name, folder, text, here and below';
    this.find('filter').addEventListener('input', () => this.searchLater());
  }

  async open(folder) {
    this.folder = folder;
    this.own = undefined;
    this.emptyText = 'Looking into the folder…';
    this.setCards([]);
    const answer = await fetch(`list?folder=${encodeURIComponent(folder)}`);
    const list = answer.ok ? await answer.json() : {folders: [], files: [], error: await answer.text()};
    if (this.folder !== folder) return;
    this.emptyText = list.error ?? (list.folders.length ? 'No pictures here, but in the folders' : undefined);
    this.byPath = new Map();
    const below = folder ? `${folder}/` : '';
    const cards = list.files.map(([name, size, time]) => this.cardOf(below + name, size, time));
    this.showPath(folder, list.root ?? '');
    this.showFolders(below, list.folders);
    scrollTo(0, 0);
    this.grid.current = 0;
    this.grid.expectedLines = 4;
    this.own = cards;
    this.setCards(cards);
    this.search();
  }

  searchLater() {
    clearTimeout(this.searching);
    this.searching = setTimeout(() => this.search(), 150);
  }

  // Pictures of the whole tree that is served come beside those of the folder.
  async search() {
    const line = this.find('filter').value, folder = this.folder;
    const answer = line.trim() ? await fetch(`search?words=${encodeURIComponent(line)}`) : undefined;
    const found = answer?.ok ? await answer.json() : {files: []};
    if (line !== this.find('filter').value || folder !== this.folder || !this.own) return;
    this.onlyFirst = found.more;
    const before = this.cards, own = new Set(this.own);
    const beyond = found.files.map(file => this.foundCard(file, line)).filter(card => !own.has(card));
    for (const card of before) if (!own.has(card) && !beyond.includes(card)) this.byPath.delete(card.path);
    if (before.length > own.size || beyond.length || found.files.length) this.setCards([...this.own, ...beyond]);
  }

  foundCard({path, size, time, facts}, line) {
    const known = this.byPath.get(path), card = known ?? this.cardOf(path, size, time);
    card.foundBy = line;
    card.facts = {...facts, ...card.facts};
    if (!known) card.folder = path.includes('/') ? path.slice(0, path.lastIndexOf('/')) : this.find('path').firstChild.textContent;
    return card;
  }

  tell(shown, isFiltered) {
    super.tell(shown, isFiltered);
    if (this.onlyFirst) this.find('status').textContent += ', and more than are shown';
  }

  cardOf(path, size, time) {
    const card = {...cardOf({path}), facts: {size, time}, picture() { return this.source; }};
    card.folder = '';  // it stands above the page
    this.byPath.set(path, card);
    return card;
  }

  showPath(folder, root) {
    const place = this.find('path'), parts = folder ? folder.split('/') : [];
    place.hidden = parts.length === 0;
    place.replaceChildren(element('a', {href: '#', textContent: root}));
    parts.forEach((part, i) => place.append(
      '/', i + 1 === parts.length ? element('span', {textContent: part, ariaCurrent: 'page'})
                                  : element('a', {href: hashOf(parts.slice(0, i + 1).join('/')), textContent: part})));
  }

  showFolders(below, folders) {
    const place = this.find('folders');
    place.hidden = folders.length === 0;
    folders.sort(naturalOrder.compare);
    place.replaceChildren(...folders.map(name => element('a', {href: hashOf(below + name), textContent: name})));
  }

  connect() {
    this.events = new EventSource('events');
    this.events.addEventListener('hello', event => {
      this.client = event.data;
      this.told = undefined;
      this.grid.draw();
    });
    this.events.onmessage = event => this.onPicture(JSON.parse(event.data));
  }

  // A page that nobody sees holds no pictures, and no connection.
  disconnect() {
    this.events?.close();
    this.client = undefined;
  }

  onVisible(visible, next) {
    if (!this.client) return;
    const pathsOf = cards => cards.map(card => card.path);
    const wish = JSON.stringify({client: this.client, visible: pathsOf(visible), next: pathsOf(next)});
    if (wish === this.told) return;
    this.told = wish;
    clearTimeout(this.waiting);
    this.waiting = setTimeout(() => fetch('want', {method: 'POST', body: wish}), 60);
  }

  onPicture({path, state, version, card: facts}) {
    const card = this.byPath?.get(path);
    if (!card) return;
    const knew = card.brief !== undefined, {size, time} = card.facts;
    if (facts) Object.assign(card, facts, {facts: {...facts.facts, size, time}, searched: undefined, path, name: card.name});
    if (state === 'ready') {
      card.source = `thumbnail?path=${encodeURIComponent(path)}&v=${version}`;
      card.reason = undefined;
    } else {
      card.reason = 'cannot be shown';
      this.explain(card);
    }
    this.grid.update(card);
    if (!knew) this.learnLater();
  }

  async explain(card) {
    const answer = await fetch(`card?path=${encodeURIComponent(card.path)}`);
    if (!answer.ok) return;
    card.reason = (await answer.json()).reason ?? card.reason;
    this.grid.update(card);
    this.learnLater();
  }

  // The choices of facts, and the count of what could not be shown, follow what has come, without moving the cards.
  learnLater() {
    clearTimeout(this.learning);
    this.learning = setTimeout(() => {
      this.offerFacts();
      const filter = this.find('filter').value, facts = Object.values(this.chosenFacts()).some(value => value);
      if (!filter && !facts) this.tell(this.cards.length, false);
    }, 300);
  }

  large = (card, choice) => {
    const side = Math.ceil(Math.max(innerWidth, innerHeight) * devicePixelRatio / 256) * 256;
    return `picture?${new URLSearchParams({path: card.path, side: Math.min(side, 4096), ...choice})}`;
  };

  describe = async card => {
    if (card.lines) return;
    const answer = await fetch(`card?path=${encodeURIComponent(card.path)}`);
    if (!answer.ok) return;
    const {size, time} = card.facts, known = await answer.json();
    Object.assign(card, known, {facts: {...known.facts, size, time}, path: card.path, name: card.name});
  };
}

function hashOf(folder) { return `#${encodeURIComponent(folder)}`; }

{
  const gallery = new CLiveGallery();
  gallery.viewer.large = gallery.large;
  gallery.viewer.describe = gallery.describe;
  const go = () => gallery.open(decodeURIComponent(location.hash.slice(1)));
  addEventListener('hashchange', go);
  document.addEventListener('visibilitychange', () => {
    if (document.hidden) gallery.disconnect(); else gallery.connect();
  });
  go();
  gallery.connect();
}
