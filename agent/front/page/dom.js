// SPDX-License-Identifier: Apache-2.0
// Elements. Whatever was read from somewhere becomes text, never markup.

// el('p', {class: 'quiet'}, 'text', child, ...). An attribute that is null or false is left out; one whose
// name begins with "on" is a listener. Children that are null are left out.
export function el(name, attributes = {}, ...children) {
  const element = document.createElement(name);
  set(element, attributes);
  append(element, children);
  return element;
}

const kSvg = 'http://www.w3.org/2000/svg';

export function svg(name, attributes = {}, ...children) {
  const element = document.createElementNS(kSvg, name);
  set(element, attributes);
  append(element, children);
  return element;
}

function set(element, attributes) {
  for (const [name, value] of Object.entries(attributes)) {
    if (value === null || value === undefined || value === false) continue;
    if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else element.setAttribute(name, value === true ? '' : value);
  }
}

function append(element, children) {
  for (const child of children.flat()) {
    if (child !== null && child !== undefined) element.append(child);
  }
}

// The next ones touch the document only where something is different.
export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

export function setAttribute(element, name, value) {
  if (value === null) element.removeAttribute(name);
  else if (element.getAttribute(name) !== value) element.setAttribute(name, value);
}

export function show(element, visible) {
  if (element.hidden === visible) element.hidden = !visible;
}

// Keeps the children of an element as a list of items: make(item) returns {element, update}, and
// update(item) is called each time. Items of one key keep their element, and with it focus and place.
export class List {
  constructor(parent, make) {
    this.parent = parent;
    this.make = make;
    this.rows = new Map();
  }

  update(items, keyOf) {
    const rows = new Map();
    let next = this.parent.firstElementChild;
    for (const item of items) {
      let key = keyOf(item);
      while (rows.has(key)) key += '+';
      const row = this.rows.get(key) ?? this.make(item);
      row.update?.(item);
      rows.set(key, row);
      if (row.element === next) next = next.nextElementSibling;
      else this.parent.insertBefore(row.element, next);
    }
    for (const [key, row] of this.rows) {
      if (!rows.has(key)) row.element.remove();
    }
    this.rows = rows;
  }
}

// A table with a caption for screen readers; `columns` are {title, number}. On a phone its rows become blocks.
export function table(caption, columns) {
  const body = el('tbody');
  const head = columns.map((column) => el('th', {scope: 'col', class: column.number ? 'number' : null}, column.title));
  const element = el('div', {class: 'scroll stacked', tabindex: '0', role: 'region', 'aria-label': caption},
    el('table', {}, el('caption', {class: 'hidden-words'}, caption), el('thead', {}, el('tr', {}, head)), body));
  return {element, body};
}

// A filter outlives a reload in the address, without a step in the browser's history for each letter.
export function keepInAddress(view, filter) {
  history.replaceState(null, '', `#/${view}${filter === '' ? '' : `/${encodeURIComponent(filter)}`}`);
}

export function quiet(...children) {
  return el('p', {class: 'quiet'}, ...children);
}

// A state of the whole view, designed rather than left over: a title, a sentence, what to do.
export function notice(title, ...paragraphs) {
  return el('section', {class: 'notice'}, el('h2', {}, title),
    paragraphs.map((text) => (typeof text === 'string' ? el('p', {}, text) : text)));
}
