// SPDX-License-Identifier: Apache-2.0
// Asks the server: one short request an interval, none while the tab is hidden.

const kTokenKey = 'zebmon.token';
const kPatienceMs = 10000;
const kAfterFaultMs = 5000;  // a turn that failed says so on the console, and the next one follows

export function setToken(token) {
  sessionStorage.setItem(kTokenKey, token.trim());
}

// {status, document, error}: status 0 when nobody answered. Never throws.
export async function ask(target, signal) {
  const early = target === kFirst ? first : null;
  first = null;
  return early ?? request(target, signal);
}

async function request(target, signal) {
  const token = sessionStorage.getItem(kTokenKey);
  // What no header can hold is no token; the server would never see it.
  if (token && !/^[!-~]+$/.test(token)) return {status: 401, document: null, error: ''};
  const headers = token ? {Authorization: `Bearer ${token}`} : {};
  const late = AbortSignal.timeout(kPatienceMs);
  try {
    const reply = await fetch(target, {headers, cache: 'no-store', credentials: 'omit',
      signal: signal ? AbortSignal.any([signal, late]) : late});
    const document = await reply.json();
    return {status: reply.status, document, error: document.error ?? ''};
  } catch (error) {
    if (signal?.aborted) return {status: -1, document: null, error: ''};
    return {status: 0, document: null, error: 'the server doesn’t answer'};
  }
}

// Calls `turn` at once and then again and again; it returns in how many milliseconds.
export class Clockwork {
  constructor(turn) {
    this.turn = turn;
    this.timer = 0;
    this.running = false;
    this.again = false;
    document.addEventListener('visibilitychange', () => (document.hidden ? this.pause() : this.now()));
  }

  pause() {
    clearTimeout(this.timer);
    this.timer = 0;
  }

  // Also ends a wait. While a turn is under way, another one follows it.
  async now() {
    this.pause();
    if (this.running) {
      this.again = true;
      return;
    }
    this.running = true;
    this.again = false;
    let wait = kAfterFaultMs;
    try {
      wait = await this.turn();
    } finally {
      this.running = false;
      if (this.again && !document.hidden) this.now();
      else if (!document.hidden) this.timer = setTimeout(() => this.now(), wait);
    }
  }
}

// What every view needs first is on its way while the rest of the page still loads.
const kFirst = '/api/v1/page?since=0';
let first = request(kFirst);
