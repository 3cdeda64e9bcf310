// Guests' words, as somebody may read them.

import { make } from './dom.js';

// What is invisible, turns the order of others around, or could be taken for a space. The bracket that begins an
// escape is one as well, so that a guest can't write what looks like ours.
const BLANKS = '\\u00a0\\u1680\\u2000-\\u200a\\u202f\\u205f\\u2800\\u3000';
const FILLERS = '\\u034f\\u115f\\u1160\\u17b4\\u17b5\\u3164\\uffa0\\ufe00-\\ufe0f\\u{e0100}-\\u{e01ef}';
const UNSEEN = new RegExp(`[\\p{C}\\p{Zl}\\p{Zp}${BLANKS}${FILLERS}⟨]`, 'gu');
const hex = (number, width) => number.toString(16).padStart(width, '0');
const escapeOne = (character) => `⟨U+${hex(character.codePointAt(0), 4).toUpperCase()}⟩`;
export const visible = (text) => text.replace(UNSEEN, escapeOne);
export const visibleLines = (text) => text.replace(UNSEEN, (one) => (one === '\n' || one === '\t' ? one : escapeOne(one)));

export function shorten(text, most) {
  const characters = [...text.slice(0, 2 * most + 2)];
  return characters.length > most ? characters.slice(0, most).join('') + '…' : text;
}

// A name as a button that does something with it; the name itself never becomes an attribute.
export function wordButton(className, word, label, action) {
  const text = visible(shorten(word, 120));
  const button = make('button', `word ${className}`, text);
  button.type = 'button';
  button.title = `${text}\n${label}`;
  button.addEventListener('click', action);
  return button;
}

export function bytesOf(base64) {
  try {
    return Uint8Array.from(atob(base64), (one) => one.charCodeAt(0));
  } catch {
    return new Uint8Array();
  }
}
export const hexOf = (bytes) => Array.from(bytes, (one) => hex(one, 2)).join(' ');

export function hexDump(bytes) {
  const lines = [];
  for (let at = 0; at < bytes.length; at += 16) {
    const part = bytes.subarray(at, at + 16);
    const text = Array.from(part, (one) => (one >= 32 && one < 127 ? String.fromCharCode(one) : '.')).join('');
    lines.push(`${hex(at, 4)}  ${hexOf(part).padEnd(47)}  ${text}`);
  }
  return lines.join('\n');
}
