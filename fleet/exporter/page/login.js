// The view of those who have no session.

import { $ } from './dom.js';
import { showFault } from './status.js';

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

export function showLogin(why) {
  $('login').hidden = false;
  $('login-host').textContent = `on ${location.host}`;
  $('login-fault').textContent = why;
  $('token').focus();
}

async function logIn(enter) {
  // A file's last line end comes along when its content is copied.
  const token = $('token').value.trim();
  $('token').value = '';
  $('login-fault').textContent = '';
  $('login-button').disabled = true;
  try {
    const answer = await post('/login', { token });
    if (answer.ok) await enter();
    else $('login-fault').textContent = REFUSALS[answer.status] ?? `The exporter answers with status ${answer.status}.`;
  } catch {
    $('login-fault').textContent = 'The exporter can’t be reached.';
  } finally {
    $('login-button').disabled = false;
    if (!$('login').hidden) $('token').focus();
  }
}

// `enter` is what follows a login.
export function startLogin(enter) {
  $('login-form').addEventListener('submit', (event) => {
    event.preventDefault();
    logIn(enter);
  });
}

$('logout').addEventListener('click', async () => {
  try {
    const answer = await post('/logout', {});
    if (!answer.ok && answer.status !== 401) throw new Error(`status ${answer.status}`);
    // A new document knows nothing of what this one has shown.
    location.reload();
  } catch (fault) {
    showFault(`Not logged out: the exporter gave no good answer (${fault.message}).`);
  }
});
