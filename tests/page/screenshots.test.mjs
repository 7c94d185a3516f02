// Pictures of the page for the documentation: KALVETRA_SCREENSHOTS=docs/images node --test screenshots.test.mjs

import {mkdir, writeFile} from 'node:fs/promises';
import {join, resolve} from 'node:path';
import {test} from 'node:test';

import {assertClean, begin, drawn, openPage, screenPoint} from './support.mjs';

const kLargest = 150e3;  // bytes of a picture

const folder = process.env.KALVETRA_SCREENSHOTS;

async function stripDone(page) {
  await page.waitForFunction(() => /\d %/.test(document.getElementById('strip-clear').textContent));
  await page.waitForTimeout(6000);
}

// As good as is still small.
async function photograph(page, name) {
  for (const quality of [80, 70, 60, 50]) {
    const picture = await page.screenshot({type: 'jpeg', quality});
    if (picture.length > kLargest && quality > 50) continue;
    await writeFile(join(resolve(folder), `preview-${name}.jpg`), picture);
    return;
  }
}

async function propose(page) {
  await page.keyboard.press('p');
  await page.waitForSelector('#proposal[open]', {timeout: 60000});
  await page.locator('#proposal-apply').click();
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
  ['status', {}, async (page) => {
    await propose(page);
    await page.keyboard.press('5');
  }],
  ['plate-beside-source', {}, async (page) => {
    await page.keyboard.press('4');
    await page.keyboard.press('s');
    await drawn(page, {pane: 'second', view: 'source'});
  }],
  ['wipe', {size: {width: 1920, height: 1080}}, async (page) => {
    await propose(page);
    await page.keyboard.press('w');
    await drawn(page, {pane: 'second', view: 'source'});
    await hover(page, 600, 250);
  }],
  ['pixels', {}, async (page) => {
    const {x, y} = await screenPoint(page, 700, 236);
    await page.mouse.move(x, y);
    for (let turn = 0; turn < 9; ++turn) await page.mouse.wheel(0, -200);
    await page.keyboard.press('e');
  }],
  ['proposal', {}, async (page) => {
    await page.keyboard.press('p');
    await page.waitForSelector('#proposal[open]', {timeout: 60000});
  }],
  ['export', {}, async (page) => { await page.keyboard.press('Control+e'); }],
  ['light', {colorScheme: 'light'}, async (page) => {
    await propose(page);
    await page.keyboard.press('5');
  }],
];

test('screenshots', {skip: !folder && 'KALVETRA_SCREENSHOTS names no folder'}, async () => {
  await mkdir(resolve(folder), {recursive: true});
  const setup = await begin({clip: {frames: 60}});
  try {
    for (const [name, options, arrange] of kScenes) {
      const {page, watch} = await openPage(setup, options);
      await arrange(page);
      await stripDone(page);
      await photograph(page, name);
      assertClean(watch);
      await page.close();
    }
  } finally {
    await setup.end();
  }
});
