// The theme and the shortcuts are all that the browser keeps.

import { $ } from './dom.js';

export function recall(key) {
  try {
    return localStorage.getItem(key);
  } catch {
    return null;
  }
}
export function remember(key, value) {
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
