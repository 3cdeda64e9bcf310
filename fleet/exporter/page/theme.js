// Light, dark, or what the system says.

import { $ } from './dom.js';
import { recall, remember } from './preferences.js';

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
