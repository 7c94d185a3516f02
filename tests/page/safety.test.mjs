// What must not get in, and what must not bring it down.

import assert from 'node:assert/strict';
import {request} from 'node:http';
import {after, before, test} from 'node:test';

import {ask, assertClean, begin, drawn, enter, openPage, startPreview} from './support.mjs';

let setup;
before(async () => { setup = await begin({clip: {frames: 3}, options: ['--plain']}); });
after(() => setup?.end());

// A request with headers that fetch would not let through; answers its status.
function statusWith(address, headers, path = 'api/clip') {
  return new Promise((done, fail) => {
    request(`${address}${path}`, {headers}, (response) => {
      response.resume();
      done(response.statusCode);
    }).on('error', fail).end();
  });
}

test('a wrong token is refused, for the page and for its requests', async () => {
  const wrong = setup.address.replace(/.(?=\/$)/, (last) => (last === '0' ? '1' : '0'));
  assert.notEqual(wrong, setup.address);
  for (const path of ['', 'app.js', 'api/clip']) {
    assert.equal((await fetch(wrong + path)).status, 404);
    assert.equal((await fetch(setup.address + path)).status, 200);
  }
  assert.equal((await fetch(new URL('/api/clip', setup.address))).status, 404);
});

test('foreign hosts and origins are refused', async () => {
  const {host, origin} = new URL(setup.address);
  assert.equal(await statusWith(setup.address, {Host: host, Origin: origin}), 200);
  assert.equal(await statusWith(setup.address, {Host: 'example.org'}), 403);
  assert.equal(await statusWith(setup.address, {Host: host, Origin: 'http://example.org'}), 403);
  assert.equal(await statusWith(setup.address, {Host: host, Origin: 'null'}), 403);
});

test('another site’s page reads nothing', async () => {
  const page = await setup.browser.newPage();
  await page.goto('data:text/html,<p>elsewhere');
  const outcome = await page.evaluate(
      (address) => fetch(`${address}api/clip`).then(() => 'read', () => 'refused'), setup.address);
  assert.equal(outcome, 'refused');
  await page.close();
});

test('a storm of requests, broken ones among them, is survived while the page works on', async () => {
  const {page, watch} = await openPage(setup);
  const {settings} = await (await ask(setup.address, 'clip')).json();
  const storm = Array.from({length: 200}, (_, at) => at % 4 === 0 ?
      fetch(`${setup.address}api/picture`, {method: 'POST', body: '{'}) :
      ask(setup.address, 'picture',
          {frame: at % 3, view: 'matte', settings, scale: 4, viewer: `storm${at % 5}`, sequence: at}));
  const statuses = (await Promise.all(storm)).map(({status}) => status);
  assert.equal(statuses.filter((status) => status === 400).length, 50);
  assert.ok(statuses.every((status) => [200, 400, 409].includes(status)), String(new Set(statuses)));

  await page.evaluate(() => {  // as a hand that shakes all sliders at once
    for (let turn = 0; turn < 40; ++turn) {
      for (const slider of document.querySelectorAll('#controls input[type=range]:enabled')) {
        slider.value = Number(slider.min) + turn;
        slider.dispatchEvent(new Event('input', {bubbles: true}));
      }
    }
  });
  await page.keyboard.press('4');
  await drawn(page, {view: 'plate'});
  assertClean(watch);
  await page.close();
});

test('at most one picture a viewer is under way, and the newest setting is the one shown in the end', async () => {
  const {page, watch} = await openPage(setup);
  await page.keyboard.press('2');
  await drawn(page, {view: 'matte'});
  let underWay = 0, most = 0, last = null;
  const isPicture = (one) => one.url().endsWith('api/picture');
  page.on('request', (one) => {
    if (!isPicture(one)) return;
    most = Math.max(most, underWay += 1);
    last = one.postDataJSON();
  });
  const end = (one) => { underWay -= isPicture(one) ? 1 : 0; };
  page.on('requestfinished', end);
  page.on('requestfailed', end);
  await page.locator('#set-clip-black').focus();
  for (let press = 0; press < 60; ++press) await page.keyboard.press('ArrowRight');
  await page.waitForTimeout(1000);
  assert.equal(underWay, 0);
  assert.equal(most, 1);
  assert.equal(last.settings['clip-black'], 60);
  assert.equal(last.scale, 1);
  assertClean(watch);
  await page.close();
});

test('an answer that comes late is not drawn over a newer picture', async () => {
  const {page, watch} = await openPage(setup);
  const shown = () => page.locator('#pane-main canvas').evaluate((canvas) => canvas.toDataURL());
  const before = await shown();
  let late = null;
  await page.route('**/api/picture', async (route) => {
    const answer = await route.fetch();
    late = new Promise((done) => setTimeout(done, 1500)).then(() => route.fulfill({response: answer}));
  });
  await enter(page, 'clip-white', 20);
  await page.waitForTimeout(200);
  await page.keyboard.press('Control+z');  // the page still has this picture
  await page.waitForTimeout(800);
  assert.ok(late !== null);
  await late;
  await page.waitForTimeout(500);
  assert.ok(await shown() === before);  // no equal(): the message would be megabytes
  assertClean(watch);
  await page.close();
});

test('the program can be ended from the page', async () => {
  const own = await startPreview(setup.clip);
  const {page, watch} = await openPage({browser: setup.browser, address: own.address});
  await page.waitForFunction(() => /\d %/.test(document.getElementById('strip-clear').textContent));
  await page.waitForTimeout(1000);  // nothing is under way
  await page.keyboard.press('?');
  await page.keyboard.press('Enter');  // closes the help, and nothing else
  assert.equal(await page.locator('dialog[open]').count(), 0);
  await page.keyboard.press('?');
  await page.locator('#quit').click();
  await page.keyboard.press('Enter');  // no: cancels
  assert.equal(await page.locator('dialog[open]').count(), 0);
  assert.equal((await fetch(own.address)).status, 200);
  await page.keyboard.press('?');
  await page.locator('#quit').click();
  await page.locator('#leave-now').click();
  assert.equal(await own.ended, 0);
  assert.match(await page.locator('#message-text').textContent(), /has ended/);
  assertClean(watch);
  await page.close();
});

test('a server that is gone is reported in one line', async () => {
  const own = await startPreview(setup.clip);
  const {page} = await openPage({browser: setup.browser, address: own.address});
  await own.stop();
  await page.keyboard.press('2');
  await page.waitForSelector('#message[data-kind=lost]:not([hidden])');
  assert.match(await page.locator('#message-text').textContent(), /The server does not answer/);
  await page.close();
});
