// SPDX-License-Identifier: Apache-2.0
// What is wrong on the machine, what comes of it and what to do.
import {List, el, notice, quiet, setText, show} from './dom.js';
import * as words from './words.js';

class Finding {
  constructor() {
    this.severity = el('span', {class: 'severity'});
    this.object = el('h2');
    this.evidence = el('p');
    this.effect = el('p');
    this.remedy = el('p', {class: 'remedy'});
    this.command = el('code', {class: 'command', tabindex: '0'});
    this.element = el('article', {class: 'card finding'}, el('header', {}, this.severity, this.object), this.evidence, this.effect, this.remedy, this.command);
  }

  update(finding) {
    this.element.classList.toggle('critical', finding.severity === 'critical');
    setText(this.severity, finding.severity);
    setText(this.object, words.sentence(finding.object).slice(0, -1));
    setText(this.evidence, words.sentence(finding.evidence));
    setText(this.effect, words.sentence(`effect: ${finding.effect}`));
    setText(this.remedy, words.sentence(`what to do: ${finding.remedy}`));
    show(this.command, Boolean(finding.command));
    setText(this.command, finding.command ?? '');
  }
}

// What was not checked is never clean.
function wellNotice(looked, notChecked) {
  if (notChecked.length === 0) return notice('Nothing is wrong', `${looked}.`);
  return notice('Nothing wrong was found, but not all was checked', `${looked}, as far as this server’s user may see them. “sudo zebmon doctor” looks at all of it.`);
}

export class FindingsView {
  constructor(app) {
    this.app = app;
    this.title = 'Findings';
    const cards = el('div', {class: 'stack wide'});
    this.cards = new List(cards, () => new Finding());
    this.well = el('div');
    const unchecked = el('ul');
    this.unchecked = new List(unchecked, (text) => ({element: el('li', {}, words.sentence(text))}));
    this.summary = el('summary');
    this.rest = el('details', {class: 'card'}, this.summary,
      quiet('It may be well or not: this server’s user can’t see it. “sudo zebmon doctor” looks at all of it.'), unchecked);
    const degraded = el('ul');
    this.degraded = new List(degraded, (text) => ({element: el('li', {}, words.sentence(text))}));
    this.own = el('section', {class: 'card'}, el('h2', {}, 'About zebmon itself'), degraded);
    this.element = el('div', {}, el('h1', {class: 'hidden-words'}, 'Findings'), this.well, cards, this.rest, this.own);
  }

  update() {
    const {page} = this.app.seen;
    if (!page) return;
    const {findings, notChecked, brokerCount, lockCount} = page.findings;
    const looked = `${words.counted(brokerCount, 'broker')} and ${words.counted(lockCount, 'lock')} were looked at`;
    this.well.replaceChildren(...(findings.length > 0 ? [] : [wellNotice(looked, notChecked)]));
    this.cards.update(findings, (finding) => finding.key);
    setText(this.summary, `${words.counted(notChecked.length, 'thing was', 'things were')} not checked`);
    show(this.rest, notChecked.length > 0);
    this.unchecked.update(notChecked, (text) => text);
    show(this.own, page.degraded.length > 0);
    this.degraded.update(page.degraded, (text) => text);
  }
}
