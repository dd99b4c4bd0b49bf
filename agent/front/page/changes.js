// SPDX-License-Identifier: Apache-2.0
// What changed its level in the last day, and what happened just before it.
import {List, el, setAttribute, setText, show} from './dom.js';
import {ask} from './poll.js';
import {keyOf} from './seen.js';
import * as words from './words.js';

const kMinuteMs = 60000;
const kMost = 20;

const kMeasures = {rate: 'rate', self: 'own time', elapsed: 'time', queued: 'waiting time', loss: 'loss'};

export const kMarks = {
  reset: 'figures went back to 0',
  restart: 'the broker started again',
  removed: 'shared memory was removed',
  gap: 'nobody looked',
  clock: 'the clock was set',
};

export function markText(kind, flow) {
  return kind === 'reset' && flow ? `“${flow}” was deployed` : (kMarks[kind] ?? kind);
}

function amount(measure, value) {
  if (measure === 'rate') return words.rate(value);
  return measure === 'loss' && value !== null ? words.percent(value * 100) : words.milliseconds(value);
}

// "after", never "because".
function nearText({kind, messageFlow, minutesAfter}) {
  const what = markText(kind, messageFlow);
  if (minutesAfter === 0) return `, within a minute of: ${what}`;
  return `, ${words.counted(Math.abs(minutesAfter), 'minute')} ${minutesAfter > 0 ? 'after' : 'before'} ${what}`;
}

function changeText(change) {
  const {measure, before, after, since, nearestMark} = change;
  const what = change.isOfFlow ? change.messageFlow : change.node;
  return `${what}: ${kMeasures[measure] ?? measure} ${amount(measure, before)} → ${amount(measure, after)} since ${words.time(since)}${nearestMark ? nearText(nearestMark) : ''}`;
}

// A card that is there when something changed; `isWanted` chooses from all changes.
export class Changes {
  constructor(app, linkOf, isWanted = () => true) {
    this.app = app;
    this.isWanted = isWanted;
    this.asked = 0;
    const list = el('ul', {class: 'plain changes'});
    this.rows = new List(list, () => {
      const link = el('a');
      return {element: el('li', {}, link), update: (change) => {
        setAttribute(link, 'href', linkOf(change.broker.uuid, change.executionGroup, change.messageFlow, change.node));
        setText(link, changeText(change));
      }};
    });
    this.element = el('section', {class: 'card', hidden: true}, el('h2', {}, 'What changed'), list);
  }

  async update() {
    if (Date.now() - this.asked < kMinuteMs) return;
    this.asked = Date.now();
    const answer = await ask('/api/v1/changes');
    if (answer.status !== 200) return;
    if (answer.document.state === 'working') this.asked -= kMinuteMs;
    const changes = answer.document.changes.filter(this.isWanted).toSorted((one, other) => Date.parse(other.since) - Date.parse(one.since)).slice(0, kMost);
    this.rows.update(changes, (change) => keyOf(change.broker.uuid, change.executionGroup, change.messageFlow, change.node, change.measure, change.since));
    show(this.element, changes.length > 0);
  }
}
