// SPDX-License-Identifier: Apache-2.0
// Curves over time, drawn by uPlot, with marks where something happened.
import {el, setText, show, svg} from './dom.js';
import * as words from './words.js';

const kRem = parseFloat(getComputedStyle(document.documentElement).fontSize);
const kHeight = 13 * kRem;

// Seconds between two times below a curve.
const kIncrements = [1, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200, 86400, 172800, 432000, 864000];

// The day stands below the first time of it.
export function timesOf(times, least, increment) {
  let before = '';
  return times.map((time) => {
    const day = words.day(time);
    if (increment >= 86400) return day;
    const clock = words.clock(time).slice(0, increment < 60 ? 8 : 5);
    if (time < least || day === before) return clock;
    before = day;
    return `${clock}\n${day}`;
  });
}

const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

function markLines(chart) {
  return (plot) => {
    const {ctx, bbox} = plot;
    ctx.save();
    ctx.strokeStyle = colour('--warm');
    ctx.fillStyle = colour('--warm');
    ctx.lineWidth = devicePixelRatio;
    ctx.setLineDash([4 * devicePixelRatio, 3 * devicePixelRatio]);
    for (const mark of chart.marks) {
      const x = Math.round(plot.valToPos(mark.until, 'x', true));
      if (x < bbox.left || x > bbox.left + bbox.width) continue;
      ctx.beginPath();
      ctx.moveTo(x, bbox.top);
      ctx.lineTo(x, bbox.top + bbox.height);
      ctx.stroke();
    }
    ctx.restore();
  };
}

// {element, show(columns, {from, until, marks}), resize(), close()}; `series` are [name, column, colour].
export function curve(title, format, series) {
  return new Curve(title, format, series);
}

class Curve {
  constructor(title, format, series) {
    this.format = format;
    this.series = series;
    this.name = title;
    this.marks = [];
    this.plot = null;
    this.canvas = el('div', {class: 'plot', role: 'img'});
    this.told = el('p', {class: 'told'});
    this.keys = series.map(([name, , tone]) => el('li', {},
      svg('svg', {viewBox: '0 0 12 12', class: `key ${tone.slice(2)}`, 'aria-hidden': 'true'}, svg('rect', {width: 12, height: 12, rx: 3})), name));
    this.element = el('section', {class: 'card chart'}, el('h2', {}, title), series.length < 2 ? null : el('ul', {class: 'keys plain'}, this.keys), this.canvas, this.told);
    this.scheme = matchMedia('(prefers-color-scheme: dark)');
    this.repaint = () => this.again();
    this.scheme.addEventListener('change', this.repaint);
  }

  options() {
    // A font of whole pixels: uPlot takes the digits behind a point for its size.
    const axis = {stroke: colour('--quiet'), grid: {stroke: colour('--line'), width: 1}, ticks: {show: false}, font: `${Math.round(0.78 * kRem)}px system-ui, sans-serif`};
    return {
      width: Math.max(this.canvas.clientWidth, 200),
      height: kHeight,
      legend: {show: false},
      cursor: {y: false, points: {size: 7}},
      scales: {x: {time: true, range: () => [this.from, this.until]}, y: {range: (plot, low, high) => [0, Math.max(high ?? 0, 1e-3) * 1.15]}},
      axes: [{...axis, size: 3 * kRem, space: 5.5 * kRem, incrs: kIncrements, values: (plot, times, axis, space, increment) => timesOf(times, this.from, increment)}, {...axis, size: 5 * kRem, space: 2.5 * kRem, values: (plot, ticks) => ticks.map(this.format)}],
      series: [{}, ...this.series.map(([name, , tone], i) => ({label: name, stroke: colour(tone), width: 2,
        fill: this.series.length === 1 && i === 0 ? colour('--curve-fill') : undefined}))],
      hooks: {draw: [markLines(this)], setCursor: [() => this.tell()]},
    };
  }

  show(columns, {from, until, marks}) {
    this.columns = columns;
    this.marks = marks;
    this.from = from;
    this.until = until;
    const data = [columns.time, ...this.series.map(([, column]) => columns[column])];
    const drawn = this.series.map(([, column]) => columns[column].some((value) => value !== null));
    const empty = !drawn.includes(true);
    show(this.canvas, !empty);
    this.keys.forEach((key, i) => show(key, drawn[i]));
    if (this.plot) this.plot.setData(data);
    else if (!empty && this.canvas.clientWidth > 0) this.plot = new uPlot(this.options(), data, this.canvas);
    this.tell();
  }

  again() {
    if (!this.plot) return;
    this.plot.destroy();
    this.plot = null;
    this.show(this.columns, this);
  }

  resize() {
    const width = this.canvas.clientWidth;
    if (this.plot && width > 0 && width !== this.plot.width) this.plot.setSize({width, height: kHeight});
    else if (!this.plot && this.columns) this.show(this.columns, this);
  }

  close() {
    this.scheme.removeEventListener('change', this.repaint);
    this.plot?.destroy();
    this.plot = null;
  }

  // In words: what is under the pointer, else the newest and the extremes.
  tell() {
    const at = this.plot?.cursor.idx;
    const {time} = this.columns;
    const pointed = at !== null && at !== undefined && at < time.length;
    const some = this.series.filter(([, column]) => this.columns[column].some((value) => value !== null));
    const parts = (some.length > 0 ? some : this.series.slice(0, 1)).map(([name, column]) => {
      const values = this.columns[column];
      if (pointed) return `${name}: ${this.format(values[at])}`;
      const known = values.filter((value) => value !== null);
      if (known.length === 0) return 'Nothing yet';
      return `${name}: ${this.format(known.at(-1))}, from ${this.format(Math.min(...known))} to ${this.format(Math.max(...known))}`;
    });
    const text = (pointed ? `${words.time(time[at])} · ` : '') + parts.join(' · ');
    setText(this.told, text);
    this.canvas.setAttribute('aria-label', `${this.name}. ${text}`);
  }
}
