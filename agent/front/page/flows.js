// SPDX-License-Identifier: Apache-2.0
// All flows: each as the chain of its nodes, with where the time goes.
import {Changes} from './changes.js';
import {List, el, keepInAddress, notice, quiet, setAttribute, setText, show, svg} from './dom.js';
import {ask} from './poll.js';
import {keyOf} from './seen.js';
import * as words from './words.js';

const kSparkPoints = 150;
const kMostGone = 100;
const kFirst = 8;  // flows, about a screen: the others are made when these are painted
const kMinuteMs = 60000;
const kWidth = 240;
const kHeight = 40;

export const nodeLink = (uuid, group, flow, node) =>
  '#/node/' + [uuid, group, flow, node].map(encodeURIComponent).join('/');

function figure(title, hint) {
  const value = el('dd');
  return {element: el('div', {title: hint}, el('dt', {}, title), value), value};
}

class Sparkline {
  constructor(name) {
    this.area = svg('path', {class: 'spark-area'});
    this.line = svg('path', {class: 'spark-line'});
    this.title = svg('title');
    this.element = svg('svg', {class: 'spark', viewBox: `0 0 ${kWidth} ${kHeight}`, preserveAspectRatio: 'none', role: 'img'},
      this.title, this.area, this.line);
    this.name = name;
  }

  update(points) {
    const rates = points.slice(-kSparkPoints).map(([, seconds, messages]) => messages / seconds);
    const top = Math.max(...rates, 1e-9);
    const step = kWidth / Math.max(rates.length - 1, 1);
    const at = rates.map((rate, i) => `${(i * step).toFixed(1)},${(kHeight - 2 - (rate / top) * (kHeight - 6)).toFixed(1)}`);
    const line = rates.length > 1 ? `M${at.join('L')}` : '';
    this.element.classList.toggle('none', line === '');
    setAttribute(this.line, 'd', line);
    setAttribute(this.area, 'd', line && `${line}L${kWidth},${kHeight}L0,${kHeight}Z`);
    const since = rates.length > 1 ? points.at(-1)[0] - points.at(-rates.length)[0] : 0;
    setText(this.title, rates.length < 2 ? `${this.name}: no curve yet`
      : `${this.name}: messages a second in the last ${words.duration(since)}, at most ${words.rate(top)}, now ${words.rate(rates.at(-1))}`);
  }
}

// What was lost between a node and the one that it is in, for the line between their boxes.
function lossOf(seen, place, flow, node) {
  const lost = node.lost;
  if (node.nestedIn === null) return null;
  const live = lost && lost.state === 'measured' && lost.messageCount > 0 ? lost : null;
  const sum = seen.lost(keyOf(...place, node.nestedIn), keyOf(...place, node.label), flow.inFlight);
  if (sum && sum.messages > 0) {
    return {messages: sum.messages, text: `${words.counted(sum.messages, 'message')} of ${words.count(sum.of)} that were in “${node.nestedIn}” did not get to “${node.label}” in the last ${words.duration(sum.seconds)}`};
  }
  return live && {messages: live.messageCount, text: `${words.counted(live.messageCount, 'message')} that were in “${node.nestedIn}” did not get to “${node.label}” since the last look`};
}

class NodeBox {
  constructor(seen, place, node) {
    this.seen = seen;
    this.place = place;
    this.loss = el('span', {class: 'loss', hidden: true});
    this.branch = el('span', {class: 'branch', hidden: true});
    this.share = el('span', {class: 'share'});
    this.rate = el('span', {class: 'main-figure'});
    this.times = el('span', {class: 'times'});
    this.note = el('span', {class: 'note', hidden: true});
    this.bar = el('span', {class: 'bar', 'aria-hidden': 'true'}, el('span'));
    this.link = el('a', {class: 'box', href: nodeLink(...place, node.label)},
      el('span', {class: 'box-name'}, node.label || '(no name)'), el('span', {class: 'kind'}, words.typeWord(node.type)),
      this.rate, this.times, this.share, this.bar, this.note);
    this.element = el('li', {}, el('span', {class: 'link'}, this.loss, this.branch), this.link);
  }

  update({flow, node, before, slowest}) {
    const share = node.self.sharePercent;
    setText(this.rate, words.rate(node.messagesPerSecond));
    setText(this.times, `${words.milliseconds(node.elapsedMeanMs)} a message`);
    setText(this.share, share === null ? selfWord(node.self.state) : `${words.percent(share)} own time`);
    const size = share === null ? '0' : String(Math.round(share) / 100);
    if (this.size !== size) this.bar.firstChild.style.setProperty('--share', this.size = size);
    this.link.classList.toggle('slow', slowest);
    this.link.classList.toggle('idle', node.messageCount === 0);
    const note = node.deleted ? 'deleted' : words.changeWord(node.change);
    show(this.note, note !== '');
    setText(this.note, note);
    this.showLink(flow, node, before);
  }

  showLink(flow, node, before) {
    const loss = lossOf(this.seen, this.place, flow, node);
    show(this.loss, loss !== null);
    setText(this.loss, loss ? `−${words.count(loss.messages)}` : '');
    setAttribute(this.loss, 'title', loss ? loss.text : null);
    setAttribute(this.loss, 'aria-label', loss ? loss.text : null);
    const known = flow.chain !== 'unknown';
    const apart = before !== null && known && node.nestedIn !== before.label;
    show(this.branch, apart);
    setText(this.branch, !apart ? '' : node.nestedIn === null ? 'beside' : `from ${node.nestedIn}`);
    setAttribute(this.element, 'class', before === null ? 'first' : apart ? 'apart' : known ? null : 'loose');
  }
}

const selfWord = (state) =>
  ({noMessages: 'no messages now', belowOneMs: 'own time below 1 ms', intervalTooShort: 'own time: too few messages'})[state] ?? 'own time not known';

class FlowCard {
  constructor(seen, {broker, flow}) {
    this.seen = seen;
    this.place = [broker.uuid, flow.executionGroup, flow.messageFlow];
    this.where = el('span', {class: 'where'});
    this.rate = figure('messages', 'Messages that entered the flow');
    this.mean = figure('a message takes', 'Mean time in the flow’s first node and all behind it');
    this.queued = figure('waited before', 'Mean time in the queue before the flow');
    this.flight = figure('on their way', 'Messages that may have been in the flow at the last look');
    this.spark = new Sparkline(flow.messageFlow);
    this.verdict = el('p', {class: 'verdict'});
    const chain = el('ol', {class: 'chain', 'aria-label': `Nodes of ${flow.messageFlow}`});
    this.nodes = new List(chain, ({node}) => new NodeBox(seen, this.place, node));
    this.element = el('article', {class: 'card flow'},
      el('header', {}, el('div', {class: 'flow-name'}, el('h2', {}, flow.messageFlow || '(no name)'), this.where),
        el('dl', {class: 'figures'}, this.rate.element, this.mean.element, this.queued.element, this.flight.element), this.spark.element),
      this.verdict, chain);
  }

  update({broker, flow}) {
    const first = flow.nodes[0];
    setText(this.where, `${flow.executionGroup} · ${words.brokerName(broker)}`);
    setText(this.rate.value, words.rate(flow.messagesPerSecond ?? first?.messagesPerSecond));
    setText(this.mean.value, words.milliseconds(first?.elapsedMeanMs));
    setText(this.queued.value, words.milliseconds(first?.queuedMeanMs));
    show(this.queued.element, first !== undefined && first.queuedMeanMs !== null);
    setText(this.flight.value, words.count(flow.inFlight));
    setText(this.verdict, verdictOf(flow));
    if (first) this.spark.update(this.seen.pointsOf(keyOf(...this.place, first.label)));
    this.nodes.update(itemsOf(flow), ({node}) => node.recordId + node.label);
  }
}

// Here nobody types --chain.
function verdictOf(flow) {
  if (flow.finding || flow.chain !== 'unknown' || flow.nodes.length < 2) return words.sentence(flow.verdict);
  return 'Which node is slow can’t be told while nobody knows which is inside which. “zebmon serve --flows FILE” takes that from a flow file.';
}

function itemsOf(flow) {
  const shares = flow.nodes.map((node) => node.self.sharePercent ?? -1);
  const most = Math.max(...shares);
  return flow.nodes.map((node, i) => ({flow, node, before: i > 0 ? flow.nodes[i - 1] : null, slowest: most >= 34 && shares[i] === most && flow.nodes.length > 1}));
}

function matches(filter, broker, flow) {
  if (filter === '') return true;
  const names = [broker.label ?? '', flow.executionGroup, flow.messageFlow, ...flow.nodes.map((node) => node.label)];
  return names.some((name) => name.toLowerCase().includes(filter));
}

function emptiness(page) {
  if (page.brokers.brokers.length === 0) {
    return notice('No broker is here yet', `zebmon looks for brokers’ key files in ${page.brokers.temporaryDirectory}. A broker appears here by itself as soon as one of its flows starts with a measuring node.`,
      'If you expect one: “zebmon config” tells where the library looks, and “zebmon doctor” what is in its way.');
  }
  if (page.flows === null) return notice('One look is done', 'Rates need a second one. It comes in a moment.');
  const unread = page.brokers.brokers.filter((broker) => broker.problem);
  if (unread.length > 0) {
    return notice('No flow can be shown', ...unread.map((broker) => words.sentence(`${words.brokerName(broker)}: ${broker.problem}`)));
  }
  return notice('No node measures yet', 'The brokers are there. A flow appears when one of its nodes has been activated.');
}

// Nodes of brokers that have stopped: those that the history knows, else those that this tab has seen.
class Gone {
  constructor(app) {
    this.app = app;
    this.asked = 0;
    this.stored = null;
    this.list = el('ul', {class: 'plain'});
    this.rows = new List(this.list, ([uuid, group, flow, node]) => ({element: el('li', {}, el('a', {href: nodeLink(uuid, group, flow, node)}, `${flow} / ${node}`), el('span', {class: 'where'}, ` ${group}`))}));
    this.title = el('h2');
    this.element = el('section', {class: 'card gone', hidden: true}, this.title, quiet('These were seen before. Their curves are there as long as the history keeps them.'), this.list);
  }

  update() {
    this.load();
    const {seen} = this.app;
    const gone = this.stored ? this.stored.filter((name) => !seen.isPresent(name[0])) : seen.gone();
    show(this.element, gone.length > 0);
    const brokers = [...new Set(gone.map((name) => name[4] ?? name[0]))];
    setText(this.title, `Not here now: ${brokers.slice(0, 10).join(', ')}`);
    this.rows.update(gone.slice(0, kMostGone), (name) => keyOf(...name.slice(0, 4)));
  }

  async load() {
    if (!this.app.seen.page.routes.includes('history') || Date.now() - this.asked < kMinuteMs) return;
    this.asked = Date.now();
    const {status, document} = await ask('/api/v1/history');
    if (status !== 200 || document.state === 'off') return;
    this.stored = document.brokers.flatMap((broker) => broker.flows.flatMap((flow) =>
      flow.nodes.map((node) => [broker.uuid, flow.execution_group, flow.flow, node.node, broker.broker])));
    this.update();
  }
}

export class FlowsView {
  constructor(app, [query = '']) {
    this.app = app;
    this.title = 'Flows';
    this.filter = el('input', {type: 'search', placeholder: 'Find a flow or node', 'aria-label': 'Find a flow or node', 'data-find': true, oninput: () => this.find()});
    this.filter.value = query;
    this.told = el('span', {class: 'quiet'});
    this.cards = el('div', {class: 'flows'});
    this.state = el('div');
    this.list = new List(this.cards, (item) => new FlowCard(app.seen, item));
    this.most = kFirst;
    this.gone = new Gone(app);
    this.changes = new Changes(app, nodeLink);
    this.bar = el('div', {class: 'tools'}, this.filter, this.told);
    this.element = el('div', {}, el('h1', {class: 'hidden-words'}, 'Flows'), this.bar, this.state, this.cards, this.changes.element, this.gone.element);
  }

  find() {
    keepInAddress('flows', this.filter.value);
    this.update();
  }

  updateAfterPaint() {
    this.most = Infinity;
    requestAnimationFrame(() => setTimeout(() => this.update()));
  }

  update() {
    const page = this.app.seen.page;
    if (!page) return;
    const filter = this.filter.value.trim().toLowerCase();
    const all = (page.flows?.brokers ?? []).flatMap((broker) => broker.flows.map((flow) => ({broker, flow})));
    const shown = all.filter(({broker, flow}) => matches(filter, broker, flow));
    show(this.bar, all.length > 0);
    setText(this.told, shown.length === all.length ? words.counted(all.length, 'flow') : `${words.count(shown.length)} of ${words.counted(all.length, 'flow')}`);
    this.list.update(shown.slice(0, this.most), ({broker, flow}) => keyOf(broker.uuid, flow.executionGroup, flow.messageFlow));
    if (shown.length > this.most) this.updateAfterPaint();
    if (all.length > 0) this.state.replaceChildren(...(shown.length > 0 ? [] : [notice('Nothing of that name', 'No flow, group, broker or node has these letters in its name.')]));
    else this.state.replaceChildren(emptiness(page));
    this.gone.update();
    this.changes.update();
  }
}
