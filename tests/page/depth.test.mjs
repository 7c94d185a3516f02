// Clips of more than 8 bits: what the page says of them, the choice of the depth, and what it reaches.

import assert from 'node:assert/strict';
import {after, before, test} from 'node:test';

import {ask, assertClean, begin, closeDialog, openPage, pictureAfter, screenPoint} from './support.mjs';

let setup;
before(async () => { setup = await begin({clip: {frames: 3, size: '480x270', pixels: 'yuv422p10le'}}); });
after(() => setup?.end());

const textOf = (page, id) => page.locator(`#${id}`).textContent();

async function commandOf(page) {
  await page.keyboard.press('c');
  await page.waitForFunction(() => document.getElementById('command-text').value !== '');
  const text = await page.locator('#command-text').inputValue();
  await closeDialog(page);
  return text;
}

test('what works at full depth alone rests the choice of 8 bits for as long as it is on', async () => {
  const {page, watch} = await openPage(setup);
  const choose = (slug, value) => pictureAfter(page, 'result', () => page.locator(slug).selectOption(value));
  const eight = await choose('#depth', '8'), despilled = await choose('#set-despill', 'material');
  const settings = {...(await (await ask(setup.address, 'clip')).json()).settings, despill: 'material'};
  const asked = {frame: 0, view: 'result', settings};
  assert.ok(despilled.equals(Buffer.from(await (await ask(setup.address, 'picture', asked)).arrayBuffer())));
  assert.ok(!despilled.equals(eight));
  assert.match(await textOf(page, 'clip-facts'), /10 bits, keyed at full depth$/);
  assert.ok(await page.locator('#depth option[value="8"]').isDisabled());
  const command = await commandOf(page);
  assert.match(command, /--despill material/);
  assert.doesNotMatch(command, /--depth/);
  await page.locator('#set-despill').selectOption('engine');
  assert.match(await textOf(page, 'clip-facts'), /10 bits, keyed in 8 bits$/);
  assertClean(watch);
  await page.close();
});

test('a clip of 10 bits is keyed at full depth until 8 bits are chosen', async () => {
  const {page, watch} = await openPage(setup);
  assert.match(await textOf(page, 'clip-facts'), /10 bits, keyed at full depth$/);
  assert.doesNotMatch(await commandOf(page), /--depth/);

  const point = await screenPoint(page, 12, 20);
  await page.mouse.move(point.x, point.y);
  await page.waitForFunction(() => document.getElementById('at-place').textContent === 'x 12  y 20');
  const {settings} = await (await ask(setup.address, 'clip')).json();
  const told = await (await ask(setup.address, 'pixel', {frame: 0, x: 12, y: 20, settings})).json();
  assert.equal(await textOf(page, 'at-source'), told.source.slice(0, 3).map((level) => level.toFixed(1)).join(' '));
  assert.match(await textOf(page, 'at-alpha'), /^\d+\.\d$/);

  const eight = await pictureAfter(page, 'result', () => page.locator('#depth').selectOption('8'));
  const asked = {frame: 0, view: 'result', settings, depth: '8'};
  assert.ok(eight.equals(Buffer.from(await (await ask(setup.address, 'picture', asked)).arrayBuffer())));
  assert.match(await textOf(page, 'clip-facts'), /10 bits, keyed in 8 bits$/);
  await page.waitForFunction(() => /^\d+$/.test(document.getElementById('at-alpha').textContent));
  assert.match(await commandOf(page), /--depth 8/);
  assertClean(watch);
  await page.close();
});
