// SPDX-License-Identifier: Apache-2.0
// Started by page_cost.py. Times are those of the browser, from the begin of the navigation.
import {createRequire} from 'node:module';

const {address, times, tools} = JSON.parse(process.argv[2]);
const {chromium} = createRequire(`${tools}/`)('playwright-core');
const browser = await chromium.launch({executablePath: '/usr/bin/chromium',
  args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync']});

const median = (values) => values.toSorted((one, other) => one - other)[Math.floor(values.length / 2)];

async function open(flows) {
  const context = await browser.newContext({viewport: {width: 1280, height: 900}});
  const page = await context.newPage();
  await page.goto(`${address}/`);
  await page.waitForFunction((wanted) => document.querySelectorAll('.flows > *').length >= wanted, flows, {polling: 'raf'});
  const found = await page.evaluate(() => new Promise((done) => requestAnimationFrame(() => setTimeout(() => {
    const [paint] = performance.getEntriesByName('first-contentful-paint');
    const asked = performance.getEntriesByType('resource').find((entry) => entry.name.includes('/api/v1/page'));
    done({'first paint': paint.startTime, 'figures asked for': asked.requestStart, 'figures there': asked.responseEnd,
      'script that shows them': Number(document.documentElement.dataset.took), 'all flows painted': performance.now(),
      nodes: document.querySelectorAll('.flows > *').length});
  }, 0))));
  const updates = [];
  for (let i = 0; i < 3; ++i) {
    const before = await page.evaluate(() => document.documentElement.dataset.took);
    await page.waitForFunction((took) => document.documentElement.dataset.took !== took, before);
    updates.push(Number(await page.evaluate(() => document.documentElement.dataset.took)));
  }
  await context.close();
  return {...found, 'script of an update': median(updates)};
}

await open(80);  // the browser's own start
const all = [];
for (let i = 0; i < times; ++i) all.push(await open(80));
for (const name of Object.keys(all[0])) console.log(`${name}: ${median(all.map((one) => one[name])).toFixed(1)}`);
await browser.close();
