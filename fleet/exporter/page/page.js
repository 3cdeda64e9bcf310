// The page's life: a session begins and ends, and in between the overview is asked for while somebody can see it.

import { forgetCounts, takeCounts } from './counts.js';
import { $ } from './dom.js';
import './keys.js';
import { showLogin, startLogin } from './login.js';
import { clockText } from './numbers.js';
import { closeEvents, forgetPublications, openEvents } from './publications.js';
import { announceState, forgetStatus, showFault, takeStatus } from './status.js';
import { forgetVms, takeVms } from './vms.js';

const POLL = 2000; // ms between two looks at the overview
const MOST_POLL = 30000; // while it can't be had

let entered = false;
let hadSession = false;
let seenAt = 0; // when the exporter made the overview that is shown
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
  hadSession = false;
  clearTimeout(pollTimer);
  polling?.abort();
  polling = null;
  seenAt = 0;
  forgetStatus();
  forgetCounts();
  forgetVms();
  forgetPublications();
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
  if (fault === 'status 401') return refuse();
  if (news) takeOverview(news);
  else missOverview(fault);
  pollTimer = setTimeout(poll, pollWait);
}

function refuse() {
  const why = hadSession ? 'The session has ended. Log in again.' : '';
  leave();
  showLogin(why);
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
