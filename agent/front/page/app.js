// SPDX-License-Identifier: Apache-2.0
// The page: what is asked for and when, which view is shown, and how old what it shows is.
import {CapacityView} from './capacity.js';
import {List, el, notice, setAttribute, setText, show} from './dom.js';
import {EventsView, MessageView} from './events.js';
import {FindingsView} from './findings.js';
import {FlowsView} from './flows.js';
import {LocksView} from './locks.js';
import {NodeView} from './node.js';
import {Clockwork, ask, setToken} from './poll.js';
import {Seen} from './seen.js';
import {SettingsView} from './settings.js';
import * as words from './words.js';

const kTabs = [['flows', 'Flows'], ['events', 'Events'], ['findings', 'Findings'], ['capacity', 'Capacity'], ['locks', 'Locks'], ['settings', 'Settings']];
const kViews = {flows: FlowsView, events: EventsView, findings: FindingsView, capacity: CapacityView, locks: LocksView, settings: SettingsView, node: NodeView, message: MessageView};
const kTabOf = {node: 'flows', message: 'events'};
const kRetryMs = 2000;
const kLongestMs = 60000;
const kMostTold = 3;  // findings at the top

const find = (id) => document.getElementById(id);

function tokenForm(refused, taken) {
  const input = el('input', {type: 'password', id: 'token', autocomplete: 'off', spellcheck: 'false', required: true});
  const submit = (event) => {
    event.preventDefault();
    setToken(input.value);
    taken();
  };
  setTimeout(() => input.focus());
  return el('form', {class: 'notice token', onsubmit: submit}, el('h2', {}, 'This server asks for a token'),
    el('p', {}, 'It is in the file that the server was started with: --token-file. This tab keeps it until it is closed.'),
    refused ? el('p', {class: 'refused', role: 'alert'}, 'The server doesn’t take that token.') : null,
    el('label', {for: 'token'}, 'Token'), el('div', {class: 'tools'}, input, el('button', {type: 'submit', class: 'strong'}, 'Show the page')));
}

// Messages of the last look or two are now, for people.
function lastMessage(seconds) {
  if (seconds === null) return ', no message yet';
  return seconds < 10 ? '' : `, last message ${words.duration(seconds)} ago`;
}

class BrokerChip {
  constructor() {
    this.dot = el('span', {class: 'dot', 'aria-hidden': 'true'});
    this.name = el('strong');
    this.state = el('span');
    this.more = el('span', {class: 'where'});
    this.element = el('li', {class: 'chip'}, this.dot, this.name, this.state, this.more);
  }

  update(broker) {
    setAttribute(this.element, 'class', `chip ${words.stateTone(broker.state)}`);
    setText(this.name, words.brokerName(broker));
    setText(this.state, words.stateWord(broker.state));
    setText(this.more, broker.nodeCount === undefined || broker.nodeCount === null ? ''
      : `${words.counted(broker.messageFlowCount, 'flow')}, ${words.counted(broker.nodeCount, 'node')}${lastMessage(broker.lastCollectionAgeSeconds)}`);
    setAttribute(this.element, 'title', broker.problem ? words.sentence(broker.problem) : null);
  }
}

class App {
  constructor() {
    this.seen = new Seen();
    this.view = null;
    this.trouble = null;  // {status, error}: why there is nothing new
    this.asksToken = false;
    this.tokenSent = false;
    this.makeTop();
    this.clock = new Clockwork(() => this.turn());
    this.ticks = new Clockwork(() => this.tick());
    addEventListener('hashchange', () => this.go());
    addEventListener('keydown', (event) => this.key(event));
    find('skip').addEventListener('click', () => find('main').focus());
    this.go();
    this.clock.now();
    this.ticks.now();
  }

  makeTop() {
    this.tabs = kTabs.map(([name, title]) => {
      const badge = el('span', {class: 'badge', hidden: true});
      return {name, badge, link: el('a', {href: `#/${name}`}, title, badge)};
    });
    find('views').append(...this.tabs.map((tab) => tab.link));
    const chips = el('ul', {class: 'chips plain', 'aria-label': 'Brokers'});
    this.chips = new List(chips, () => new BrokerChip());
    const alarms = el('ul', {class: 'alarms plain', 'aria-label': 'What is wrong'});
    this.alarms = new List(alarms, () => {
      const link = el('a', {href: '#/findings'});
      const element = el('li', {}, link);
      return {element, update: (alarm) => {
        setAttribute(element, 'class', alarm.severity);
        setText(link, alarm.text);
      }};
    });
    this.degraded = el('a', {class: 'degraded', href: '#/findings', hidden: true});
    this.figures = el('span');
    find('foot').append(this.figures, el('span', {class: 'with-keys'}, ' Press / to find.'));
    this.state = el('div');
    this.place = el('div', {class: 'view'});
    find('main').append(this.state, el('section', {class: 'overview', 'aria-label': 'Brokers'}, chips, this.degraded, alarms), this.place);
  }

  go() {
    const [name, ...rest] = location.hash.slice(2).split('/').map((part) => {
      try {
        return decodeURIComponent(part);
      } catch {
        return part;
      }
    });
    const known = Object.hasOwn(kViews, name) ? name : 'flows';
    this.view?.close?.();
    this.view = new kViews[known](this, rest);
    this.place.replaceChildren(this.view.element);
    const tab = kTabOf[known] ?? known;
    for (const {name: one, link} of this.tabs) {
      setAttribute(link, 'aria-current', one === tab ? 'page' : null);
      if (one === tab) link.scrollIntoView({block: 'nearest', inline: 'center'});
    }
    document.title = `${this.view.title} – zebmon`;
    scrollTo(0, 0);
    this.show();
  }

  // "/" finds, Escape leaves the field.
  key(event) {
    const field = document.querySelector('[data-find]');
    const typing = event.target instanceof HTMLInputElement || event.target instanceof HTMLSelectElement;
    if (event.key === '/' && field && !typing && !event.ctrlKey && !event.metaKey) {
      event.preventDefault();
      field.focus();
    } else if (event.key === 'Escape' && typing) {
      event.target.blur();
    }
  }

  // One question; returns when to ask again, in milliseconds.
  async turn() {
    const {seen} = this;
    const {status, document, error} = await ask(`/api/v1/page?since=${seen.lastEvent}`);
    if (status === 200) {
      this.trouble = null;
      this.asksToken = false;
      seen.take(document);
      await this.takeMoreEvents(document);
    } else if (status === 401) {
      this.askToken();
      return kLongestMs;
    } else {
      this.trouble = {status, error, since: this.trouble?.since ?? Date.now()};
    }
    this.show();
    return status === 200 ? Math.min(Math.max(document.paceSeconds * 1000, 500), kLongestMs) : kRetryMs;
  }

  async takeMoreEvents(page) {
    let {events} = page;
    while (events?.more) {
      const answer = await ask(`/api/v1/events?since=${this.seen.lastEvent}`);
      if (answer.status !== 200) return;
      events = answer.document;
      this.seen.takeEvents(events);
    }
  }

  // The form stays while somebody writes into it.
  askToken() {
    const {asksToken, tokenSent} = this;
    this.asksToken = true;
    this.tokenSent = false;
    this.trouble = {status: 401, error: '', since: Date.now()};
    if (!asksToken || tokenSent) this.state.replaceChildren(tokenForm(tokenSent, () => this.sendToken()));
    this.show();
  }

  sendToken() {
    this.tokenSent = true;
    this.clock.now();
  }

  show() {
    const begin = performance.now();
    const {page} = this.seen;
    show(this.place, page !== null && !this.asksToken);
    show(find('main').querySelector('.overview'), page !== null && !this.asksToken);
    if (!this.asksToken) this.state.replaceChildren(...this.stateNotices(page));
    if (page && !this.asksToken) {
      this.showOverview(page);
      this.view.update();
    }
    show(find('foot'), page !== null && !this.asksToken);
    this.showAge();
    if (page) document.documentElement.dataset.took = (performance.now() - begin).toFixed(1);
  }

  stateNotices(page) {
    if (page || !this.trouble) return [];
    if (this.trouble.status === 503) return [notice('The first look is under way', 'What it sees shows here in a moment.')];
    if (this.trouble.status === 0) return [notice('The server doesn’t answer', 'It may have ended. This page asks again every two seconds: start “zebmon serve” again, and it goes on.')];
    return [notice('The server refuses', words.sentence(this.trouble.error))];
  }

  showOverview(page) {
    this.chips.update(page.brokers.brokers, (broker) => broker.keyFile);
    const {findings, criticalCount, warningCount} = page.findings;
    const told = findings.filter((finding) => finding.severity === 'critical').slice(0, kMostTold)
      .map(({key, severity, object, effect}) => ({key, severity, text: `${words.sentence(object).slice(0, -1)}: ${effect}`}));
    const rest = criticalCount + warningCount - told.length;
    if (rest > 0 && told.length > 0) told.push({key: 'rest', severity: 'rest', text: `and ${words.counted(rest, 'more finding')}`});
    if (page.brokers.error || page.brokers.problem) told.unshift({key: 'directory', severity: 'critical', text: words.sentence(page.brokers.problem ?? page.brokers.error)});
    this.alarms.update(told, (alarm) => alarm.key);
    show(this.degraded, page.degraded.length > 0);
    setText(this.degraded, page.degraded.map(words.sentence).join(' '));
    this.setBadge('findings', criticalCount + warningCount, criticalCount > 0);
    this.setBadge('settings', page.settings.traps.length, false);
    setText(this.figures, `Times are in ${words.zone} (${words.offsetOf()}). Figures are of the last ${words.milliseconds(page.paceSeconds * 1000)}, unless they say otherwise.`);
  }

  setBadge(name, number, bad) {
    const {badge} = this.tabs.find((tab) => tab.name === name);
    show(badge, number > 0);
    setText(badge, number > 0 ? words.count(number) : '');
    badge.classList.toggle('bad', bad);
  }

  tick() {
    this.showAge();
    return 1000;
  }

  showAge() {
    const {page} = this.seen;
    const age = page ? (performance.now() - this.seen.lookAt) / 1000 : 0;
    const pace = page?.paceSeconds ?? 2;
    const tone = !page ? 'waiting' : age < 3 * pace + 1 ? 'live' : age < 30 + 3 * pace ? 'late' : 'stopped';
    const text = !page ? (this.asksToken ? 'Token needed' : 'Connecting')
      : tone === 'live' ? `Live, ${words.duration(age)} old`
      : `${this.trouble?.status === 0 ? 'No answer' : 'No new look'}: ${words.duration(age)} old`;
    setAttribute(find('age'), 'class', `age ${tone}`);
    setText(find('age-text'), text);
    document.body.classList.toggle('old', tone === 'late' || tone === 'stopped');
    const said = tone === 'late' || tone === 'stopped' ? 'What this page shows is old: nothing new has come.' : '';
    setText(find('said'), said);
  }
}

export const app = new App();
