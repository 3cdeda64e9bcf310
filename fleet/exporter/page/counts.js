// Drops and refusals, since the daemon's start and since this page was opened.

import { $, make } from './dom.js';
import { count } from './numbers.js';

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
let opening = null; // the first that had the daemon's numbers since its start

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

export function takeCounts(daemon) {
  if (daemon && opening?.start_time !== daemon.start_time) opening = daemon;
  for (const { cell, group, key } of countCells) {
    const value = daemon?.[group]?.[key];
    const news = value - (opening?.[group]?.[key] ?? 0);
    cell.className = value > 0 ? 'above' : '';
    const text = value === undefined ? '–' : count(value);
    if (cell.dataset.shown === `${text}+${news}`) continue;
    cell.dataset.shown = `${text}+${news}`;
    cell.lastElementChild.replaceChildren(text, ...(news > 0 ? [make('small', '', `+${count(news)}`)] : []));
  }
}
