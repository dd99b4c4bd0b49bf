// SPDX-License-Identifier: Apache-2.0
// What the page has seen since it was opened: the last look, a window of samples, the newest events, and the
// names of nodes that were there, which outlive a reload.

const kSamples = 450;  // of a node: a quarter of an hour at one every two seconds
const kMostNodes = 2000;
const kMostEvents = 10000;
const kNamesKey = 'zebmon.names';

export const keyOf = (...names) => JSON.stringify(names);

// The same columns as a point of the history: time, seconds, messages, bytes, elapsed and queued µs.
class Samples {
  constructor() {
    this.points = [];
  }

  add(point) {
    this.points.push(point);
    if (this.points.length > kSamples * 1.2) this.points.splice(0, this.points.length - kSamples);
  }
}

function pointOf(time, seconds, node) {
  return [time, seconds, node.messageCount, node.sizeSumBytes, node.elapsedSumMs === null ? null : node.elapsedSumMs * 1000,
    node.queuedMeanMs === null ? null : node.queuedSumMs * 1000];
}

export class Seen {
  constructor() {
    this.page = null;
    this.openedAt = Date.now() / 1000;
    this.lookAt = 0;  // of the last look, by performance.now()
    this.samples = new Map();  // of nodes by key
    this.sums = new Map();  // messages of nodes by key, over looks without a reset
    this.areas = new Map();  // [first time, used then] by broker and area
    this.events = [];
    this.lastEvent = 0;
    this.missed = 0;
    this.names = this.loadNames();
  }

  // Takes an answer; false when it is of a look that was taken before.
  take(page) {
    const lookAt = performance.now() - page.ageSeconds * 1000;
    const fresh = !this.page || page.collectedAt !== this.page.collectedAt || lookAt - this.lookAt > 100;
    this.lookAt = lookAt;
    this.page = page;
    if (page.events) this.takeEvents(page.events);
    if (!fresh) return false;
    this.takeFlows(page);
    this.takeAreas(page);
    return true;
  }

  // When the look was taken, by this machine's clock, in seconds since 1970.
  wall() {
    return (Date.now() - (performance.now() - this.lookAt)) / 1000;
  }

  takeFlows(page) {
    if (!page.flows) return;
    const time = this.wall();
    const names = [];
    for (const broker of page.flows.brokers) {
      for (const flow of broker.flows) {
        const sound = !broker.reset && flow.nodes.every((node) => node.change === 'measured');
        for (const node of flow.nodes) {
          const place = [broker.uuid, flow.executionGroup, flow.messageFlow, node.label];
          names.push([...place, broker.label, flow.chain === 'unknown' ? false : node.nestedIn, node.type]);
          this.takeNode(keyOf(...place), node, time, page.flows.intervalSeconds, sound);
        }
      }
    }
    this.saveNames(names);
  }

  takeNode(key, node, time, seconds, sound) {
    if (!sound) this.sums.delete(key);
    if (node.messageCount === null) return;
    if (sound) {
      const sum = this.sums.get(key) ?? {messages: 0, since: time - seconds};
      sum.messages += node.messageCount;
      this.sums.set(key, sum);
    }
    if (!this.samples.has(key)) {
      if (this.samples.size >= kMostNodes) return;
      this.samples.set(key, new Samples());
    }
    this.samples.get(key).add(pointOf(time, seconds, node));
  }

  takeAreas(page) {
    for (const broker of page.capacity.brokers) {
      for (const area of broker.areas) {
        const key = keyOf(broker.uuid, area.name);
        const first = this.areas.get(key);
        if (!first || area.usedBytes < first.used) this.areas.set(key, {time: this.wall(), used: area.usedBytes});
      }
    }
  }

  takeEvents(page) {
    const behind = page.last < this.lastEvent;  // the server started again, with its clock set back
    if (behind || page.first > this.lastEvent + 1) this.events = [];  // it gives all that it keeps
    this.events.push(...page.events);
    this.lastEvent = behind ? 0 : page.last;
    this.missed = page.missed;
    if (this.events.length > kMostEvents) this.events.splice(0, this.events.length - kMostEvents);
  }

  pointsOf(key) {
    return this.samples.get(key)?.points ?? [];
  }

  // How many messages got to `outer` and not to `inner` since a common moment; null while nobody can tell.
  lost(outer, inner, inFlight) {
    const out = this.sums.get(outer);
    const into = this.sums.get(inner);
    if (!out || !into || out.since !== into.since) return null;
    const messages = out.messages - into.messages;
    return {messages: messages > inFlight ? messages : 0, of: out.messages, seconds: this.wall() - out.since};
  }

  loadNames() {
    try {
      const names = JSON.parse(sessionStorage.getItem(kNamesKey) ?? '[]');
      return Array.isArray(names) ? names.filter((name) => Array.isArray(name) && name.length === 7) : [];
    } catch {
      return [];
    }
  }

  // Names of brokers that are gone stay; those of a broker that is there are replaced.
  saveNames(names) {
    const present = new Set(names.map((name) => name[0]));
    const all = [...names, ...this.names.filter((name) => !present.has(name[0]))].slice(0, kMostNodes);
    const text = JSON.stringify(all);
    if (text === this.savedNames) return;
    this.savedNames = text;
    this.names = all;
    try {
      sessionStorage.setItem(kNamesKey, text);
    } catch {
      // A full store only means that names don't outlive a reload.
    }
  }

  isPresent(uuid) {
    return this.page.flows === null || this.page.flows.brokers.some((broker) => broker.uuid === uuid);
  }

  // Names of nodes whose brokers are not there now.
  gone() {
    return this.names.filter((name) => !this.isPresent(name[0]));
  }
}
