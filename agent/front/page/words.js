// SPDX-License-Identifier: Apache-2.0
// Numbers, times and states as people read them. What is not known is a dash, never 0.

export const kUnknown = '–';

const kWhole = new Intl.NumberFormat('en', {maximumFractionDigits: 0});

const known = (value) => typeof value === 'number' && Number.isFinite(value);

export function count(value) {
  return known(value) ? kWhole.format(value) : kUnknown;
}

// "1 node", "2 nodes".
export function counted(value, one, many = one + 's') {
  return `${count(value)} ${value === 1 ? one : many}`;
}

// Three digits that tell something: 0.042, 1.24, 18.3, 250.
function digits(value) {
  const size = Math.abs(value);
  if (size === 0) return '0';
  if (size >= 100) return kWhole.format(value);
  return value.toFixed(size >= 10 ? 1 : size >= 0.1 ? 2 : 3);
}

export function rate(value) {
  return known(value) ? `${digits(value)}/s` : kUnknown;
}

export function milliseconds(value) {
  if (!known(value)) return kUnknown;
  if (value < 1000) return `${digits(value)} ms`;
  return value < 60000 ? `${digits(value / 1000)} s` : duration(value / 1000);
}

export function bytes(value) {
  if (!known(value)) return kUnknown;
  const units = ['B', 'KiB', 'MiB', 'GiB', 'TiB'];
  let at = 0;
  while (value >= 1024 && at < units.length - 1) {
    value /= 1024;
    ++at;
  }
  return `${at === 0 ? kWhole.format(value) : digits(value)} ${units[at]}`;
}

export function percent(value) {
  if (!known(value)) return kUnknown;
  return `${value > 0 && value < 1 ? '< 1' : Math.round(value)} %`;
}

// As the commands show it.
export const thread = (id) => (id >>> 0).toString(16).toUpperCase().padStart(8, '0');

// "3 s", "2 min", "5 h 10 min", "3 days".
export function duration(seconds) {
  if (!known(seconds)) return kUnknown;
  const whole = Math.max(0, Math.round(seconds));
  if (whole < 90) return `${whole} s`;
  if (whole < 5400) return `${Math.round(whole / 60)} min`;
  if (whole < 172800) {
    const minutes = Math.round((whole % 3600) / 60) % 60;
    return `${Math.floor(whole / 3600)} h${minutes > 0 ? ` ${minutes} min` : ''}`;
  }
  return `${kWhole.format(Math.round(whole / 86400))} days`;
}

export const zone = Intl.DateTimeFormat().resolvedOptions().timeZone || 'local time';

export function offsetOf(date = new Date()) {
  const minutes = -date.getTimezoneOffset();
  const two = (number) => String(number).padStart(2, '0');
  const size = Math.abs(minutes);
  return `UTC${minutes < 0 ? '−' : '+'}${two(Math.floor(size / 60))}:${two(size % 60)}`;
}

const kClock = new Intl.DateTimeFormat('en-GB', {hour: '2-digit', minute: '2-digit', second: '2-digit'});
const kDay = new Intl.DateTimeFormat('en-CA', {year: 'numeric', month: '2-digit', day: '2-digit'});

// Of seconds since 1970, in the browser's zone: "14:05:09" and "2026-11-22".
export const clock = (seconds) => kClock.format(new Date(seconds * 1000));
export const day = (seconds) => kDay.format(new Date(seconds * 1000));

// A time as RFC 3339 or in seconds since 1970, in the browser's zone; its day too unless that is today.
export function time(when) {
  const date = new Date(typeof when === 'number' ? when * 1000 : when ?? NaN);
  if (Number.isNaN(date.getTime())) return kUnknown;
  const day = kDay.format(date);
  return day === kDay.format(new Date()) ? kClock.format(date) : `${day} ${kClock.format(date)}`;
}

const kStates = {
  ok: 'well',
  noKeyFile: 'no key file',
  noSegment: 'no shared memory',
  noPermission: 'not readable by this user',
  notInitialised: 'being made',
  failed: 'can’t be read',
  damaged: 'damaged',
  noProcess: 'no process',
  stopped: 'a process is stopped',
  full: 'full',
};

export const stateWord = (state) => kStates[state] ?? state;

// How much a state matters: "good", "warn" or "bad".
export function stateTone(state) {
  if (state === 'ok') return 'good';
  return state === 'noProcess' || state === 'notInitialised' ? 'warn' : 'bad';
}

export const brokerName = (broker) => broker?.label || broker?.uuid || 'a broker without a name';

export const changeWord = (change) =>
  ({reset: 'was reset', came: 'is new', went: 'is gone', torn: 'was being written', notCollected: 'measures nothing yet'})[change] ?? '';

export const typeWord = (type) =>
  ({input: 'input', output: 'output', subFlowInput: 'sub-flow input', subFlowOutput: 'sub-flow output', other: 'inside'})[type] ?? type;

// A sentence begins with a capital and ends with a full stop.
export function sentence(text) {
  if (!text) return '';
  const begun = text[0].toUpperCase() + text.slice(1);
  return /[.!?]$/.test(begun) ? begun : `${begun}.`;
}
