// SPDX-License-Identifier: Apache-2.0
// Events as they come, how many of each text, and one message's way.
import {List, el, keepInAddress, notice, quiet, setText, show, table} from './dom.js';
import * as words from './words.js';

const kMostRows = 200;
const kMostTexts = 12;

const messageLink = (id) => `#/message/${encodeURIComponent(id)}`;

// A message ID is long and mostly zeros: both ends of it are enough to tell it from others.
const shortId = (id) => (id.length > 20 ? `${id.slice(0, 8)}…${id.slice(-8)}` : id);

const textOf = (event) => event.template?.text ?? '(the text was overwritten)';

function whereOf(event) {
  const from = event.template;
  return from ? `${from.messageFlow} / ${from.node}` : 'not known';
}

const isNoId = (id) => !id || /^0*$/.test(id);

function matches(event, filter, kind) {
  if (kind !== 'all' && event.kind !== kind) return false;
  if (filter === '') return true;
  const from = event.template ?? {};
  return [from.text, from.node, from.messageFlow, from.executionGroup, event.broker?.label, event.messageId, event.correlationId, event.putApplicationName]
    .some((text) => text?.toLowerCase().includes(filter));
}

function kindMark(kind) {
  return el('span', {class: `kind-mark ${kind === 'exception' ? 'bad' : 'calm'}`}, kind);
}

export function eventsOff() {
  return notice('Events are off', 'Their texts and message IDs may be confidential, so this server tells them to nobody.',
    'Start it with --events to show them to all users of this machine, or with --token-file to show them to who has the token.');
}

class EventRow {
  constructor(event) {
    const id = isNoId(event.messageId) ? words.kUnknown
      : el('a', {href: messageLink(event.messageId), 'aria-label': `The way of message ${event.messageId}`, title: event.messageId}, shortId(event.messageId));
    this.element = el('tr', {}, el('td', {}, el('time', {datetime: event.created, title: event.created}, words.time(event.created))),
      el('td', {}, kindMark(event.kind)), el('td', {}, whereOf(event)), el('td', {class: 'text'}, textOf(event)), el('td', {class: 'id'}, id));
  }
}

export class EventsView {
  constructor(app, [query = '']) {
    this.app = app;
    this.title = 'Events';
    this.held = null;
    this.filter = el('input', {type: 'search', placeholder: 'Text, node, flow, message ID', 'aria-label': 'Show events that have', 'data-find': true, oninput: () => this.find()});
    this.filter.value = query;
    this.kind = el('select', {'aria-label': 'Kind', onchange: () => this.update()},
      el('option', {value: 'all'}, 'all kinds'), el('option', {value: 'message'}, 'messages'), el('option', {value: 'exception'}, 'exceptions'));
    this.pause = el('button', {type: 'button', 'aria-pressed': 'false', onclick: () => this.toggle()}, 'Hold still');
    this.told = el('p', {class: 'quiet', role: 'status'});
    const counts = el('ul', {class: 'counts plain', 'aria-label': 'How many of each text'});
    this.counts = new List(counts, (item) => this.countRow(item));
    const rows = table('Events, the newest first', [{title: 'Time'}, {title: 'Kind'}, {title: 'Flow / node'}, {title: 'Text'}, {title: 'Message'}]);
    this.rows = new List(rows.body, (event) => new EventRow(event));
    this.content = el('div', {}, el('div', {class: 'tools'}, this.filter, this.kind, this.pause), this.told,
      this.lists = el('div', {class: 'events'}, el('section', {class: 'card'}, el('h2', {}, 'By text'), counts), el('section', {class: 'card'}, rows.element)));
    this.state = el('div');
    this.element = el('div', {}, el('h1', {class: 'hidden-words'}, 'Events'), this.state, this.content);
  }

  countRow() {
    const number = el('span', {class: 'number'});
    const text = el('span', {class: 'text'});
    const button = el('button', {type: 'button', class: 'plain-button', onclick: () => this.only(button.dataset.text)}, number, text);
    const element = el('li', {}, button);
    return {element, update: (item) => {
      button.dataset.text = item.text;
      setText(number, words.count(item.count));
      setText(text, item.text);
      button.classList.toggle('bad', item.exception);
    }};
  }

  find() {
    keepInAddress('events', this.filter.value);
    this.update();
  }

  only(text) {
    this.filter.value = this.filter.value === text ? '' : text;
    this.find();
  }

  toggle() {
    this.held = this.held ? null : [...this.app.seen.events];
    this.pause.setAttribute('aria-pressed', String(this.held !== null));
    this.update();
  }

  update() {
    const {page, missed} = this.app.seen;
    if (!page) return;
    show(this.content, page.events !== null);
    this.state.replaceChildren(...(page.events === null ? [eventsOff()] : []));
    if (page.events === null) return;
    const all = this.held ?? this.app.seen.events;
    const filter = this.filter.value.trim().toLowerCase();
    const found = all.filter((event) => matches(event, filter, this.kind.value));
    const newest = found.slice(-kMostRows).reverse();
    show(this.lists, found.length > 0);
    this.rows.update(newest, (event) => String(event.sequence));
    this.counts.update(countsOf(found), (item) => item.text);
    setText(this.told, this.summary(all, found, newest, missed));
  }

  summary(all, found, newest, missed) {
    if (all.length === 0) return 'No event was posted yet. A node with an event message posts one for each message, and each exception is one.';
    const some = newest.length < found.length ? `The newest ${words.count(newest.length)} of ${words.counted(found.length, 'event')}` : words.counted(found.length, 'event');
    const of = found.length < all.length ? ` of ${words.count(all.length)} that are kept here` : '';
    const gone = missed > 0 ? ` ${words.count(missed)} were overwritten before anybody saw them.` : '';
    return `${some}${of}${this.held ? ', held still' : ''}.${gone}`;
  }
}

function countsOf(events) {
  const counts = new Map();
  for (const event of events) {
    const text = textOf(event);
    const item = counts.get(text);
    if (item) ++item.count;
    else counts.set(text, {text, count: 1, exception: event.kind === 'exception'});
  }
  return [...counts.values()].sort((one, other) => other.count - one.count).slice(0, kMostTexts);
}

export class MessageView {
  constructor(app, [id]) {
    this.app = app;
    this.id = id;
    this.title = 'A message';
    this.told = el('p', {class: 'quiet', role: 'status'});
    const steps = el('ol', {class: 'way'});
    this.steps = new List(steps, (step) => ({element: stepRow(step)}));
    this.body = el('section', {class: 'card'}, steps);
    this.state = el('div');
    this.element = el('div', {}, el('nav', {class: 'crumbs', 'aria-label': 'Where you are'}, el('a', {href: '#/events'}, 'Events'), ' / a message'),
      el('h1', {}, 'One message’s way'), el('p', {class: 'id long'}, id), this.told, this.state, this.body);
  }

  update() {
    const {page, events} = this.app.seen;
    if (!page) return;
    const own = events.filter((event) => event.messageId === this.id || event.correlationId === this.id)
      .sort((one, other) => Date.parse(one.created) - Date.parse(other.created) || one.sequence - other.sequence);
    const off = page.events === null;
    show(this.body, own.length > 0);
    this.state.replaceChildren(...(off ? [eventsOff()] : own.length > 0 ? [] : [nothingKept()]));
    setText(this.told, own.length > 0 ? summaryOf(own) : '');
    const begin = own.length > 0 ? Date.parse(own[0].created) : 0;
    this.steps.update(own.map((event, i) => ({event, after: Date.parse(event.created) - begin, since: i > 0 ? Date.parse(event.created) - Date.parse(own[i - 1].created) : null})),
      ({event}) => String(event.sequence));
  }
}

// Events have whole milliseconds.
const between = (ms) => (ms < 1000 ? `${words.count(ms)} ms` : words.milliseconds(ms));

const nothingKept = () => notice('No event of this message is kept here', 'The server keeps the newest 10,000 events. “zebmon message ID” looks into shared memory, and with --from into a file.');

function summaryOf(events) {
  const span = Date.parse(events.at(-1).created) - Date.parse(events[0].created);
  const failed = events.filter((event) => event.kind === 'exception').length;
  const took = events.length < 2 ? '' : span > 0 ? ` in ${between(span)}` : ' within a millisecond';
  return `${words.counted(events.length, 'event')}${took}${failed > 0 ? `, ${words.counted(failed, 'exception')}` : ''}, at ${words.time(events[0].created)}.`;
}

function stepRow({event, after, since}) {
  return el('li', {class: event.kind === 'exception' ? 'bad' : null},
    el('span', {class: 'when'}, since === null ? words.time(event.created) : `+${between(since)}`),
    el('div', {}, el('strong', {}, event.template?.node ?? 'a node that is not known'), ' ', kindMark(event.kind),
      el('p', {class: 'where'}, event.template ? `${event.template.messageFlow} · ${event.template.executionGroup} · ${words.brokerName(event.broker)}` : words.brokerName(event.broker)),
      el('p', {class: 'text'}, textOf(event)),
      quiet(`${since === null ? 'the first' : `${between(after)} after the first`}${event.putApplicationName ? `, put by ${event.putApplicationName}` : ''}, thread ${words.thread(event.threadId)}`)));
}
