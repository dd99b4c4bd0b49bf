// SPDX-License-Identifier: Apache-2.0
// How full shared memory is, what still fits, and when it will be full.
import {List, el, notice, quiet, setText} from './dom.js';
import {ask} from './poll.js';
import {keyOf} from './seen.js';
import * as words from './words.js';

const kTitles = {statistics: 'Nodes and their figures', eventTemplates: 'Texts of events', eventData: 'Events'};
const kRateOf = 500;  // events
const kAgainMs = 600000;  // before the history is asked again
const kYoungSeconds = kAgainMs / 1000 + 600;  // what was asked for may be that old
const kLeastSeconds = 60;  // a forecast from less would be noise

function roomOf(area) {
  if (area.roomForNodes !== undefined) {
    return area.roomForNodes === 0 ? 'There is no room for one more node.'
      : `Room for ${words.counted(area.roomForNodes, 'more node', 'more nodes')} with names of ${area.nodeCharacters} characters.`;
  }
  if (area.longestTextCharacters !== undefined) return `A text may have ${words.count(area.longestTextCharacters)} characters.`;
  return `It holds ${words.counted(area.roomForEvents, 'event')}; then the oldest are overwritten.`;
}

// How long an event stays, by the rate of the newest ones that were seen.
function stayOf(area, events) {
  const some = events.slice(-kRateOf);
  const seconds = some.length < 2 ? 0 : (Date.parse(some.at(-1).created) - Date.parse(some[0].created)) / 1000;
  return seconds > 0 ? `At the present rate one stays for ${words.duration(area.roomForEvents * seconds / (some.length - 1))}.` : '';
}

// What the history says of the area of nodes; `seen` is what this page itself has seen.
function recordedForecastOf(recorded, seen) {
  if (!recorded) return seen;
  const time = words.duration(recorded.until - recorded.since);
  const age = Date.now() / 1000 - recorded.until;
  const old = age < kYoungSeconds ? '' : ` Its last look was ${words.duration(age)} ago.`;
  if (!recorded.enough) return `${seen} The history has ${time} of this; a forecast from it needs a day.${old}`;
  if (recorded.full_in_seconds === null) return `By the history, it has not grown in ${time}.${old}`;
  const grown = words.bytes(recorded.used_bytes - recorded.used_bytes_before);
  return `By the history, it grew by ${grown} in ${time}: full in ${words.duration(recorded.full_in_seconds)} if that goes on.${old}`;
}

// Event areas begin again when they are full, which is as it should be.
function forecastOf(area, first, now, events) {
  if (area.name === 'eventTemplates') return 'It begins again at its start when it is full.';
  if (area.name === 'eventData') return stayOf(area, events);
  if (area.usedBytes >= area.sizeBytes) return 'It is full.';
  const seconds = now - first.time;
  if (seconds < kLeastSeconds) return 'A forecast needs a minute.';
  const grown = area.usedBytes - first.used;
  if (grown <= 0) return `It has not grown since ${words.time(first.time)}.`;
  return `It grew by ${words.bytes(grown)} since ${words.time(first.time)}: full in ${words.duration((area.sizeBytes - area.usedBytes) / grown * seconds)} if that goes on.`;
}

class Area {
  constructor(view, uuid) {
    this.view = view;
    this.app = view.app;
    this.uuid = uuid;
    this.title = el('h3');
    this.size = el('span', {class: 'where'});
    this.meter = el('meter', {min: '0', max: '100', high: '90', low: '75', optimum: '0'});
    this.used = el('strong');
    this.room = el('p');
    this.forecast = el('p', {class: 'quiet'});
    this.element = el('li', {}, el('header', {}, this.title, this.size), el('div', {class: 'meter'}, this.meter, this.used), this.room, this.forecast);
  }

  update(area) {
    const {seen} = this.app;
    const name = kTitles[area.name] ?? area.name;
    const ring = area.name !== 'statistics';
    setText(this.title, name);
    setText(this.size, `${words.bytes(area.usedBytes)} of ${words.bytes(area.sizeBytes)}`);
    this.meter.value = area.usedPercent;
    this.meter.high = ring ? 100 : 90;
    this.meter.low = ring ? 100 : 75;
    this.meter.setAttribute('aria-label', `${name}: ${words.percent(area.usedPercent)} used`);
    setText(this.used, words.percent(area.usedPercent));
    setText(this.room, roomOf(area));
    const first = seen.areas.get(keyOf(this.uuid, area.name)) ?? {time: seen.wall(), used: area.usedBytes};
    const forecast = forecastOf(area, first, seen.wall(), seen.events.filter((event) => event.broker?.uuid === this.uuid));
    const isFull = area.usedBytes >= area.sizeBytes;
    setText(this.forecast, ring || isFull ? forecast : recordedForecastOf(this.view.recorded.get(this.uuid), forecast));
  }
}

class Broker {
  constructor(view, broker) {
    this.title = el('h2');
    this.told = el('p', {class: 'where'});
    const areas = el('ul', {class: 'areas plain'});
    this.areas = new List(areas, () => new Area(view, broker.uuid));
    this.element = el('section', {class: 'card'}, this.title, this.told, areas);
  }

  update(broker) {
    setText(this.title, words.brokerName(broker));
    setText(this.told, broker.segmentBytes ? `${words.bytes(broker.segmentBytes)} of shared memory, ${words.stateWord(broker.state)}` : words.sentence(words.stateWord(broker.state)));
    this.areas.update(broker.areas, (area) => area.name);
  }
}

export class CapacityView {
  constructor(app) {
    this.app = app;
    this.title = 'Capacity';
    this.recorded = new Map();  // by the brokers' uuids
    this.asked = 0;
    const list = el('div', {class: 'stack'});
    this.list = new List(list, (broker) => new Broker(this, broker));
    this.state = el('div');
    this.element = el('div', {}, el('h1', {class: 'hidden-words'}, 'Capacity'), this.state, list,
      quiet('“zebmon size --nodes N” says how large an area must be for more nodes.'));
  }

  update() {
    const {page} = this.app.seen;
    if (!page) return;
    this.load();
    const {brokers} = page.capacity;
    this.state.replaceChildren(...(brokers.length > 0 ? [] : [notice('No broker has shared memory', 'How full it is shows here as soon as one has.')]));
    this.list.update(brokers, (broker) => broker.uuid);
  }

  async load() {
    if (!this.app.seen.page.routes.includes('history') || Date.now() - this.asked < kAgainMs) return;
    this.asked = Date.now();
    const {status, document} = await ask('/api/v1/history');
    if (status !== 200 || document.state === 'off') return;
    this.recorded = new Map(document.brokers.map((broker) => [broker.uuid, broker.area]));
    this.update();
  }
}
