// The newest publications, as they come.

import { $, make, setText } from './dom.js';
import { clockText, count, sizeText } from './numbers.js';
import { announce, announceState, setState } from './status.js';
import { bytesOf, hexDump, hexOf, shorten, visible, visibleLines, wordButton } from './words.js';

const MOST_LIVE = 200; // rows
const LIVE_PAUSE = 250; // ms between two changes of them
const PREVIEW = 300; // characters of a payload's first line
const RETRY = 2000; // ms, after an answer that wasn't a stream
const MOST_RETRY = 30000;

export const liveFilter = { vm: '', topic: '' };
let events = null;
let eventsTimer = 0;
let eventsWait = RETRY;
let liveItems = []; // the newest first: { item } or { skipped }, with the row once it has one
let fresh = 0; // of them, how many came while paused
let replaced = false; // the rows in the document are of an earlier stream
let paused = false;
let liveTimer = 0;
let shownAt = 0;

export function openEvents() {
  closeEvents();
  if (document.hidden) return;
  const query = new URLSearchParams();
  if (liveFilter.vm) query.set('vm', liveFilter.vm);
  if (liveFilter.topic) query.set('topic', liveFilter.topic);
  setState('state-live', 'waiting', 'connecting');
  events = new EventSource(query.size > 0 ? `/api/events?${query}` : '/api/events');
  events.addEventListener('open', onEventsOpen);
  events.addEventListener('error', onEventsError);
  events.addEventListener('publication', (event) => takeEvent(event, (data) => addItem({ item: data })));
  events.addEventListener('skipped', (event) => takeEvent(event, (data) => addSkipped(data.count)));
}

export function closeEvents() {
  clearTimeout(eventsTimer);
  events?.close();
  events = null;
}

function onEventsOpen() {
  eventsWait = RETRY;
  setState('state-live', '', 'receives');
  // A stream begins with the newest that there are, so what an earlier one brought would be there twice.
  forgetEarlier();
}

function onEventsError() {
  setState('state-live', 'bad', 'interrupted, tries again');
  announceState('The publications are interrupted.');
  // A connection that broke is the browser's to renew; an answer that wasn't a stream ends it for good.
  if (events.readyState !== EventSource.CLOSED) return;
  closeEvents();
  setState('state-live', 'bad', `refused, next try in ${eventsWait / 1000} s`);
  eventsTimer = setTimeout(openEvents, eventsWait);
  eventsWait = Math.min(MOST_RETRY, 2 * eventsWait);
  document.dispatchEvent(new Event('streamrefused'));
}

function takeEvent(event, take) {
  let data;
  try {
    data = JSON.parse(event.data);
  } catch {
    return;
  }
  take(data);
}

function forgetEarlier() {
  liveItems = [];
  fresh = 0;
  replaced = true;
  scheduleLive();
}

function addItem(entry) {
  liveItems.unshift(entry);
  if (liveItems.length > MOST_LIVE) liveItems.length = MOST_LIVE;
  if (paused) fresh++;
  scheduleLive();
}

function addSkipped(number) {
  const first = liveItems[0];
  if (!first?.skipped || first.row) return addItem({ skipped: number });
  first.skipped += number;
  scheduleLive();
}

// At once, and then after a moment again, however many publications come: each change has the list laid out anew.
function scheduleLive() {
  if (liveTimer) return;
  liveTimer = setTimeout(showLive, Math.max(0, shownAt + LIVE_PAUSE - Date.now()));
}

function showLive() {
  liveTimer = 0;
  shownAt = Date.now();
  setText($('pause'), paused ? `Go on${fresh ? ` (${count(fresh)} new)` : ''}` : 'Pause');
  if (!paused) {
    const rows = $('live-rows');
    if (replaced) rows.replaceChildren();
    const first = liveItems.findIndex((entry) => entry.row);
    const added = first < 0 ? liveItems : liveItems.slice(0, first);
    // A light on new rows helps as long as they are few.
    const fades = !replaced && added.length <= 3;
    for (const entry of added) entry.row = makeLiveRow(entry, fades);
    rows.prepend(...added.map((entry) => entry.row));
    while (rows.childElementCount > MOST_LIVE) rows.lastElementChild.remove();
    replaced = false;
  }
  showLiveNotes();
}

function showLiveNotes() {
  const shown = $('live-rows').childElementCount;
  const filtered = liveFilter.vm !== '' || liveFilter.topic !== '';
  setText($('live-count'), paused ? 'paused' : filtered ? 'filtered' : '');
  $('live-clear').hidden = !filtered;
  const none = filtered ? 'Nothing has come that matches the filter.' : 'Nothing has come yet.';
  setText($('live-note'), shown === 0 ? none : shown >= MOST_LIVE ? `The newest ${MOST_LIVE} are shown.` : '');
}

function makeLiveRow({ item, skipped }, isFresh) {
  if (skipped) return make('li', 'skipped', `${count(skipped)} not shown: more came than this page takes`);
  const row = make('li', isFresh ? 'fresh' : '');
  const time = make('time', '', clockText(item.received));
  time.title = `Received; the guest dates it ${visible(shorten(String(item.createTime), 60))}`;
  row.append(time,
    wordButton('vm-name', item.vm, 'Publications of this VM alone', () => filterLive(item.vm, '')),
    wordButton('topic', item.topic, 'Publications under this topic alone', () => filterLive(liveFilter.vm, item.topic)),
    payloadView(item));
  return row;
}

// The first line; the whole text opens when it is more than that, and is made only then.
function payloadView(item) {
  const bytes = item.base64 === undefined ? null : bytesOf(item.base64);
  const text = bytes ? hexOf(bytes.subarray(0, 32)) : (item.text ?? '').replace(/\s+$/, '');
  const line = shorten(bytes ? text : text.split('\n', 1)[0].trimStart(), PREVIEW);
  const content = [make('span', 'word start', visible(line) || '(empty)')];
  if (bytes) content.unshift(make('span', 'tag', 'binary'));
  if (item.history) content.unshift(make('span', 'tag', 'history'));
  content.push(make('span', 'size', sizeText(item.bytes)));
  if (line === text && line.length < 60) return make('div', 'payload line', undefined, ...content);
  const details = make('details', 'payload', undefined, make('summary', '', undefined, ...content));
  details.addEventListener('toggle', () => {
    if (details.childElementCount > 1) return;
    details.append(make('pre', bytes ? 'word dump' : 'word', bytes ? hexDump(bytes) : visibleLines(item.text)));
    if (item.cut) details.append(make('p', 'cut', `The beginning of ${sizeText(item.bytes)}.`));
  });
  return details;
}

// The fields show names with their escapes, so what is wanted is kept apart from them until somebody types.
export function filterLive(vm, topic) {
  liveFilter.vm = vm;
  liveFilter.topic = topic;
  for (const [id, word] of [['live-vm', vm], ['live-topic', topic]]) {
    $(id).value = visible(word);
    delete $(id).dataset.typed;
  }
  if (paused) togglePause();
  forgetEarlier();
  openEvents();
  document.dispatchEvent(new Event('filterchange'));
}

for (const id of ['live-vm', 'live-topic']) $(id).addEventListener('input', () => ($(id).dataset.typed = ''));
$('live-form').addEventListener('submit', (event) => {
  event.preventDefault();
  const wanted = (id, now) => ('typed' in $(id).dataset ? $(id).value.trim() : now);
  filterLive(wanted('live-vm', liveFilter.vm), wanted('live-topic', liveFilter.topic));
});
$('live-clear').addEventListener('click', () => {
  filterLive('', '');
  $('live-vm').focus();
});

export function togglePause() {
  paused = !paused;
  fresh = 0;
  $('pause').setAttribute('aria-pressed', String(paused));
  announce(paused ? 'Publications paused.' : 'Publications go on.');
  scheduleLive();
}
$('pause').addEventListener('click', togglePause);
