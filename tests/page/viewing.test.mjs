// Looking: views, wipe, side by side, zoom, hover, frames, the strip.

import assert from 'node:assert/strict';
import {after, before, test} from 'node:test';

import {ask, assertClean, begin, drawn, enter, openPage, pictureAfter, screenPoint} from './support.mjs';

let setup;
before(async () => { setup = await begin(); });
after(() => setup?.end());

const colorOf = (page, id) => page.locator(`#at-${id}`).textContent();
const boxOf = (page, selector) => page.locator(selector).boundingBox();

test('the five views come with their keys; the result lies over a checkerboard or a colour', async () => {
  const {page, watch} = await openPage(setup);
  const pictures = [];
  for (const [key, view] of [['1', 'source'], ['2', 'matte'], ['4', 'plate'], ['5', 'status']]) {
    pictures.push(await pictureAfter(page, view, () => page.keyboard.press(key)));
    await drawn(page, {view});
  }
  assert.equal(new Set(pictures.map((bytes) => bytes.toString('latin1'))).size, 4);
  assert.match(await page.locator('#pane-main .tag').textContent(), /clear \d+\.\d %.*solid \d+\.\d %/);

  await page.keyboard.press('3');
  await drawn(page, {view: 'result'});
  const over = await pictureAfter(page, 'comp', () => page.locator('#over').selectOption('color'));
  await drawn(page, {view: 'comp'});
  assert.deepEqual([...over.subarray(0, 4)].slice(3), [255]);
  assertClean(watch);
  await page.close();
});

test('wipe and side by side show two views at once', async () => {
  const {page, watch} = await openPage(setup);
  await page.keyboard.press('w');
  await drawn(page, {pane: 'second', view: 'source'});
  const clipped = await page.locator('#pane-second').evaluate((pane) => pane.style.clipPath);
  assert.match(clipped, /inset\(0(px)? 0(px)? 0(px)? 50%\)/);
  const line = await boxOf(page, '#wipe');
  const stage = await boxOf(page, '#stage');
  await page.mouse.move(line.x + line.width / 2, line.y + 50);
  await page.mouse.down();
  await page.mouse.move(stage.x + stage.width * 0.25, line.y + 50, {steps: 3});
  await page.mouse.up();
  assert.equal(await page.locator('#wipe').getAttribute('aria-valuenow'), '25');
  await page.locator('#wipe').press('ArrowRight');
  assert.equal(await page.locator('#wipe').getAttribute('aria-valuenow'), '27');

  await page.keyboard.press('s');
  await page.locator('#second').selectOption('matte');
  await drawn(page, {pane: 'second', view: 'matte'});
  const [left, right] = [await boxOf(page, '#pane-main'), await boxOf(page, '#pane-second')];
  assert.ok(left.x + left.width <= right.x);
  assert.ok(Math.abs(left.width - right.width) <= 1);
  await page.keyboard.press('s');
  assert.equal(await page.locator('#pane-second').isVisible(), false);
  assertClean(watch);
  await page.close();
});

test('the wheel zooms to single pixels at the pointer, a drag pans, F fits again', async () => {
  const {page, watch} = await openPage(setup);
  const fitted = await boxOf(page, '#pane-main canvas');
  const point = {x: Math.round(fitted.x + 487), y: Math.round(fitted.y + 211)};  // a mouse has whole places
  const pixelAt = (box) => ({x: (point.x - box.x) / box.width * 1280, y: (point.y - box.y) / box.height * 720});
  await page.mouse.move(point.x, point.y);
  for (let turn = 0; turn < 12; ++turn) await page.mouse.wheel(0, -240);
  await page.waitForFunction(() => document.querySelector('#pane-main canvas').classList.contains('pixels'));
  const canvas = page.locator('#pane-main canvas');
  const rendering = await canvas.evaluate((one) => getComputedStyle(one).imageRendering);
  assert.equal(rendering, 'pixelated');
  const large = await boxOf(page, '#pane-main canvas');
  assert.ok(large.width / 1280 > 8, `${large.width / 1280} screen pixels a pixel`);
  const [before, now] = [pixelAt(fitted), pixelAt(large)];
  assert.ok(Math.abs(now.x - before.x) < 1 && Math.abs(now.y - before.y) < 1, JSON.stringify([before, now]));

  await page.mouse.down();
  await page.mouse.move(point.x + 60, point.y - 30, {steps: 3});
  await page.mouse.up();
  const panned = await boxOf(page, '#pane-main canvas');
  assert.ok(Math.abs(panned.x - large.x - 60) <= 1 && Math.abs(panned.y - large.y + 30) <= 1);
  await page.keyboard.press('f');
  assert.deepEqual(await boxOf(page, '#pane-main canvas'), fitted);
  await page.keyboard.press('h');
  assert.equal(await page.locator('#zoom').textContent(), '100 %');
  assertClean(watch);
  await page.close();
});

test('the pixel under the pointer is shown as the server has it, in whole levels of a clip of 8 bits', async () => {
  const {page, watch} = await openPage(setup);
  assert.equal(await page.locator('#depth').isVisible(), false);
  assert.doesNotMatch(await page.locator('#clip-facts').textContent(), /bits/);
  for (const [x, y] of [[12, 20], [640, 300]]) {
    const point = await screenPoint(page, x, y);
    await page.mouse.move(point.x, point.y);
    await page.waitForFunction((text) => document.getElementById('at-place').textContent === text, `x ${x}  y ${y}`);
    const {settings} = await (await ask(setup.address, 'clip')).json();
    const told = await (await ask(setup.address, 'pixel', {frame: 0, x, y, settings})).json();
    assert.equal(await colorOf(page, 'source'), told.source.slice(0, 3).join(' '));
    assert.equal(await colorOf(page, 'plate'), told.plate.join(' '));
    assert.equal(await colorOf(page, 'result'), told.result.slice(0, 3).join(' '));
    assert.equal(await colorOf(page, 'alpha'), String(told.alpha));
    assert.equal(await colorOf(page, 'treatment'), told.treatment);
  }
  await page.locator('#step-export').hover();
  await page.waitForFunction(() => document.getElementById('at-place').textContent === 'Point at a pixel');
  assert.equal(await colorOf(page, 'alpha'), '–');
  assertClean(watch);
  await page.close();
});

test('frames are stepped, in and out points set, and the strip is computed for them', async () => {
  const {page, watch} = await openPage(setup);
  for (let step = 0; step < 3; ++step) await page.keyboard.press('ArrowRight');
  await drawn(page, {view: 'result', frame: 3});
  assert.equal(await page.locator('#frame').inputValue(), '3');
  await page.keyboard.press('i');
  await page.keyboard.press('Shift+ArrowRight');
  await drawn(page, {view: 'result', frame: 7});
  await page.keyboard.press('ArrowLeft');
  const begun = page.waitForRequest((request) => request.url().endsWith('api/strip') &&
      request.postDataJSON()?.start === 3);
  await page.keyboard.press('o');
  assert.equal(await page.locator('#range-text').textContent(), '3 – 6');
  assert.equal((await begun).postDataJSON().end, 7);
  await page.waitForFunction(() => /\d %/.test(document.getElementById('strip-clear').textContent));
  await page.keyboard.press('Home');
  await drawn(page, {view: 'result', frame: 3});

  await page.keyboard.press(' ');  // plays around the range
  await page.waitForFunction(() => document.getElementById('frame').value === '6');
  await page.waitForFunction(() => document.getElementById('frame').value === '3');
  await page.keyboard.press(' ');
  assertClean(watch);
  await page.close();
});

test('a page does not show the strip of another one', async () => {
  const {page, watch} = await openPage(setup);
  const clear = page.locator('#strip-clear');
  await page.route('**/api/strip?*', async (route) => {  // as if the other page were quicker than the answer
    await ask(setup.address, 'strip', {settings: {'clip-black': 90, 'key-color': '#ff0000'}, start: 0, end: 8});
    await route.continue();
  });
  const begun = page.waitForRequest((request) => request.url().includes('api/strip?'));
  await enter(page, 'clip-black', 3);
  await begun;
  await page.waitForFunction(() => document.getElementById('message-text').textContent.startsWith('Another page'));
  assert.equal(await clear.textContent(), '–');
  await page.unroute('**/api/strip?*');
  await page.evaluate(() => window.dispatchEvent(new Event('focus')));
  await page.waitForFunction(() => /\d %/.test(document.getElementById('strip-clear').textContent));
  assertClean(watch);
  await page.close();
});

test('the chroma wheel follows the settings', async () => {
  const {page, watch} = await openPage(setup);
  const pixels = () => page.locator('#wheel').evaluate((canvas) => canvas.toDataURL());
  await page.waitForTimeout(500);
  const before = await pixels();
  await enter(page, 'skin-hue', 40);
  await page.waitForFunction((old) => document.getElementById('wheel').toDataURL() !== old, before);
  assertClean(watch);
  await page.close();
});
