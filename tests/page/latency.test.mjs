// How long it takes from a slider's input to the picture on the screen, at 1080p. Prints the figures; how fast the
// machine is, is not for a test to say.

import assert from 'node:assert/strict';
import {after, before, test} from 'node:test';

import {assertClean, begin, drawn, openPage} from './support.mjs';

const kMoves = 50;

let setup;
before(async () => { setup = await begin({clip: {frames: 2, size: '1920x1080'}}); });
after(() => setup?.end());

const measured = (page) => page.evaluate(
    () => performance.getEntriesByName('input to picture').map(({duration}) => duration));

test('slider moves reach the screen', async () => {
  const {page, watch} = await openPage(setup);
  await page.waitForTimeout(3000);  // thumbnails and the strip of the clip
  const {x, y, width, height} = await page.locator('#set-clip-black').boundingBox();
  const place = (move) => [x + width * (0.1 + 0.8 * move / kMoves), y + height / 2];
  await page.mouse.move(...place(0));
  await page.mouse.down();
  await page.evaluate(() => performance.clearMeasures());
  const scales = [];
  page.on('request', (request) => {
    if (request.url().endsWith('api/picture')) scales.push(request.postDataJSON().scale);
  });
  for (let move = 1; move <= kMoves; ++move) {
    const before = (await measured(page)).length;
    await page.mouse.move(...place(move));
    await page.waitForFunction((count) => performance.getEntriesByName('input to picture').length > count, before);
  }
  assert.ok(scales.filter((scale) => scale === 2).length > 0.9 * kMoves, String(scales));
  await page.mouse.up();
  await drawn(page, {view: 'result'});  // in full size, now that the hand rests
  assert.equal(scales[scales.length - 1], 1);
  const times = (await measured(page)).slice(0, kMoves).sort((a, b) => a - b);
  assert.equal(times.length, kMoves);
  const at = (share) => Math.round(times[Math.floor(share * (kMoves - 1))]);
  console.log(`input to picture, 1920 x 1080, ${kMoves} moves: median ${at(0.5)} ms, 90 % within ${at(0.9)} ms, ` +
              `longest ${at(1)} ms`);
  assertClean(watch);
  await page.close();
});
