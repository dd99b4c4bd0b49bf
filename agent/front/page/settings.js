// SPDX-License-Identifier: Apache-2.0
// The configuration in force, and what in it doesn't do what it seems to.
import {List, el, notice, quiet, setText, show, table} from './dom.js';
import * as words from './words.js';

class Row {
  constructor() {
    this.key = el('th', {scope: 'row'});
    this.value = el('td');
    this.source = el('td', {class: 'where'});
    this.element = el('tr', {}, this.key, this.value, this.source);
  }

  update(setting) {
    setText(this.key, setting.key);
    setText(this.value, setting.effective ?? words.kUnknown);
    setText(this.source, setting.line === null ? 'default' : `line ${setting.line}${setting.default ? ', its default counts' : ''}`);
  }
}

function trapCard(trap) {
  return el('article', {class: 'card finding'}, el('header', {}, el('span', {class: 'severity'}, trap.write ? 'trap' : 'restart'),
    el('h2', {}, trap.key ?? words.brokerName(trap.broker))),
    el('p', {}, words.sentence(trap.problem)), trap.raw ? el('p', {}, 'It says ', el('code', {}, trap.raw)) : null,
    trap.write ? el('p', {class: 'remedy'}, 'Write this instead: ') : null, trap.write ? el('code', {class: 'command', tabindex: '0'}, trap.write) : null);
}

export class SettingsView {
  constructor(app) {
    this.app = app;
    this.title = 'Settings';
    this.state = el('div');
    this.file = el('p', {class: 'where'});
    const traps = el('div', {class: 'stack'});
    this.traps = new List(traps, (trap) => ({element: trapCard(trap)}));
    const rows = table('Settings', [{title: 'Setting'}, {title: 'In force'}, {title: 'From'}]);
    this.rows = new List(rows.body, () => new Row());
    const places = el('ul', {class: 'plain'});
    this.places = new List(places, (place) => ({element: el('li', {}, el('code', {}, place.path), ` ${place.state}${place.because ? `, because ${place.because}` : ''}`)}));
    this.element = el('div', {}, el('h1', {class: 'hidden-words'}, 'Settings'), this.state, traps,
      el('section', {class: 'card'}, this.file, rows.element), el('section', {class: 'card'}, el('h2', {}, 'Where the library looks'), places),
      quiet('A process reads its settings when it starts.'));
  }

  update() {
    const {page} = this.app.seen;
    if (!page) return;
    const {settings} = page;
    const wrong = [...settings.traps, ...settings.restarts];
    this.state.replaceChildren(...(wrong.length > 0 ? [] : [settings.file ? notice('Every line does what it says', 'No trap was found in the file, and every broker follows it.')
      : notice('Every setting has its default', 'No configuration file can be read; below is where the library looks for one.')]));
    this.traps.update(wrong, (trap) => `${trap.line}${trap.problem}`);
    setText(this.file, settings.file ? `${settings.file}${settings.changed ? `, changed ${words.time(settings.changed)}` : ''}` : 'No configuration file can be read, so every setting has its default.');
    this.rows.update(settings.settings, (setting) => setting.key);
    this.places.update(settings.places, (place) => place.path);
  }
}
