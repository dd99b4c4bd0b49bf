// SPDX-License-Identifier: Apache-2.0
// Locks that somebody has, waits for, or that are not as they should be.
import {List, el, notice, quiet, setText, show, table} from './dom.js';
import * as words from './words.js';

const kColumns = [{title: 'Guards'}, {title: 'Of'}, {title: 'State'}, {title: 'Waiting', number: true}, {title: 'Used last by'}, {title: 'Since'}];

const kGuards = {
  statistics: 'figures of a node',
  segment: 'the whole segment',
  statisticsArea: 'the area of nodes',
  eventTemplatesArea: 'the area of texts',
  eventDataArea: 'the area of events',
  attachTable: 'a process’s table of segments',
  unknown: 'not known',
};

const kFates = {
  alive: 'is alive',
  dead: 'is dead',
  numberUsedAgain: 'is dead; its number is another’s',
  diedMaking: 'died while making it',
  unknown: 'not known',
};

function placeOf(guards) {
  const names = [guards.messageFlow, guards.node].filter(Boolean);
  const place = names.length > 0 ? names.join(' / ') : guards.processId !== null ? `process ${guards.processId}` : '';
  return [guards.broker ? words.brokerName(guards.broker) : '', place].filter(Boolean).join(': ');
}

class Row {
  constructor() {
    this.cells = kColumns.map(({title, number}) => el('td', {class: number ? 'number' : null, 'data-title': title}));
    this.element = el('tr', {}, this.cells);
  }

  update(lock) {
    const {semaphore, lastUser, guards} = lock;
    const bad = ['dead', 'numberUsedAgain', 'diedMaking'].includes(lastUser.fate);
    this.element.classList.toggle('bad', bad);
    const texts = [kGuards[guards.kind] ?? guards.kind, placeOf(guards) || words.kUnknown, words.stateWord(lock.state), words.count(semaphore?.waiting),
      semaphore?.lastProcessId ? `process ${semaphore.lastProcessId} ${kFates[lastUser.fate] ?? lastUser.fate}${lastUser.command ? ` (${lastUser.command})` : ''}` : words.kUnknown,
      words.time(semaphore?.lastOperation)];
    texts.forEach((text, i) => setText(this.cells[i], text));
    this.element.title = lock.keyFile;
  }
}

export class LocksView {
  constructor(app) {
    this.app = app;
    this.title = 'Locks';
    this.state = el('div');
    const rows = table('Locks', kColumns);
    this.rows = new List(rows.body, () => new Row());
    this.told = quiet();
    this.body = el('section', {class: 'card'}, rows.element);
    this.element = el('div', {}, el('h1', {class: 'hidden-words'}, 'Locks'), this.state, this.told, this.body);
  }

  update() {
    const {page} = this.app.seen;
    if (!page) return;
    const {locks} = page.locks;
    const all = page.findings.lockCount;
    show(this.body, locks.length > 0);
    this.rows.update(locks, (lock) => lock.keyFile);
    this.state.replaceChildren(...(locks.length > 0 ? [] : [notice(all > 0 ? 'All locks are free' : 'There are no locks',
      all > 0 ? `At the last look none of ${words.counted(all, 'lock')} was held, waited for or broken. A lock is held for microseconds, so that is how it should be.` : 'Brokers make them when their nodes start to measure.')]));
    setText(this.told, locks.length > 0 ? `${words.count(locks.length)} of ${words.counted(all, 'lock')}: held at the last look, waited for, or not as they should be. Held for a moment is normal; held by a dead process is not.` : '');
    show(this.told, locks.length > 0);
  }
}
