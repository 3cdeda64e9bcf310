// The table of VMs.

import { $, make, setText } from './dom.js';
import { count, durationText, rateText } from './numbers.js';
import { filterLive, liveFilter } from './publications.js';
import { visible, wordButton } from './words.js';

const SILENT = 5 * 60 * 1000; // ms
const SLICE = 200; // rows, and as many more on each demand
const TOPICS = 1; // of a VM that isn't unfolded

let overview = null; // the newest
const vmRows = new Map(); // the rows in the document, by VM
const unfolded = new Set(); // VMs of which all topics are shown
let sortKey = 'vm';
let sortDown = false;
let shownVms = SLICE;

export function takeVms(news) {
  overview = news;
  showVms();
}

const SORT_VALUES = {
  vm: (one) => one.vm,
  last: (one) => -(one.last || 0), // "ascending" is the newest first, as the age is what the column shows
  perMinute: (one) => one.perMinute,
  publications: (one) => one.publications,
  refusedTexts: (one) => one.refusedTexts,
  topics: (one) => one.topics.length,
};
const names = new Intl.Collator('en', { numeric: true });

function wantedVms() {
  const filter = $('vm-filter').value.trim().toLowerCase();
  const shown = filter.includes('⟨') ? visible : (text) => text;
  const matches = (text) => shown(text).toLowerCase().includes(filter);
  const wanted = overview.vms.filter((one) => !filter || matches(one.vm) || one.topics.some(matches));
  const value = SORT_VALUES[sortKey];
  const byName = (a, b) => names.compare(a.vm, b.vm);
  const compare = sortKey === 'vm' ? byName : (a, b) => value(a) - value(b) || byName(a, b);
  return wanted.sort((a, b) => (sortDown ? compare(b, a) : compare(a, b)));
}

function makeVmRow(name) {
  const row = { tr: make('tr'), cells: {}, topics: '' };
  for (const key of ['name', 'last', 'perMinute', 'publications', 'refusedTexts', 'topics']) {
    row.cells[key] = make(key === 'name' ? 'th' : 'td', key);
    row.tr.append(row.cells[key]);
  }
  row.cells.name.scope = 'row';
  row.cells.name.append(wordButton('vm-name', name, 'Its publications alone', () => filterLive(name, '')));
  return row;
}

function fillVmRow(row, one) {
  const age = one.last ? overview.time - one.last : Infinity;
  const silent = age > SILENT;
  row.tr.className = [silent && 'silent', one.vm === liveFilter.vm && 'chosen'].filter(Boolean).join(' ');
  const ageText = one.last ? `${durationText(age)} ago` : 'never';
  if (row.age !== ageText + silent) {
    row.age = ageText + silent;
    row.cells.last.replaceChildren(ageText, ...(silent ? [make('b', 'tag', 'silent')] : []));
  }
  setText(row.cells.perMinute, rateText(one.perMinute));
  setText(row.cells.publications, count(one.publications));
  setText(row.cells.refusedTexts, count(one.refusedTexts));
  row.cells.refusedTexts.classList.toggle('above', one.refusedTexts > 0);
  const topics = JSON.stringify([one.topics, unfolded.has(one.vm)]);
  if (row.topics !== topics) {
    row.topics = topics;
    row.cells.topics.replaceChildren(topicList(one));
  }
}

function topicList(one) {
  const list = make('div', unfolded.has(one.vm) ? 'topic-list unfolded' : 'topic-list');
  const most = unfolded.has(one.vm) ? one.topics.length : TOPICS;
  // By name, as the newest first would have them change places all the time.
  for (const topic of [...one.topics].sort().slice(0, most)) {
    const label = 'Publications of this VM under this topic';
    list.append(wordButton('topic', topic, label, () => filterLive(one.vm, topic)));
  }
  if (one.topics.length > TOPICS) {
    const rest = make('button', 'rest', most > TOPICS ? 'fewer' : `+${one.topics.length - TOPICS}`);
    rest.type = 'button';
    rest.setAttribute('aria-expanded', String(most > TOPICS));
    rest.addEventListener('click', () => {
      if (!unfolded.delete(one.vm)) unfolded.add(one.vm);
      showVms();
      vmRows.get(one.vm)?.cells.topics.querySelector('.rest')?.focus();
    });
    list.append(rest);
  }
  return list;
}

export function showVms() {
  if (!overview) return;
  const wanted = wantedVms();
  const shown = wanted.slice(0, shownVms);
  const keep = new Set(shown.map((one) => one.vm));
  for (const [name, row] of vmRows) {
    if (keep.has(name)) continue;
    row.tr.remove();
    vmRows.delete(name);
    unfolded.delete(name);
  }
  const focused = document.activeElement;
  let place = $('vm-rows').firstElementChild;
  for (const one of shown) {
    if (!vmRows.has(one.vm)) vmRows.set(one.vm, makeVmRow(one.vm));
    const row = vmRows.get(one.vm);
    fillVmRow(row, one);
    if (row.tr === place) place = place.nextElementSibling;
    else $('vm-rows').insertBefore(row.tr, place);
  }
  // A row that has moved has lost the focus that was in it.
  if (focused !== document.activeElement && focused.isConnected) focused.focus({ preventScroll: true });
  showVmNotes(wanted.length, shown.length);
}

function showVmNotes(wanted, shown) {
  const all = overview.vms.length;
  const silent = overview.vms.filter((one) => overview.time - one.last > SILENT).length;
  const part = wanted < all ? `${count(wanted)} of ` : '';
  setText($('vms-count'), `${part}${count(all)}${silent ? `, ${count(silent)} silent` : ''}`);
  $('vms-more').hidden = shown === wanted;
  setText($('vms-more'), `Show ${count(Math.min(SLICE, wanted - shown))} more`);
  $('vms-note').hidden = shown === wanted && wanted > 0;
  const none = all === 0 ? 'No VM has published yet.' : 'No VM matches the filter.';
  const some = `The first ${count(shown)} of ${count(wanted)} in this order. The filter finds the others.`;
  setText($('vms-note'), wanted === 0 ? none : some);
}

$('vms-more').addEventListener('click', () => {
  shownVms += SLICE;
  showVms();
});
$('vm-filter').addEventListener('input', () => {
  shownVms = SLICE;
  showVms();
});
for (const button of document.querySelectorAll('.vms thead button')) {
  button.addEventListener('click', () => {
    const key = button.dataset.key;
    // The interesting end first: names from A, the newest word, the largest numbers.
    sortDown = key === sortKey ? !sortDown : key !== 'vm' && key !== 'last';
    sortKey = key;
    for (const th of document.querySelectorAll('.vms thead th')) th.removeAttribute('aria-sort');
    button.parentElement.setAttribute('aria-sort', sortDown ? 'descending' : 'ascending');
    $('vms').scrollTop = 0;
    showVms();
  });
}
// The chosen VM is marked.
document.addEventListener('filterchange', showVms);
