// Pictures of the page for the documentation: KALVETRA_SCREENSHOTS=docs/images node --test screenshots.test.mjs

import {mkdir} from 'node:fs/promises';
import {join, resolve} from 'node:path';
import {test} from 'node:test';

import {assertClean, begin, drawn, openPage, screenPoint} from './support.mjs';

const folder = process.env.KALVETRA_SCREENSHOTS;

async function stripDone(page) {
  await page.waitForFunction(() => /\d %/.test(document.getElementById('strip-clear').textContent));
  await page.waitForTimeout(6000);
}

async function hover(page, x, y) {
  const point = await screenPoint(page, x, y);
  await page.mouse.move(point.x, point.y);
  await page.waitForFunction((text) => document.getElementById('at-place').textContent === text, `x ${x}  y ${y}`);
}

// Name of the picture, what the page is opened with, and what brings it there.
const kScenes = [
  ['result', {}, async (page) => { await hover(page, 600, 250); }],
  ['matte', {}, async (page) => { await page.keyboard.press('2'); }],
  ['status', {}, async (page) => { await page.keyboard.press('5'); }],
  ['plate-beside-source', {}, async (page) => {
    await page.keyboard.press('4');
    await page.keyboard.press('s');
    await drawn(page, {pane: 'second', view: 'source'});
  }],
  ['wipe', {size: {width: 1920, height: 1080}}, async (page) => {
    await page.keyboard.press('w');
    await drawn(page, {pane: 'second', view: 'source'});
    await hover(page, 600, 250);
  }],
  ['pixels', {}, async (page) => {
    const {x, y} = await screenPoint(page, 590, 180);
    await page.mouse.move(x, y);
    for (let turn = 0; turn < 9; ++turn) await page.mouse.wheel(0, -200);
    await page.keyboard.press('e');
  }],
  ['export', {}, async (page) => { await page.keyboard.press('Control+e'); }],
  ['light', {colorScheme: 'light'}, async (page) => { await page.keyboard.press('5'); }],
];

test('screenshots', {skip: !folder && 'KALVETRA_SCREENSHOTS names no folder'}, async () => {
  await mkdir(resolve(folder), {recursive: true});
  const setup = await begin({clip: {frames: 60}});
  try {
    for (const [name, options, arrange] of kScenes) {
      const {page, watch} = await openPage(setup, options);
      await stripDone(page);
      await arrange(page);
      await page.waitForTimeout(1500);
      await page.screenshot({path: join(resolve(folder), `preview-${name}.jpg`), type: 'jpeg', quality: 80});
      assertClean(watch);
      await page.close();
    }
  } finally {
    await setup.end();
  }
});
