// The page's life: a session begins and ends, and in between the overview is asked for while somebody can see it.

import { takeCounts } from './counts.js';
import { $ } from './dom.js';
import './keys.js';
import { showLogin, startLogin } from './login.js';
import { clockText } from './numbers.js';
import { closeEvents, openEvents } from './publications.js';
import { announceState, showFault, takeStatus } from './status.js';
import './theme.js';
import { takeVms } from './vms.js';

const POLL = 2000; // ms between two looks at the overview
const MOST_POLL = 30000; // while it can't be had
const PATIENCE = 10000; // with one of them

// Why the document before this one was left, if that is worth a word.
const arrival = history.state ?? '';
history.replaceState(null, '');

let entered = false;
let hadSession = false;
let seenAt = 0; // when the exporter made the overview that is shown
let pollTimer = 0;
let pollWait = POLL;
let polling = false;

async function enter(loggedIn) {
  entered = true;
  hadSession = loggedIn;
  await poll();
}

async function poll() {
  clearTimeout(pollTimer);
  if (!entered || polling || document.hidden) return;
  polling = true;
  let news = null;
  let fault = '';
  try {
    const answer = await fetch('/api/overview', { signal: AbortSignal.timeout(PATIENCE) });
    if (answer.ok) news = await answer.json();
    else fault = `status ${answer.status}`;
  } catch {
    fault = 'no answer';
  }
  polling = false;
  if (fault === 'status 401') return refuse();
  if (news) takeOverview(news);
  else missOverview(fault);
  pollTimer = setTimeout(poll, pollWait);
}

// What has shown something is left for a new document, which knows nothing of it but why it is there.
function refuse() {
  entered = false;
  const why = hadSession ? 'The session has ended. Log in again.' : arrival;
  if ($('work').hidden) return showLogin(why);
  history.replaceState(why, '');
  location.reload();
}

function takeOverview(overview) {
  pollWait = POLL;
  seenAt = overview.time;
  hadSession = true;
  showFault('');
  if ($('work').hidden) showWork();
  takeStatus(overview);
  takeCounts(overview.daemon);
  takeVms(overview);
}

function missOverview(fault) {
  pollWait = Math.min(MOST_POLL, 2 * pollWait);
  const age = seenAt ? ` What you see is of ${clockText(seenAt).slice(0, 8)}.` : '';
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

// Nobody looks: the exporter is left alone.
document.addEventListener('visibilitychange', () => {
  if (!entered) return;
  if (document.hidden) return closeEvents();
  pollWait = POLL;
  poll();
  if (!$('work').hidden) openEvents();
});

// It may be that the session has ended.
document.addEventListener('streamrefused', poll);

startLogin(() => enter(true));
enter(false);
