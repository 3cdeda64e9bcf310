// Everything that comes from the exporter is put in as text, never as HTML: most of it is written by guests.

const POLL = 2000; // ms between two looks at the overview
const MOST_POLL = 30000; // while it can't be had
const SILENT = 5 * 60 * 1000;
const SLICE = 200; // rows of the VM table, and as many more on each demand
const MOST_LIVE = 200; // rows of publications
const LIVE_PAUSE = 250; // ms between two changes of them
const PREVIEW = 300; // characters of a payload's first line
const SAMPLES = 60; // of the rate

const $ = (id) => document.getElementById(id);

function make(tag, className, text, ...children) {
  const node = document.createElement(tag);
  if (className) node.className = className;
  if (text !== undefined) node.textContent = text;
  node.append(...children);
  return node;
}

// Writes to the document only what has changed: a table of hundreds of rows comes each two seconds.
function setText(node, text) {
  if (node.textContent !== text) node.textContent = text;
}

// --- Guests' words ---------------------------------------------------------------------------------------------

// What is invisible, turns the order of others around, or could be taken for a space. The bracket that begins an
// escape is one as well, so that a guest can't write what looks like ours.
const BLANKS = '\\u00a0\\u1680\\u2000-\\u200a\\u202f\\u205f\\u2800\\u3000';
const FILLERS = '\\u034f\\u115f\\u1160\\u17b4\\u17b5\\u3164\\uffa0\\ufe00-\\ufe0f\\u{e0100}-\\u{e01ef}';
const UNSEEN = new RegExp(`[\\p{C}\\p{Zl}\\p{Zp}${BLANKS}${FILLERS}⟨]`, 'gu');
const hex = (number, width) => number.toString(16).padStart(width, '0');
const escapeOne = (character) => `⟨U+${hex(character.codePointAt(0), 4).toUpperCase()}⟩`;
const visible = (text) => text.replace(UNSEEN, escapeOne);
const visibleLines = (text) => text.replace(UNSEEN, (one) => (one === '\n' || one === '\t' ? one : escapeOne(one)));

function shorten(text, most) {
  const characters = [...text.slice(0, 2 * most + 2)];
  return characters.length > most ? characters.slice(0, most).join('') + '…' : text;
}

// A name as a button that does something with it; the name itself never becomes an attribute.
function wordButton(className, word, label, action) {
  const text = visible(shorten(word, 120));
  const button = make('button', `word ${className}`, text);
  button.type = 'button';
  button.title = `${text}\n${label}`;
  button.addEventListener('click', action);
  return button;
}

function bytesOf(base64) {
  try {
    return Uint8Array.from(atob(base64), (one) => one.charCodeAt(0));
  } catch {
    return new Uint8Array();
  }
}
const hexOf = (bytes) => Array.from(bytes, (one) => hex(one, 2)).join(' ');

function hexDump(bytes) {
  const lines = [];
  for (let at = 0; at < bytes.length; at += 16) {
    const part = bytes.subarray(at, at + 16);
    const text = Array.from(part, (one) => (one >= 32 && one < 127 ? String.fromCharCode(one) : '.')).join('');
    lines.push(`${hex(at, 4)}  ${hexOf(part).padEnd(47)}  ${text}`);
  }
  return lines.join('\n');
}

// --- Numbers and times -----------------------------------------------------------------------------------------

const whole = new Intl.NumberFormat('en', { maximumFractionDigits: 0 });
const short = new Intl.NumberFormat('en', { maximumFractionDigits: 1 });
const count = (number) => whole.format(number ?? 0);
const rateText = (number) => (number > 0 && number < 0.05 ? '<0.1' : short.format(number));

function sizeText(bytes) {
  const units = ['B', 'KB', 'MB', 'GB', 'TB', 'PB'];
  let unit = 0;
  for (; bytes >= 1000 && unit < units.length - 1; unit++) bytes /= 1000;
  return `${short.format(bytes)} ${units[unit]}`;
}

function durationText(ms) {
  const s = Math.max(0, Math.floor(ms / 1000));
  if (s < 60) return `${s} s`;
  if (s < 3600) return `${Math.floor(s / 60)} min`;
  if (s < 86400) return `${Math.floor(s / 3600)} h ${Math.floor((s % 3600) / 60)} min`;
  return `${Math.floor(s / 86400)} d ${Math.floor((s % 86400) / 3600)} h`;
}

function clockText(ms) {
  const time = new Date(ms);
  const parts = [time.getHours(), time.getMinutes(), time.getSeconds()].map((part) => String(part).padStart(2, '0'));
  return `${parts.join(':')}.${String(time.getMilliseconds()).padStart(3, '0')}`;
}

// --- Preferences: the theme and the shortcuts are all that is kept -----------------------------------------------

function recall(key) {
  try {
    return localStorage.getItem(key);
  } catch {
    return null;
  }
}
function remember(key, value) {
  try {
    localStorage.setItem(key, value);
  } catch {
    // A browser that keeps nothing forgets it, and no more.
  }
}

const THEMES = ['system', 'light', 'dark'];
function setTheme(theme) {
  const root = document.documentElement;
  if (theme === 'system') root.removeAttribute('data-theme');
  else root.setAttribute('data-theme', theme);
  $('theme').textContent = `Theme: ${theme}`;
  $('theme').dataset.theme = theme;
}
setTheme(THEMES.includes(recall('theme')) ? recall('theme') : 'system');
$('theme').addEventListener('click', () => {
  const next = THEMES[(THEMES.indexOf($('theme').dataset.theme) + 1) % THEMES.length];
  setTheme(next);
  remember('theme', next);
});

// --- Login -------------------------------------------------------------------------------------------------------

const REFUSALS = {
  401: 'The daemon refuses this token: it has expired, is another host’s, or lacks GUEST_DATA_ACCESS.',
  403: 'The exporter takes no login from this address. Open the page by the address that it listens on.',
  413: 'This is too long for a token.',
  421: 'The exporter doesn’t answer to this host name. Its option --host allows one.',
  429: 'Too many tries. Wait a minute, then try again.',
  503: 'The exporter can’t reach the daemon now, so nobody can check the token. Try again when the daemon runs.',
};

const post = (path, body) => fetch(path, {
  method: 'POST',
  headers: { 'Content-Type': 'application/json' },
  body: JSON.stringify(body),
  signal: AbortSignal.timeout(20000),
});

function showLogin(why) {
  leave();
  hadSession = false;
  $('work').hidden = true;
  $('help').close();
  $('login').hidden = false;
  $('login-host').textContent = `on ${location.host}`;
  $('login-fault').textContent = why;
  $('token').focus();
}

async function logIn(event) {
  event.preventDefault();
  // A file's last line end comes along when its content is copied.
  const token = $('token').value.trim();
  $('token').value = '';
  $('login-fault').textContent = '';
  $('login-button').disabled = true;
  try {
    const answer = await post('/login', { token });
    if (answer.ok) await enter(true);
    else $('login-fault').textContent = REFUSALS[answer.status] ?? `The exporter answers with status ${answer.status}.`;
  } catch {
    $('login-fault').textContent = 'The exporter can’t be reached.';
  } finally {
    $('login-button').disabled = false;
    if (!$('login').hidden) $('token').focus();
  }
}
$('login-form').addEventListener('submit', logIn);

$('logout').addEventListener('click', async () => {
  try {
    const answer = await post('/logout', {});
    if (!answer.ok && answer.status !== 401) throw new Error(`status ${answer.status}`);
    showLogin('');
  } catch (fault) {
    showFault(`Not logged out: the exporter gave no good answer (${fault.message}).`);
  }
});

// --- The overview, each two seconds while somebody can see it ------------------------------------------------------

let entered = false;
let hadSession = false;
let overview = null; // the newest
let opening = null; // the first that had the daemon's numbers since its start
let samples = []; // publications a second
let pollTimer = 0;
let pollWait = POLL;
let polling = null; // the request under way

async function enter(loggedIn) {
  leave();
  entered = true;
  hadSession = loggedIn;
  await poll();
}

// Ends what runs for a session, and forgets what it has shown.
function leave() {
  entered = false;
  clearTimeout(pollTimer);
  polling?.abort();
  polling = null;
  closeEvents();
  overview = opening = null;
  samples = [];
  vmRows.clear();
  $('vm-rows').replaceChildren();
  forgetPublications();
  // Not with the next change of the list, which never comes while it is paused.
  $('live-rows').replaceChildren();
}

async function poll() {
  clearTimeout(pollTimer);
  if (!entered || polling || document.hidden) return;
  const request = new AbortController();
  polling = request;
  const timeout = setTimeout(() => request.abort(), 10000);
  let news = null;
  let fault = '';
  try {
    const answer = await fetch('/api/overview', { signal: request.signal });
    if (answer.ok) news = await answer.json();
    else fault = `status ${answer.status}`;
  } catch {
    fault = 'no answer';
  }
  clearTimeout(timeout);
  // Somebody has left, or entered anew, meanwhile.
  if (polling !== request) return;
  polling = null;
  if (fault === 'status 401') return showLogin(hadSession ? 'The session has ended. Log in again.' : '');
  if (news) takeOverview(news);
  else missOverview(fault);
  pollTimer = setTimeout(poll, pollWait);
}

function takeOverview(news) {
  pollWait = POLL;
  addSample(news);
  overview = news;
  hadSession = true;
  showFault('');
  if ($('work').hidden) showWork();
  showState();
  showCounts();
  showVms();
}

function missOverview(fault) {
  pollWait = Math.min(MOST_POLL, 2 * pollWait);
  const age = overview ? ` What you see is of ${clockText(overview.time).slice(0, 8)}.` : '';
  if ($('work').hidden) showWork();
  showFault(`The exporter can’t be asked (${fault}).${age} Next try in ${pollWait / 1000} s.`);
  announceState('The exporter can’t be asked.');
}

function showWork() {
  const afterLogin = !$('login').hidden;
  $('login').hidden = true;
  $('work').hidden = false;
  $('host').textContent = location.host;
  // Where the keys work at once; a page that was only loaded leaves the focus alone.
  if (afterLogin) $('vms').focus();
  openEvents();
}

function showFault(text) {
  $('fault').hidden = text === '';
  setText($('fault'), text);
}

// For those who hear the page: what has changed for good, and nothing that changes all the time.
const announce = (text) => ($('announcement').textContent = text);
let announcedState = '';
function announceState(text) {
  if (text !== announcedState) announce(text);
  announcedState = text;
}

function addSample(news) {
  const accepted = (one) => one?.daemon?.publications?.accepted;
  if (!news.daemon) return;
  const same = overview?.daemon?.start_time === news.daemon.start_time;
  if (!same) samples = [];
  if (!opening || opening.start_time !== news.daemon.start_time) opening = news.daemon;
  const seconds = same ? (news.time - overview.time) / 1000 : 0;
  if (seconds > 0) samples.push(Math.max(0, accepted(news) - accepted(overview)) / seconds);
  samples = samples.slice(-SAMPLES);
}

function setState(id, state, text) {
  $(id).className = state;
  setText($(id).lastElementChild, text);
}

function showState() {
  const { stream, daemon, time } = overview;
  const since = stream.since ? ` for ${durationText(time - stream.since)}` : '';
  const breaks = stream.interruptions > 0 ? `, ${count(stream.interruptions)} interruptions` : '';
  const reason = stream.reason ? `: ${visible(shorten(stream.reason, 200))}` : '';
  if (stream.connected) setState('state-stream', '', `connected${since}${breaks}`);
  else setState('state-stream', 'bad', `interrupted${since}${breaks}${reason}`);
  if (daemon) setState('state-daemon', '', `reachable, up ${durationText(time - Date.parse(daemon.start_time))}`);
  else setState('state-daemon', 'bad', 'not reachable: its numbers are missing');
  showRate(daemon);
  const bad = [!stream.connected && 'The stream is interrupted.', !daemon && 'The daemon is not reachable.'];
  announceState(bad.filter(Boolean).join(' ') || 'Stream connected, daemon reachable.');
  document.title = `${bad.some(Boolean) ? '✕ ' : ''}hesper-exporter on ${location.hostname}`;
}

function showRate(daemon) {
  // Over ten seconds, as a number that jumps can't be read.
  const recent = samples.slice(-5);
  const mean = recent.reduce((sum, one) => sum + one, 0) / recent.length;
  const rate = recent.length > 0 ? `${rateText(mean)}/s` : '…';
  const total = daemon?.publications;
  setState('state-rate', '', total ? `${rate}, ${count(total.accepted)} (${sizeText(total.accepted_bytes)})` : '–');
  const most = Math.max(1, ...samples);
  const left = SAMPLES - samples.length;
  const points = samples.map((one, at) => `${((left + at) * 120) / (SAMPLES - 1)},${26 - (24 * one) / most}`);
  $('spark').firstElementChild.setAttribute('points', points.join(' '));
}

// --- Drops and refusals --------------------------------------------------------------------------------------------

const COUNTS = [
  ['Refused publications', [
    ['no JSON', 'publications', 'refused_json'], ['header', 'publications', 'refused_header'],
    ['schema', 'publications', 'refused_schema'], ['create time', 'publications', 'refused_time'],
    ['base64', 'publications', 'refused_payload']]],
  ['Guests unknown or not reached', [
    ['unknown cids', 'publications', 'unknown_cids'],
    ['acknowledgements', 'publications', 'acknowledgements_failed'],
    ['history', 'history', 'requests_failed']]],
  ['Slow subscribers', [
    ['dropped queues', 'subscriptions', 'dropped_queues'],
    ['publications', 'subscriptions', 'dropped_publications']]],
  ['Refused logins', [
    ['password', 'logins', 'refused_password'], ['user', 'logins', 'refused_user'],
    ['token', 'logins', 'refused_token'], ['entitlement', 'logins', 'refused_entitlement']]],
  ['Audit', [['lost records', 'audit', 'records_lost']]],
];
const countCells = [];

function makeCounts() {
  for (const [title, items] of COUNTS) {
    const list = make('dl');
    for (const [label, group, key] of items) {
      const cell = make('div', '', undefined, make('dt', '', label), make('dd', '', '–'));
      cell.dataset.count = `${group}.${key}`;
      countCells.push({ cell, group, key });
      list.append(cell);
    }
    $('counts').append(make('section', '', undefined, make('h2', '', title), list));
  }
}
makeCounts();

function showCounts() {
  for (const { cell, group, key } of countCells) {
    const value = overview.daemon?.[group]?.[key];
    const news = value - (opening?.[group]?.[key] ?? 0);
    cell.className = value > 0 ? 'above' : '';
    const text = value === undefined ? '–' : count(value);
    if (cell.dataset.shown === `${text}+${news}`) continue;
    cell.dataset.shown = `${text}+${news}`;
    cell.lastElementChild.replaceChildren(text, ...(news > 0 ? [make('small', '', `+${count(news)}`)] : []));
  }
}

// --- VMs -----------------------------------------------------------------------------------------------------------

const vmRows = new Map(); // the rows in the document, by VM
const unfolded = new Set(); // VMs of which all topics are shown
const TOPICS = 1;
let sortKey = 'vm';
let sortDown = false;
let shownVms = SLICE;

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

function showVms() {
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

// --- Newest publications -------------------------------------------------------------------------------------------

const liveFilter = { vm: '', topic: '' };
let events = null;
let eventsTimer = 0;
let eventsWait = POLL;
let liveItems = []; // the newest first: { item } or { skipped }, with the row once it has one
let fresh = 0; // of them, how many came while paused
let replaced = false; // the rows in the document are of an earlier stream
let paused = false;
let liveTimer = 0;
let shownAt = 0;

function openEvents() {
  closeEvents();
  if (!entered || document.hidden) return;
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

function closeEvents() {
  clearTimeout(eventsTimer);
  events?.close();
  events = null;
}

function onEventsOpen() {
  eventsWait = POLL;
  setState('state-live', '', 'receives');
  // A stream begins with the newest that there are, so what an earlier one brought would be there twice.
  forgetPublications();
}

function onEventsError() {
  setState('state-live', 'bad', 'interrupted, tries again');
  announceState('The publications are interrupted.');
  // A connection that broke is the browser's to renew; an answer that wasn't a stream ends it for good.
  if (events.readyState !== EventSource.CLOSED) return;
  closeEvents();
  setState('state-live', 'bad', `refused, next try in ${eventsWait / 1000} s`);
  eventsTimer = setTimeout(openEvents, eventsWait);
  eventsWait = Math.min(MOST_POLL, 2 * eventsWait);
  poll();
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

function forgetPublications() {
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
function filterLive(vm, topic) {
  liveFilter.vm = vm;
  liveFilter.topic = topic;
  for (const [id, word] of [['live-vm', vm], ['live-topic', topic]]) {
    $(id).value = visible(word);
    delete $(id).dataset.typed;
  }
  if (paused) togglePause();
  forgetPublications();
  openEvents();
  showVms();
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

function togglePause() {
  paused = !paused;
  fresh = 0;
  $('pause').setAttribute('aria-pressed', String(paused));
  announce(paused ? 'Publications paused.' : 'Publications go on.');
  scheduleLive();
}
$('pause').addEventListener('click', togglePause);

// --- Keys, help, visibility ----------------------------------------------------------------------------------------

function openHelp() {
  if (!$('help').open) $('help').showModal();
}
$('help-button').addEventListener('click', openHelp);
$('help-close').addEventListener('click', () => $('help').close());
$('shortcuts').checked = recall('shortcuts') !== 'off';
$('shortcuts').addEventListener('change', () => remember('shortcuts', $('shortcuts').checked ? 'on' : 'off'));

const SHORTCUTS = { '/': () => $('vm-filter').select(), p: togglePause, '?': openHelp };
document.addEventListener('keydown', (event) => {
  if (event.key === 'Escape' && event.target === $('vm-filter')) {
    $('vm-filter').value = '';
    return showVms();
  }
  const typing = event.target instanceof HTMLInputElement && event.target.type !== 'checkbox';
  const free = !typing && !event.ctrlKey && !event.altKey && !event.metaKey && !$('help').open;
  if (!free || $('work').hidden || !$('shortcuts').checked || !Object.hasOwn(SHORTCUTS, event.key)) return;
  event.preventDefault();
  SHORTCUTS[event.key]();
});

// Nobody looks: the exporter is left alone.
document.addEventListener('visibilitychange', () => {
  if (!entered) return;
  if (document.hidden) return closeEvents();
  pollWait = POLL;
  poll();
  if (!$('work').hidden) openEvents();
});

enter(false);
