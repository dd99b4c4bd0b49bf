// SPDX-License-Identifier: Apache-2.0
// What a person does with the page, and what the page must never do. Started by page_test.py.
import assert from 'node:assert/strict';
import {mkdirSync} from 'node:fs';
import {createRequire} from 'node:module';

const {servers, stopped, secret, screenshots, tools} = JSON.parse(process.argv[2]);
const {chromium} = createRequire(`${tools}/`)('playwright-core');
const kFlags = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync'];
const kSizes = {phone: [360, 740], laptop: [1280, 900], wall: [3840, 2160]};
const kHostile = '<img src=x onerror=hacked=1>';
const kShop = '5f0c3a52-7d1e-4b7a-9c55-2f6d0e8a4b11';
// What tells that a view is complete.
const kSeen = {flows: 'Movement out', node: /takes: [\d.]+ ms, from/, events: 'refused', message: /^[2-9] events/, findings: 'Shared memory of broker', capacity: 'more nodes',
  locks: /were looked at|is held|All locks are free|held at the last look/, settings: 'ZEBMemorySize'};
const kNode = '#/node/' + [kShop, 'orders', 'Payment', 'Into authorisation'].map(encodeURIComponent).join('/');

mkdirSync(screenshots, {recursive: true});
const browser = await chromium.launch({executablePath: '/usr/bin/chromium', args: kFlags});

// Everything that a page must not do is collected, and looked at after each test.
class Tab {
  static async open(server, options = {}) {
    const context = await browser.newContext({viewport: {width: 1280, height: 900}, ...options});
    const tab = new Tab();
    tab.server = server;
    tab.context = context;
    tab.said = [];
    tab.requests = [];
    tab.page = await context.newPage();
    tab.page.setDefaultTimeout(15000);
    tab.page.on('console', (message) => tab.said.push(message.text()));
    tab.page.on('pageerror', (error) => tab.said.push(error.stack));
    tab.page.on('dialog', (dialog) => tab.said.push(dialog.message()));
    tab.page.on('request', (request) => tab.requests.push(request));
    return tab;
  }

  go(hash = '') {
    return this.page.goto(this.server.address + '/' + hash);
  }

  // Another view of the same document.
  view(hash) {
    return this.page.evaluate((to) => (location.hash = to), hash);
  }

  see(text) {
    return this.page.getByText(text).first().waitFor();
  }

  texts(selector) {
    return this.page.locator(selector).allTextContents();
  }

  async close(allowed = /^$/) {
    const foreign = this.requests.map((request) => request.url()).filter((url) => !url.startsWith(this.server.address + '/'));
    assert.deepEqual(foreign, [], 'requests to others');
    assert.deepEqual(this.said.filter((text) => !allowed.test(text)), [], 'messages on the console');
    await this.page.unrouteAll({behavior: 'ignoreErrors'});
    await this.context.close();
  }
}

const tests = {
  async 'flows are live'() {
    const tab = await Tab.open(servers.open);
    await tab.go();
    await tab.see('Payment in');
    const rate = tab.page.locator('.flow', {hasText: 'Payment'}).locator('dd').first();
    await tab.page.waitForFunction((element) => /^[1-9][\d.,]*\/s$/.test(element.textContent), await rate.elementHandle());
    const before = await rate.textContent();
    await tab.page.waitForFunction(([element, old]) => element.textContent !== old, [await rate.elementHandle(), before]);
    assert.match(await tab.page.locator('#age-text').textContent(), /^Live, \d s old$/);
    assert.match((await tab.texts('.spark title'))[0], /messages a second in the last/);
    await tab.close();
  },

  async 'figures are asked for once, while the page still loads'() {
    const tab = await Tab.open(servers.open);
    const asked = tab.page.waitForRequest(/\/api\/v1\/page/);
    await tab.page.route('**/page/app.js', async (route) => {
      await asked;
      await route.continue();
    });
    await tab.go();
    await tab.see('Payment in');
    assert.equal(tab.requests.filter((request) => request.url().endsWith('/api/v1/page?since=0')).length, 1);
    await tab.close();
  },

  async 'the slow node is said in words and marked'() {
    const tab = await Tab.open(servers.open);
    await tab.go();
    await tab.see(/Look at "Into authorisation": .* are spent between it and "Out of authorisation"/);
    await tab.page.locator('.box.slow', {hasText: 'Into authorisation'}).waitFor();
    const bar = await tab.page.locator('.box.slow .bar span').first().evaluate((element) => getComputedStyle(element).transform);
    assert.notEqual(bar, 'matrix(0, 0, 0, 1, 0, 0)');
    await tab.close();
  },

  async 'a loss stands between two nodes'() {
    const tab = await Tab.open(servers.open);
    await tab.go();
    const loss = tab.page.locator('.loss:visible').first();
    await loss.waitFor();
    assert.match(await loss.getAttribute('aria-label'), /that were in “Into authorisation” did not get to “Out of authorisation”/);
    await tab.close();
  },

  async 'a flow is found by the keyboard'() {
    const tab = await Tab.open(servers.open);
    await tab.go();
    await tab.see('StockMovement');
    await tab.page.keyboard.press('/');
    await tab.page.keyboard.type('movement in');
    await tab.see(/^1 of \d flows$/);
    assert.deepEqual(await tab.texts('.flow h2'), ['StockMovement']);
    await tab.page.keyboard.press('Escape');
    await tab.close();
  },

  async 'a reload keeps the view of a node, whose curves are drawn'() {
    const tab = await Tab.open(servers.open);
    await tab.go();
    await tab.page.locator('a.box', {hasText: 'Into authorisation'}).click();
    await tab.page.locator('.u-wrap canvas').first().waitFor();
    await tab.page.reload();
    assert.equal(new URL(tab.page.url()).hash, kNode);
    await tab.page.locator('h1', {hasText: 'Into authorisation'}).waitFor();
    await tab.page.waitForFunction(() => /takes: [\d.]+ ms, from/.test(document.querySelector('.told')?.textContent));
    assert.equal(await tab.page.locator('.u-wrap canvas').count(), 3);
    await tab.page.getByRole('button', {name: '6 h'}).click();
    assert.equal(await tab.page.getByRole('button', {name: '6 h'}).getAttribute('aria-pressed'), 'true');
    await tab.see(/History|history|One point is/);
    await tab.close();
  },

  async 'events are filtered and counted by text'() {
    const tab = await Tab.open(servers.open);
    await tab.go('#/events');
    await tab.see('The bank refused the card');
    await tab.page.getByLabel('Show events that have').fill('REFUSED');
    await tab.page.waitForFunction(() => document.querySelectorAll('.counts li').length === 1);
    assert.ok((await tab.texts('td.text')).every((text) => text.includes('refused')));
    assert.match((await tab.texts('.counts .number'))[0], /^[1-9]/);
    await tab.page.getByLabel('Kind').selectOption('message');
    await tab.see(/^0 events of/);
    await tab.page.getByLabel('Kind').selectOption('exception');
    await tab.page.getByRole('button', {name: 'Hold still'}).click();
    const newest = (await tab.texts('td.id'))[0];
    await tab.page.waitForResponse(/api\/v1\/page/);
    await tab.page.waitForResponse(/api\/v1\/page/);
    assert.equal((await tab.texts('td.id'))[0], newest);
    await tab.page.reload();
    await tab.see('refused');
    assert.equal(await tab.page.getByLabel('Show events that have').inputValue(), 'REFUSED');
    await tab.close();
  },

  async 'a message ID opens its way as a timeline, also after a reload'() {
    const tab = await Tab.open(servers.open);
    await tab.go('#/events/refused');
    await tab.page.locator('td.id a').first().click();
    await tab.page.locator('.way li').nth(1).waitFor();
    assert.ok((await tab.texts('.way strong')).includes('Payment in'));
    assert.match(await tab.page.locator('.way li').first().textContent(), /, thread [0-9A-F]{8}$/);
    const url = tab.page.url();
    await tab.page.reload();
    await tab.page.locator('.way li').nth(1).waitFor();
    assert.equal(tab.page.url(), url);
    await tab.close();
  },

  async 'names are shown and never interpreted'() {
    const tab = await Tab.open(servers.open);
    for (const view of ['#/flows', '#/events', '#/capacity', '#/findings', '#/locks', '#/settings',
      '#/node/' + ['hostile', kHostile, kHostile, kHostile].map(encodeURIComponent).join('/'), '#/events/' + encodeURIComponent(kHostile), '#/message/' + encodeURIComponent(kHostile)]) {
      await tab.go(view);
      await tab.page.locator('.chip', {hasText: kHostile}).waitFor();
      assert.match(await tab.page.locator('main').textContent(), /<img src=x/, view);
      assert.equal(await tab.page.locator('main img, main b, main script, main iframe').count(), 0, view);
      assert.equal(await tab.page.evaluate(() => typeof hacked), 'undefined', view);
    }
    await tab.go('#/flows');
    assert.equal((await tab.texts('.flow h2')).filter((text) => text === kHostile).length, 1);
    await tab.close();
  },

  async 'a token is asked for once and never in an address'() {
    const tab = await Tab.open(servers.token);
    await tab.go(kNode);
    const field = tab.page.getByLabel('Token', {exact: true});
    await field.fill('wrong');
    await tab.page.keyboard.press('Enter');
    await tab.see('The server doesn’t take that token.');
    await tab.page.screenshot({path: `${screenshots}/token.png`});
    await field.fill(secret);
    await tab.page.keyboard.press('Enter');
    await tab.page.locator('h1', {hasText: 'Into authorisation'}).waitFor();
    await tab.page.reload();
    await tab.page.locator('h1', {hasText: 'Into authorisation'}).waitFor();
    assert.equal(await field.count(), 0);
    assert.ok(tab.requests.every((request) => !request.url().includes(secret)));
    assert.equal(await tab.page.evaluate(() => localStorage.length + document.cookie.length), 0);
    await tab.close(/status of 401/);
  },

  async 'a token that somebody is writing stays, and one that no header can hold is refused'() {
    const tab = await Tab.open(servers.token);
    await tab.page.clock.install();
    await tab.go();
    const field = tab.page.getByLabel('Token', {exact: true});
    await field.pressSequentially('half');
    for (let i = 0; i < 2; ++i) {  // the answer to the first one is shown when the second one is asked
      const asked = tab.page.waitForRequest(/api\/v1\/page/);
      await tab.page.clock.fastForward(61000);
      await asked;
    }
    assert.equal(await field.inputValue(), 'half');
    await field.fill(`“${secret}”`);
    await tab.page.keyboard.press('Enter');
    await tab.see('The server doesn’t take that token.');
    await tab.close(/status of 401/);
  },

  async 'a view that fails is said, and the page goes on'() {
    const tab = await Tab.open(servers.open);
    await tab.page.clock.install();
    let broken = true;
    await tab.page.route('**/api/v1/page*', async (route) => {
      const answer = await route.fetch();
      const page = await answer.json();
      if (broken) delete page.findings;
      await route.fulfill({response: answer, json: page});
    });
    const failed = tab.page.waitForEvent('pageerror');
    await tab.go();
    await failed;
    broken = false;
    await tab.page.clock.fastForward(6000);
    await tab.see('Payment in');
    await tab.close(/TypeError/);
  },

  async 'what was not checked is never clean'() {
    const tab = await Tab.open(servers.open);
    let notChecked = ['locks: nobody may'];
    await tab.page.route('**/api/v1/page*', async (route) => {
      const answer = await route.fetch();
      const page = await answer.json();
      page.findings = {...page.findings, findings: [], notChecked};
      await route.fulfill({response: answer, json: page});
    });
    await tab.go('#/findings');
    await tab.see('Nothing wrong was found, but not all was checked');
    assert.doesNotMatch(await tab.page.locator('main').textContent(), /Nothing is wrong/);
    await tab.see(/“sudo zebmon doctor”/);
    notChecked = [];
    await tab.see('Nothing is wrong');
    await tab.close();
  },

  async 'what is missing is said: no broker, no events'() {
    const tab = await Tab.open(servers.empty);
    await tab.go();
    await tab.see('No broker is here yet');
    await tab.page.screenshot({path: `${screenshots}/empty.png`});
    await tab.view('#/events');
    await tab.see('Events are off');
    await tab.view('#/locks');
    await tab.page.locator('.notice').waitFor();
    await tab.close();
  },

  // The answer of a real server, with brokers made worse.
  async 'damaged and closed brokers are told apart from missing ones'() {
    const tab = await Tab.open(servers.open);
    await tab.page.route('**/api/v1/page*', async (route) => {
      const answer = await route.fetch();
      const page = await answer.json();
      const [broker] = page.brokers.brokers;
      page.brokers.brokers = [{...broker, label: 'A', state: 'damaged', problem: '3 places in its memory can’t be read'},
        {...broker, label: null, keyFile: '/tmp/b', state: 'noPermission', problem: 'this user may not read its memory'}];
      page.degraded = ['3 brokers are left out: allow more with --max-brokers'];
      page.flows = {...page.flows, brokers: []};
      await route.fulfill({response: answer, json: page});
    });
    await tab.go();
    await tab.see('No flow can be shown');
    await tab.see('This user may not read its memory');
    await tab.see('3 brokers are left out: allow more with --max-brokers.');
    assert.deepEqual(await tab.page.locator('.chip.bad').count(), 2);
    await tab.page.screenshot({path: `${screenshots}/closed.png`});
    await tab.close();
  },

  // By documents as the server would give them, so that there are marks and a change to see.
  async 'a history is drawn with its marks, and what changed is listed'() {
    const tab = await Tab.open(servers.open);
    await tab.page.route('**/api/v1/**', (route) => answerAsIf(route, new URL(route.request().url())));
    await tab.go(kNode);
    await tab.see(/^The history begins at .* One point is 3 s\.$/);
    await tab.see('figures went back to 0; what was counted in 4 s before is not known');
    await tab.see('“Payment” was deployed');
    assert.deepEqual((await tab.texts('.marks time')).toSorted().toReversed(), await tab.texts('.marks time'), 'the newest first');
    await tab.see(/^Into authorisation: own time 9\.10 ms → 14\.2 ms since .*, 1 minute after “Payment” was deployed$/);
    await tab.page.waitForFunction(() => document.querySelector('.told').textContent.includes('its own: 20.0 ms, from 20.0 ms to 20.0 ms'));
    assert.deepEqual(await tab.texts('.keys li:visible'), ['takes', 'its own'], 'it is no input node, and measures no waits');
    await tab.page.screenshot({path: `${screenshots}/history.png`, fullPage: true});
    await tab.view('#/flows');
    await tab.see('Not here now: LATE');
    await tab.close();
  },

  async 'a curve is cut where nobody looked, and its times have a day'() {
    const tab = await Tab.open(servers.open);
    await tab.go();
    const times = await tab.page.evaluate(async () => {
      const {cut} = await import('/page/node.js');
      return cut([[0, 2, 5], [2, 2, 5], [20, 2, 5]], 2).map(([time, seconds]) => [time, seconds]);
    });
    assert.deepEqual(times, [[0, 2], [2, 2], [4, 0], [20, 2]]);
    const shown = await tab.page.evaluate(async () => {
      const {timesOf} = await import('/page/curves.js');
      const midnight = new Date(2026, 2, 3).getTime() / 1000;
      return [timesOf([midnight - 60, midnight, midnight + 60], 0, 60), timesOf([midnight], 0, 5), timesOf([midnight], 0, 86400)];
    });
    assert.deepEqual(shown, [['23:59\n2026-03-02', '00:00\n2026-03-03', '00:01'], ['00:00:00\n2026-03-03'], ['2026-03-03']]);
    await tab.close();
  },

  async 'events are kept once when the server starts again'() {
    const tab = await Tab.open(servers.open);
    await tab.go();
    const kept = await tab.page.evaluate(async () => {
      const {Seen} = await import('/page/seen.js');
      const seen = new Seen();
      const take = (first, last, ...numbers) => {
        seen.takeEvents({first, last, missed: 0, events: numbers.map((sequence) => ({sequence}))});
        return `${seen.events.map((event) => event.sequence)} of ${seen.lastEvent}`;
      };
      return [take(1, 2, 1, 2), take(1, 3, 3), take(1000001, 1000003, 1000001, 1000002, 1000003), take(5, 6)];
    });
    assert.deepEqual(kept, ['1,2 of 2', '1,2,3 of 3', '1000001,1000002,1000003 of 1000003', ' of 0']);
    await tab.close();
  },

  async 'old data is said and coloured'() {
    const tab = await Tab.open(servers.open);
    await tab.go();
    await tab.see('Payment in');
    process.kill(servers.open.process, 'SIGSTOP');
    await tab.page.locator('#age.late').waitFor();
    await tab.page.screenshot({path: `${screenshots}/old.png`});
    assert.match(await tab.page.locator('#said').textContent(), /is old/);
    process.kill(servers.open.process, 'SIGCONT');
    await tab.page.locator('#age.live').waitFor();
    // A request that waited too long for the stopped server is closed by it: the browser says so.
    await tab.close(/net::ERR_/);
  },

  async 'a hidden tab asks for nothing'() {
    const tab = await Tab.open(servers.open);
    await tab.page.clock.install();
    await tab.go();
    await tab.see('Payment in');
    const hide = (hidden) => tab.page.evaluate((value) => {
      Object.defineProperty(document, 'hidden', {configurable: true, get: () => value});
      document.dispatchEvent(new Event('visibilitychange'));
    }, hidden);
    await hide(true);
    await tab.page.waitForLoadState('networkidle');
    const asked = tab.requests.length;
    await tab.page.clock.fastForward(60000);
    assert.equal(tab.requests.length, asked);
    const next = tab.page.waitForRequest(/api\/v1\/page/);
    await hide(false);
    await next;
    await tab.close();
  },

  async 'a recorded day forecasts when there is no more room'() {
    const tab = await Tab.open(servers.open);
    await tab.page.route('**/api/v1/history', (route) => answerAsIf(route, new URL(route.request().url())));
    await tab.go('#/capacity');
    await tab.see(/^By the history, it grew by 4[.0]* KiB in 12 days: full in 177 days if that goes on\.$/);
    await tab.page.screenshot({path: `${screenshots}/capacity-forecast.png`});
    lastLook = ago(3 * 86400);
    await tab.page.reload();
    await tab.see(/if that goes on\. Its last look was 3 days ago\.$/);
    lastLook = ago(0);
    await tab.page.unroute('**/api/v1/history');
    await tab.page.reload();
    await tab.see(/The history has [^;]+ of this; a forecast from it needs a day\.$/);
    await tab.page.route('**/api/v1/history', (route) => answerAsIf(route, new URL(route.request().url())));
    await tab.page.route('**/api/v1/page*', async (route) => {
      const answer = await route.fetch();
      const page = await answer.json();
      const [area] = page.capacity.brokers.find((broker) => broker.uuid === kShop).areas;
      area.usedBytes = area.sizeBytes;
      await route.fulfill({response: answer, json: page});
    });
    await tab.page.reload();
    await tab.see(/^It is full\.$/);
    await tab.close();
  },

  async 'every view fits from a phone to a wall'() {
    const views = {flows: '#/flows', node: kNode, events: '#/events/refused', message: null, findings: '#/findings', capacity: '#/capacity', locks: '#/locks', settings: '#/settings'};
    for (const [size, [width, height]] of Object.entries(kSizes)) {
      const colorScheme = size === 'phone' ? 'dark' : 'light';
      const tab = await Tab.open(servers.open, {viewport: {width, height}, colorScheme});
      for (const [name, hash] of Object.entries(views)) {
        if (name === 'flows') await tab.go(hash);
        else if (name === 'message') await tab.page.locator('td.id a', {hasText: /[1-9A-F]/}).first().click();
        else await tab.view(hash);
        await tab.see(kSeen[name]);
        const wide = await tab.page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
        assert.ok(wide <= 0, `${name} is ${wide} pixels too wide on a ${size}`);
        assert.deepEqual(await outside(tab.page), [], `${name} on a ${size}: what can’t be seen`);
        assert.deepEqual(await unnamed(tab.page), [], `${name}: controls without a name`);
        await tab.page.screenshot({path: `${screenshots}/${name}-${size}.png`});
      }
      await tab.close();
    }
  },

  // The last: the broker is gone afterwards.
  async 'a broker that has stopped stays in the history'() {
    const tab = await Tab.open(servers.open);
    const node = '#/node/' + ['hostile', kHostile, kHostile, kHostile].map(encodeURIComponent).join('/');
    await tab.go(node);
    await tab.page.locator('.u-wrap canvas').first().waitFor();
    process.kill(stopped, 'SIGTERM');
    await tab.see('It is not in shared memory now. The curves show what was seen before.');
    await tab.page.reload();
    await tab.see('It is not in shared memory now. The curves show what was seen before.');
    await tab.see(/^takes: [\d.]+ ms, from/);
    await tab.view('#/flows');
    await tab.see(`Not here now: ${kHostile}`);
    await tab.close();
  },
};

async function answerAsIf(route, url) {
  if (url.pathname === '/api/v1/history') return route.fulfill({json: url.search === '' ? contents() : history(url.searchParams)});
  if (url.pathname === '/api/v1/changes') return route.fulfill({json: changes()});
  return route.continue();
}

const ago = (seconds) => Math.floor(Date.now() / 1000) - seconds;

let lastLook = ago(0);  // of the history that answerAsIf() gives

// 25 ms a message in the node, 5 of them in the one inside it; a minute in which nobody looked.
function history(query) {
  const from = Number(query.get('from'));
  const until = Number(query.get('until'));
  const elapsed = query.get('node') === 'Into authorisation' ? 25000 : 5000;
  const points = [];
  for (let time = ago(600); time < until; time += 3) {
    if (time > ago(300) && time < ago(240)) continue;
    const messages = 150 + Math.round(20 * Math.sin(time / 40));
    points.push([time, 3, messages, messages * 900, messages * elapsed, null]);
  }
  const mark = (kind, seconds, unknown, flow) => ({from: ago(seconds + 4), until: ago(seconds), kind, unknown_seconds: unknown, execution_group: flow && 'orders', flow});
  return {schema: 'zebmon.history', version: 1, state: 'ok', broker: 'SHOPBROKER', execution_group: 'orders', flow: 'Payment', from, until, step_seconds: 3, oldest: ago(600),
    nodes: [{node: query.get('node'), node_type: 'other', points}], marks: [mark('reset', 500, 4, null), mark('reset', 100, 0, 'Payment'), mark('gap', 240, 60, null)]};
}

function contents() {
  return {schema: 'zebmon.history.contents', version: 1, state: 'ok', brokers: [{broker: 'SHOPBROKER', uuid: kShop, oldest: 1, newest: 2, area: {since: lastLook - 12 * 86400, until: lastLook, used_bytes_before: 1024, used_bytes: 5120, size_bytes: 65536, enough: true, full_in_seconds: 15290000}, flows: []},
    {broker: 'LATE', uuid: 'late', area: null, oldest: 1, newest: 2, flows: [{execution_group: 'g', flow: 'f', nodes: [{node: 'n', node_type: 'input'}]}]}]};
}

function changes() {
  const moment = new Date(ago(90) * 1000).toISOString();
  return {schema: 'zebmon.changes', version: 1, state: 'ok', changes: [{broker: {label: 'SHOPBROKER', uuid: kShop}, executionGroup: 'orders', messageFlow: 'Payment', node: 'Into authorisation', isOfFlow: false,
    measure: 'self', since: moment, before: 9.1, after: 14.2, nearestMark: {kind: 'reset', from: moment, until: moment, unknownSeconds: 0, executionGroup: 'orders', messageFlow: 'Payment', minutesAfter: 1}}]};
}

// What is beyond the right edge, and can't be scrolled to.
function outside(page) {
  return page.evaluate(() => [...document.querySelectorAll('main *')]
    .filter((element) => !element.closest('.scroll, .hidden-words, code') && element.getBoundingClientRect().right > innerWidth + 1)
    .map((element) => element.outerHTML.slice(0, 200)));
}

// What a screen reader could not tell.
function unnamed(page) {
  return page.evaluate(() => [...document.querySelectorAll('a, button, input, select, meter, svg[role=img], [role=region]')]
    .filter((element) => !(element.getAttribute('aria-label') || element.textContent.trim() || element.labels?.length))
    .map((element) => element.outerHTML.slice(0, 200)));
}

let failed = 0;
for (const [name, test] of Object.entries(tests)) {
  if (process.env.ZEB_PAGE_TEST && !name.includes(process.env.ZEB_PAGE_TEST)) continue;
  const begin = Date.now();
  try {
    await test();
    console.log(`ok ${name} (${Date.now() - begin} ms)`);
  } catch (error) {
    ++failed;
    console.log(`FAILED ${name}\n${error.stack}`);
    process.kill(servers.open.process, 'SIGCONT');
    for (const context of browser.contexts()) {
      for (const page of context.pages()) await page.screenshot({path: `${screenshots}/failed-${failed}.png`});
      await context.close();
    }
  }
}
await browser.close();
process.exit(failed === 0 ? 0 : 1);
