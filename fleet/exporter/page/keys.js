// The help, and the keys that it names.

import { $ } from './dom.js';
import { recall, remember } from './preferences.js';
import { togglePause } from './publications.js';
import { showVms } from './vms.js';

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
