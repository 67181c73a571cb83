'use strict';
// What is known of the pictures, which of them are wanted, and in which order.
//
// A card: {name, folder, path, href, reason, picture(), larger, bar, facts: {objective, channels, z, t, time, size},
// brief: [text], lines: [[label, text]]}. `reason` says why there is no picture.

const naturalOrder = new Intl.Collator(undefined, {numeric: true, sensitivity: 'base'});

// Without regard to case and accents.
function plainText(text) {
  return text.normalize('NFD').replace(/\p{Mn}/gu, '').toLowerCase();
}

function wordsOf(text) {
  return [...plainText(text).matchAll(/"([^"]+)"|[^\s"]+/g)].map(match => match[1] ?? match[0]);
}

function searchText(card) {
  card.searched ??= plainText([card.name, card.folder, card.reason ?? '', card.well ?? '',
                               ...(card.brief ?? []), ...(card.lines ?? []).map(line => line[1])].join('\n'));
  return card.searched;
}

const factNames = {objective: 'Objective', channels: 'Channels', z: 'z planes', t: 'Time points'};

// Absent facts match only the choice "any".
function matches(card, words, facts) {
  const known = card.facts ?? {};
  for (const [fact, value] of Object.entries(facts)) {
    if (value !== '' && String(known[fact] ?? '') !== value) return false;
  }
  const text = words.length ? searchText(card) : '';
  return words.every(word => text.includes(word));
}

// The values that a fact has among the cards, and how often.
function valuesOf(cards, fact) {
  const counts = new Map();
  for (const card of cards) {
    const value = card.facts?.[fact];
    if (value !== undefined && value !== '') counts.set(String(value), (counts.get(String(value)) ?? 0) + 1);
  }
  return [...counts].sort((a, b) => naturalOrder.compare(a[0], b[0]));
}

const byName = (a, b) => naturalOrder.compare(a.name, b.name);
const byFolder = (a, b) => (a.folder === b.folder ? 0 : naturalOrder.compare(a.folder, b.folder)) || byName(a, b);
// What is not known comes last.
const byNumber = (fact, sign) => (a, b) => {
  const x = a.facts?.[fact], y = b.facts?.[fact];
  if (x === undefined || y === undefined) return (x === undefined) - (y === undefined) || byName(a, b);
  return sign * (x - y) || byName(a, b);
};
const orders = {
  folder: byFolder,
  name: byName,
  newest: byNumber('time', -1),
  oldest: byNumber('time', 1),
  largest: byNumber('size', -1),
  smallest: byNumber('size', 1),
};

// Groups for the grid: of each folder where they stand in that order; what could not be shown is the last.
function groupsOf(cards, order) {
  const good = cards.filter(card => card.reason === undefined).sort(orders[order]);
  const bad = cards.filter(card => card.reason !== undefined).sort(orders[order]);
  const groups = [];
  if (order === 'folder') {
    for (const card of good) {
      if (groups.at(-1)?.folder !== card.folder) groups.push({folder: card.folder, title: card.folder, cards: []});
      groups.at(-1).cards.push(card);
    }
    if (groups.length === 1 && !groups[0].title) groups[0].title = undefined;
  } else if (good.length) {
    groups.push({cards: good});
  }
  if (bad.length) groups.push({title: `Could not be shown: ${count(bad.length, 'picture')}`, cards: bad, bad: true});
  return groups;
}

function count(number, noun) {
  return `${number.toLocaleString('en')} ${noun}${number === 1 ? '' : 's'}`;
}

// What all folders have in common need not stand over each group.
function commonFolder(folders) {
  let common = folders[0]?.split('/') ?? [];
  for (const folder of folders) {
    const parts = folder.split('/');
    let same = 0;
    while (same < common.length && common[same] === parts[same]) ++same;
    common = common.slice(0, same);
  }
  return common.join('/');
}
