// SPDX-License-Identifier: Apache-2.0
// One node: its figures now, and its curves from a quarter of an hour to a month.
import {Changes, markText} from './changes.js';
import {curve} from './curves.js';
import {List, el, quiet, setText, show} from './dom.js';
import {nodeLink} from './flows.js';
import {ask} from './poll.js';
import {keyOf} from './seen.js';
import * as words from './words.js';

const kRanges = [
  ['15 min', 900], ['1 h', 3600], ['6 h', 21600], ['24 h', 86400], ['7 days', 604800], ['30 days', 2592000]];
const kPoints = 300;
const kMostMarks = 20;
const kMostInner = 8;  // nodes directly in this one, whose time is taken off to get its own

function fact(title) {
  const value = el('dd');
  return {element: el('div', {}, el('dt', {}, title), value), value};
}

// Points by the beginning of their step. Columns: seconds, messages, bytes, elapsed, queued.
function byTime(points) {
  const map = new Map();
  for (const [time, ...rest] of points) {
    const sum = map.get(time);
    map.set(time, sum ? rest.map((value, i) => (i === 0 ? Math.max(value, sum[0]) : sum[i] + value)) : rest);
  }
  return map;
}

// What a node's points come to. `inner` are the points of the nodes directly in it; null while nobody knows them.
function columnsOf(points, inner) {
  const inside = inner?.map(byTime);
  const columns = {time: [], rate: [], elapsed: [], self: [], queued: [], size: []};
  for (const [time, [seconds, messages, bytes, elapsed, queued]] of byTime(points)) {
    const mean = (sum) => (messages > 0 && sum !== null ? sum / messages : null);
    const within = inside?.reduce((sum, map) => sum + (map.get(time)?.[3] ?? 0), 0);
    const own = mean(elapsed === null || !inside ? null : elapsed - within);
    columns.time.push(time);
    columns.rate.push(seconds > 0 ? messages / seconds : null);
    columns.elapsed.push(mean(elapsed) === null ? null : mean(elapsed) / 1000);
    columns.self.push(own === null ? null : Math.max(own, 0) / 1000);
    columns.queued.push(mean(queued) === null ? null : mean(queued) / 1000);
    columns.size.push(mean(bytes));
  }
  return columns;
}

// The history has a point for each step that somebody looked at: where steps are missing, the curve is cut.
export function cut(points, step) {
  const all = [];
  for (const point of points) {
    const before = all.at(-1);
    if (before && point[0] - before[0] > 2.5 * Math.max(step, before[1], point[1])) all.push([before[0] + step, 0, 0, null, null, null]);
    all.push(point);
  }
  return all;
}

export class NodeView {
  constructor(app, [uuid, group, flow, node]) {
    this.app = app;
    this.place = {uuid, group, flow, node};
    this.title = `${node}, ${flow}`;
    this.range = Number(sessionStorage.getItem('zebmon.range')) || 900;
    this.history = null;
    this.asked = 0;
    this.generation = 0;
    this.make();
    this.observer = new ResizeObserver(() => this.charts.forEach((chart) => chart.resize()));
    this.observer.observe(this.element);
  }

  make() {
    const {group, flow, node} = this.place;
    this.where = el('p', {class: 'where'});
    this.state = el('p', {class: 'quiet'});
    this.facts = Object.fromEntries(['messages', 'a message takes', 'its own time', 'of the flow’s time', 'waited before', 'size of a message'].map((name) => [name, fact(name)]));
    this.buttons = kRanges.map(([name, seconds]) => el('button', {type: 'button', 'aria-pressed': String(seconds === this.range), onclick: () => this.choose(seconds)}, name));
    this.source = el('p', {class: 'quiet', role: 'status'});
    this.charts = [
      curve('Time of a message', words.milliseconds, [['takes', 'elapsed', '--curve-1'], ['its own', 'self', '--curve-2'], ['waited before', 'queued', '--curve-3']]),
      curve('Messages', words.rate, [['messages a second', 'rate', '--curve-1']]),
      curve('Size of a message', words.bytes, [['mean size', 'size', '--curve-1']])];
    const marks = el('ul', {class: 'marks plain'});
    this.marks = new List(marks, (mark) => ({element: el('li', {}, el('time', {}, words.time(mark.until)), ' ', sayMark(mark))}));
    this.markBox = el('section', {class: 'card', hidden: true}, el('h2', {}, 'What happened'), marks);
    this.changes = new Changes(this.app, nodeLink, (change) => keyOf(change.executionGroup, change.messageFlow) === keyOf(group, flow) && (change.isOfFlow || change.node === node));
    this.element = el('div', {},
      el('nav', {class: 'crumbs', 'aria-label': 'Where you are'}, el('a', {href: '#/flows'}, 'Flows'), ' / ', flow, ' / ', node),
      el('h1', {}, node || '(no name)'), this.where, this.state,
      el('dl', {class: 'facts card'}, Object.values(this.facts).map((one) => one.element)),
      el('div', {class: 'tools', role: 'group', 'aria-label': 'How far back'}, this.buttons),
      this.source, el('div', {class: 'charts'}, this.charts.map((chart) => chart.element)), this.markBox, this.changes.element);
  }

  brokerName() {
    const known = this.app.seen.names.find((name) => name[0] === this.place.uuid);
    return known?.[4] ?? null;
  }

  choose(seconds) {
    this.range = seconds;
    sessionStorage.setItem('zebmon.range', String(seconds));
    this.buttons.forEach((button, i) => button.setAttribute('aria-pressed', String(kRanges[i][1] === seconds)));
    this.asked = 0;
    this.update();
  }

  close() {
    this.generation = -1;
    this.observer.disconnect();
    this.charts.forEach((chart) => chart.close());
  }

  live() {
    const {uuid, group, flow, node} = this.place;
    const broker = this.app.seen.page?.flows?.brokers.find((one) => one.uuid === uuid);
    const found = broker?.flows.find((one) => one.executionGroup === group && one.messageFlow === flow);
    return {flow: found ?? null, node: found?.nodes.find((one) => one.label === node) ?? null};
  }

  update() {
    if (!this.app.seen.page) return;
    this.showFacts();
    this.changes.update();
    if (!this.hasHistory()) this.showOwn();
    const step = Math.max(this.app.seen.page.paceSeconds, this.range / kPoints, 5);
    if (Date.now() - this.asked > step * 1000) {
      this.asked = Date.now();
      this.load(this.app.seen.page.routes);
    }
  }

  showFacts() {
    const {node} = this.live();
    setText(this.where, `${this.place.flow} · ${this.place.group} · ${this.brokerName() ?? this.place.uuid}`);
    const put = (name, text) => setText(this.facts[name].value, text);
    put('messages', words.rate(node?.messagesPerSecond));
    put('a message takes', words.milliseconds(node?.elapsedMeanMs));
    put('its own time', node?.self.state === 'belowOneMs' ? 'below 1 ms' : words.milliseconds(node?.self.meanMs));
    put('of the flow’s time', words.percent(node?.self.sharePercent));
    put('waited before', words.milliseconds(node?.queuedMeanMs));
    put('size of a message', words.bytes(node?.sizeMeanBytes));
    const gone = this.app.seen.page.flows === null ? 'Rates need a second look. It comes in a moment.' : 'It is not in shared memory now. The curves show what was seen before.';
    const note = node ? (node.deleted ? 'It was deleted; its figures stay until the next reset.' : words.sentence(node.change === 'measured' ? '' : `it ${words.changeWord(node.change)}`)) : gone;
    setText(this.state, note);
    show(this.state, note !== '');
  }

  // One that is paused or failed still tells of the time before.
  hasHistory() {
    return this.history !== null && this.history.state !== 'off';
  }

  // Whether anybody knows which nodes are in this one.
  knowsInner() {
    const {uuid, group, flow, node} = this.place;
    return this.app.seen.names.some((name) => keyOf(...name.slice(0, 4)) === keyOf(uuid, group, flow, node) && name[5] !== false);
  }

  // Names of the nodes directly in this one.
  inner() {
    const {uuid, group, flow, node} = this.place;
    return this.app.seen.names.filter((name) => name[0] === uuid && name[1] === group && name[2] === flow && name[5] === node).map((name) => name[3]).slice(0, kMostInner);
  }

  async load(routes) {
    const mine = ++this.generation;
    if (routes.includes('history')) await this.loadHistory(mine);
    else this.history = {state: 'off'};
    if (mine === this.generation && !this.hasHistory()) this.showOwn();
  }

  async loadHistory(mine) {
    const until = Math.floor(Date.now() / 1000);
    const answers = await Promise.all([this.place.node, ...this.inner()].map((node) => ask(this.target(node, until - this.range, until))));
    if (mine !== this.generation) return;
    const [own, ...inner] = answers.map((answer) => (answer.status === 200 ? answer.document : null));
    this.history = own ?? {state: 'off'};
    if (this.hasHistory()) this.showHistory(inner);
  }

  target(node, from, until) {
    const {uuid, group, flow} = this.place;
    const query = {broker: uuid, group, flow, node, from, until, points: kPoints};
    return '/api/v1/history?' + Object.entries(query).map(([name, value]) => `${name}=${encodeURIComponent(value)}`).join('&');
  }

  showHistory(inner) {
    const {history} = this;
    const pointsOf = (document) => (document?.nodes ?? []).flatMap((node) => node.points);
    const points = cut(pointsOf(history), history.step_seconds);
    const columns = columnsOf(points, this.knowsInner() ? inner.map(pointsOf) : null);
    // Only input nodes measure how long messages waited; the 0 of others says nothing.
    if (history.nodes.every((node) => node.node_type !== 'input')) columns.queued.fill(null);
    const marks = history.marks.filter((mark) => mark.until >= history.from);
    this.charts.forEach((chart) => chart.show(columns, {from: history.from, until: history.until, marks}));
    setText(this.source, sourceText(history));
    this.marks.update(marks.toSorted((one, other) => other.until - one.until).slice(0, kMostMarks), (mark) => keyOf(mark.kind, mark.from, mark.until));
    show(this.markBox, marks.length > 0);
  }

  // What this page itself has seen, where the server keeps no history.
  showOwn() {
    const {uuid, group, flow, node} = this.place;
    const {seen} = this.app;
    const until = Date.now() / 1000;
    const from = Math.max(until - this.range, Math.min(seen.openedAt, until - 30));
    const pointsIn = (name) => seen.pointsOf(keyOf(uuid, group, flow, name)).filter((point) => point[0] >= from);
    const columns = columnsOf(pointsIn(node), this.knowsInner() ? this.inner().map(pointsIn) : null);
    this.charts.forEach((chart) => chart.show(columns, {from, until, marks: []}));
    show(this.markBox, false);
    if (this.history === null) return;
    setText(this.source, `No history is kept: these curves begin when this page was opened, at ${words.time(seen.openedAt)}. “zebmon serve --history FILE” keeps one.`);
  }
}

function sourceText({state, oldest, from, step_seconds: step}) {
  const paused = state === 'ok' ? '' : 'The history takes nothing new now: “/healthz” says why. ';
  if (oldest === null) return `${paused}The history has nothing of this broker yet.`;
  return `${paused}${oldest > from ? `The history begins at ${words.time(oldest)}. ` : ''}One point is ${words.duration(step)}.`;
}

function sayMark(mark) {
  const what = markText(mark.kind, mark.flow);
  return mark.unknown_seconds > 0 ? `${what}; what was counted in ${words.duration(mark.unknown_seconds)} before is not known` : what;
}
