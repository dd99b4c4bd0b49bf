// SPDX-License-Identifier: Apache-2.0
// Started by page_cost.py. Times are those of the browser, from the begin of the navigation.
import {createRequire} from 'node:module';

const {servers, times, tools} = JSON.parse(process.argv[2]);
const {chromium} = createRequire(`${tools}/`)('playwright-core');
const browser = await chromium.launch({executablePath: '/usr/bin/chromium',
  args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync']});
const kFlows = 80;

const median = (values) => values.toSorted((one, other) => one - other)[Math.floor(values.length / 2)];

// In the page: looks at each frame which flows are there, and notes when that frame is painted.
function watch(flows) {
  const painted = globalThis.painted = {};
  const look = () => {
    const count = document.querySelectorAll('.flows > *').length;
    for (const [name, wanted] of [['figures on screen', 1], ['all flows there', flows]]) {
      if (count >= wanted && !(name in painted)) {
        painted[name] = null;
        setTimeout(() => (painted[name] = performance.now()));
      }
    }
    if (count < flows) requestAnimationFrame(look);
  };
  requestAnimationFrame(look);
}

async function open(address) {
  const context = await browser.newContext({viewport: {width: 1280, height: 900}});
  const page = await context.newPage();
  await page.addInitScript(watch, kFlows);
  await page.goto(`${address}/`);
  await page.waitForFunction(() => globalThis.painted['all flows there']);
  const found = await page.evaluate(() => {
    const [paint] = performance.getEntriesByName('first-contentful-paint');
    const asked = performance.getEntriesByType('resource').find((entry) => entry.name.includes('/api/v1/page'));
    return {'first paint': paint.startTime, 'figures asked for': asked.requestStart, 'figures there': asked.responseEnd, ...globalThis.painted};
  });
  const updates = [];
  for (let i = 0; i < 3; ++i) {
    const before = await page.evaluate(() => document.documentElement.dataset.took);
    await page.waitForFunction((took) => document.documentElement.dataset.took !== took, before);
    updates.push(Number(await page.evaluate(() => document.documentElement.dataset.took)));
  }
  await context.close();
  return {...found, 'script of an update': median(updates)};
}

const all = servers.map(() => []);
for (const [, address] of servers) await open(address);  // the browser's own start
for (let i = 0; i < times; ++i) {
  for (const [at, [, address]] of servers.entries()) all[at].push(await open(address));
}
for (const [at, [program]] of servers.entries()) {
  console.log(program);
  for (const name of Object.keys(all[at][0])) console.log(`  ${name}: ${median(all[at].map((one) => one[name])).toFixed(1)}`);
}
await browser.close();
