// The line of states at the top, and what is told to those who hear the page.

import { $, setText } from './dom.js';
import { count, durationText, rateText, sizeText } from './numbers.js';
import { shorten, visible } from './words.js';

const SAMPLES = 60; // of the rate

export function showFault(text) {
  $('fault').hidden = text === '';
  setText($('fault'), text);
}

// For those who hear the page: what has changed for good, and nothing that changes all the time.
export const announce = (text) => ($('announcement').textContent = text);
let announcedState = '';
export function announceState(text) {
  if (text !== announcedState) announce(text);
  announcedState = text;
}

let previous = null; // the overview before
let samples = []; // publications a second

export function takeStatus(overview) {
  addSample(overview);
  previous = overview;
  showStatus(overview);
}

function addSample(news) {
  const accepted = (one) => one?.daemon?.publications?.accepted;
  if (!news.daemon) return;
  const same = previous?.daemon?.start_time === news.daemon.start_time;
  if (!same) samples = [];
  const seconds = same ? (news.time - previous.time) / 1000 : 0;
  if (seconds > 0) samples.push(Math.max(0, accepted(news) - accepted(previous)) / seconds);
  samples = samples.slice(-SAMPLES);
}

export function setState(id, state, text) {
  $(id).className = state;
  setText($(id).lastElementChild, text);
}

function showStatus({ stream, daemon, time }) {
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
