// Taking the settings home: presets, the command, the export.

import assert from 'node:assert/strict';
import {readFile, stat, writeFile} from 'node:fs/promises';
import {join} from 'node:path';
import {after, before, test} from 'node:test';

import {assertClean, begin, closeDialog, enter, framesOf, kalvetra, openPage, pictureAfter, run,
        startPreview} from './support.mjs';

let setup;
before(async () => { setup = await begin({inFolder: true}); });
after(() => setup?.end());

const downloaded = async (page, action) => {
  const [download] = await Promise.all([page.waitForEvent('download'), action()]);
  return {name: download.suggestedFilename(), path: await download.path()};
};

// The result of frame 0 with some settings of the test's own, as the page gets it.
async function keyed(page) {
  await enter(page, 'clip-black', 6);
  await enter(page, 'despill-white', 35);
  return pictureAfter(page, 'result', () => enter(page, 'clip-white', 88),
                      {'clip-black': 6, 'despill-white': 35, 'clip-white': 88});
}

async function chooseKind(page, label) {
  await page.keyboard.press('Control+e');
  const value = await page.locator('#export-kind option', {hasText: label}).first().getAttribute('value');
  await page.locator('#export-kind').selectOption(value);
}

test('a saved preset is one of the command’s, and gives the page’s very bytes', async () => {
  const {page, watch} = await openPage(setup);
  const bytes = await keyed(page);
  await page.keyboard.press('Control+s');
  const {name, path} = await downloaded(page, () => page.locator('#preset-download').click());
  assert.equal(name, 'shot.json');
  const out = join(setup.folder, 'by-preset.mkv');
  await run(kalvetra, ['key', setup.clip, out, '--preset', path, '--frames', '1', '-y']);
  const [frame] = await framesOf(out, 1280, 720);
  assert.ok(frame.equals(bytes));
  assertClean(watch);
  await page.close();
});

test('presets are loaded from files, with keyframes, and refused with a sentence', async () => {
  const {page, watch} = await openPage(setup);
  const preset = {look: 1, settings: {'clip-black': 9, 'screen-gain': [[0, 33], [4, 53]]}};
  await page.keyboard.press('Control+s');
  const load = (text) => page.locator('#preset-file').setInputFiles(
      {name: 'mine.json', mimeType: 'application/json', buffer: Buffer.from(text)});
  await load(JSON.stringify(preset));
  await page.waitForFunction(() => document.getElementById('number-clip-black').value === '9');
  await closeDialog(page);
  assert.equal(await page.locator('.animated #number-screen-gain').count(), 1);
  await page.keyboard.press('ArrowRight');
  assert.equal(await page.locator('#number-screen-gain').inputValue(), '38');
  await enter(page, 'screen-gain', 40);  // a constant in place of the curve
  assert.equal(await page.locator('.animated #number-screen-gain').count(), 0);
  assertClean(watch);

  await page.keyboard.press('Control+s');
  await load('{"look": 1, "settings": {"clip-blac": 9}}');
  await page.waitForFunction(() => document.getElementById('preset-outcome').classList.contains('error'));
  assert.match(await page.locator('#preset-outcome').textContent(), /clip-blac/);
  await page.close();
});

test('presets are kept in the folder', async () => {
  const {page, watch} = await openPage(setup);
  await enter(page, 'shadow', 55);
  await page.keyboard.press('Control+s');
  await page.locator('#preset-name').fill('kept.json');
  await page.locator('#preset-save').click();
  await page.waitForFunction(() => document.getElementById('preset-outcome').textContent.startsWith('Saved as'));
  assert.equal(JSON.parse(await readFile(join(setup.folder, 'kept.json'), 'utf8')).settings.shadow, 55);
  await closeDialog(page);
  await enter(page, 'shadow', 10);
  await page.keyboard.press('Control+s');
  await page.locator('#preset-names option', {hasText: 'kept.json'}).waitFor({state: 'attached'});
  await page.locator('#preset-names').selectOption('kept.json');
  await page.locator('#preset-load').click();
  await page.waitForFunction(() => document.getElementById('number-shadow').value === '55');
  assertClean(watch);
  await page.close();
});

test('the copied command makes the page’s very bytes', async () => {
  const {page, watch} = await openPage(setup, {permissions: ['clipboard-read', 'clipboard-write']});
  const bytes = await keyed(page);
  await chooseKind(page, 'FFV1');
  await page.locator('#export-name').fill('by-command.mkv');
  await closeDialog(page);
  await page.keyboard.press('c');
  await page.waitForFunction(() => document.getElementById('command-text').value !== '');
  await page.locator('#command-copy').click();
  await page.waitForFunction(() => document.getElementById('command-outcome').textContent === 'Copied.');
  const command = await page.evaluate(() => navigator.clipboard.readText());
  assert.match(command, /^kalvetra key /);
  assert.match(command, /--clip-black 6/);
  await run('sh', ['-c', `kalvetra() { "${kalvetra}" "$@"; }; ${command}`], {cwd: setup.folder});
  const frames = await framesOf(join(setup.folder, 'by-command.mkv'), 1280, 720);
  assert.equal(frames.length, 8);
  assert.ok(frames[0].equals(bytes));
  assertClean(watch);
  await page.close();
});

const sizeNote = (page, text, warns) => page.waitForFunction(([text, warns]) => {
  const note = document.getElementById('export-size');
  return note.textContent === text && note.classList.contains('error') === warns;
}, [text, warns]);

test('an export shows its progress and size, is cancelled, made, and downloaded', async () => {
  const {page, watch} = await openPage(setup);
  const bytes = await keyed(page);
  const enough = {json: {bytes: 2.5e6, free: 4e9}}, tooLittle = {json: {bytes: 2.5e6, free: 1e6}};
  const overtaken = {status: 409, json: {error: 'overtaken'}};
  let sizes = [];  // answers; the last stays
  await page.route('**/api/export/size', (route) => route.request().method() === 'DELETE' ?
      route.fulfill({json: {}}) : route.fulfill(sizes.length > 1 ? sizes.shift() : sizes[0]));
  sizes = [enough];
  await chooseKind(page, 'FFV1');
  await sizeNote(page, 'about 2.5 MB; 4.0 GB are free', false);
  await page.locator('#export-name').fill('made.mkv');
  await page.locator('#export-start').click();
  await page.locator('#export-cancel').click();
  await page.waitForFunction(() => document.getElementById('export-outcome').textContent.startsWith('Cancelled'));
  await assert.rejects(stat(join(setup.folder, 'made.mkv')));

  await page.evaluate(() => {
    window.seen = [];
    const line = document.getElementById('export-outcome');
    new MutationObserver(() => window.seen.push(line.textContent)).observe(line, {childList: true});
  });
  await page.locator('#export-start').click();
  const link = page.locator('#export-files a');
  await link.waitFor({timeout: 60000});
  const seen = await page.evaluate(() => window.seen);
  assert.ok(seen.some((text) => /^\d+ of 8 frames\s+[\d.]+ fps/.test(text)), JSON.stringify(seen));
  assert.match(seen[seen.length - 1], /made\.mkv is ready, [\d.]+ [kM]B/);
  const {name, path} = await downloaded(page, () => link.click());
  assert.equal(name, 'made.mkv');
  const copy = join(setup.folder, 'downloaded.mkv');
  await writeFile(copy, await readFile(path));
  const frames = await framesOf(copy, 1280, 720);
  assert.equal(frames.length, 8);
  assert.ok(frames[0].equals(bytes));
  assertClean(watch);

  sizes = [overtaken, tooLittle];
  await page.locator('#export-start').click();  // the name is taken now
  await page.waitForFunction(() => document.getElementById('export-outcome').classList.contains('error'));
  assert.match(await page.locator('#export-outcome').textContent(), /made\.mkv/);
  await sizeNote(page, 'about 2.5 MB; only 1.0 MB are free', true);
  sizes = [overtaken];
  await page.locator('#export-view').selectOption('matte');
  await sizeNote(page, '', false);
  const givenUp = page.waitForRequest((request) => request.method() === 'DELETE' &&
      request.url().endsWith('api/export/size'));
  await closeDialog(page);
  await givenUp;
  await page.close();
});

test('the end of an export is reported where its dialog is closed, and a lost answer does not end following', async () => {
  const {page} = await openPage(setup);
  let answers = 0, isOver = false;
  await page.route('**/api/export', async (route) => {
    if (route.request().method() === 'POST') {
      assert.equal(route.request().postDataJSON().keepPartial, true);
      await route.fulfill({json: {id: 1}});
      return;
    }
    answers += 1;
    const running = {state: 'running', frames: 3, of: 8, fps: 9, secondsLeft: 1, checking: false};
    if (answers === 2) await route.abort();
    else await route.fulfill({json: answers < 4 || !isOver ? running : {state: 'failed', error: 'the disk is full.'}});
  });
  await page.keyboard.press('Control+e');
  await page.locator('#export-partial').check();
  answers = 0;
  await page.locator('#export-start').evaluate((button) => button.click());
  await page.locator('#export-cancel').waitFor();
  assert.equal(await page.locator('#export-view').evaluate((view) => {
    view.dispatchEvent(new Event('change'));
    return document.getElementById('export-size').textContent;
  }), '', 'no estimate beside an export');
  await closeDialog(page);
  isOver = true;
  await page.waitForSelector('#message[data-kind=error]:not([hidden])');
  assert.equal(await page.locator('#message-text').textContent(), 'The export failed: the disk is full.');
  await page.keyboard.press('Control+e');
  assert.equal(await page.locator('#export-outcome').textContent(), 'the disk is full.');
  await page.close();
});

test('the result over a file of the folder is the command’s composite', async () => {
  const sky = join(setup.folder, 'sky.png');
  await run('ffmpeg', ['-v', 'error', '-f', 'lavfi', '-i', 'testsrc=s=320x180', '-frames:v', '1', sky]);
  const {page, watch} = await openPage(setup);
  const bytes = await pictureAfter(page, 'comp', () => page.locator('#over').selectOption('file:sky.png'));
  const color = await page.locator('#key-hex').inputValue();
  const out = join(setup.folder, 'over.mkv');
  await run(kalvetra, ['key', setup.clip, '-f', 'null', '--key-color', color, '--frames', '1', '--also', `comp=${out}`,
                       '--over', sky]);
  const [frame] = await framesOf(out, 1280, 720);
  assert.ok(frame.equals(bytes));
  assertClean(watch);
  await page.close();
});

test('a clip without a backdrop opens all the same, and says what to do', async () => {
  const red = join(setup.folder, 'red.mp4');
  await run('ffmpeg', ['-v', 'error', '-f', 'lavfi', '-i', 'color=red:s=320x180:d=0.2', red]);
  const own = await startPreview(red, '--background', setup.clip);
  const {page, watch} = await openPage({browser: setup.browser, address: own.address}, {view: 'comp'});
  assert.match(await page.locator('#key-note').textContent(), /No backdrop was found/);
  assert.equal(await page.locator('#over').inputValue(), 'file:shot.mp4');
  assert.equal(await page.locator('#key-hex').inputValue(), '#000000');
  assertClean(watch);
  await page.locator('#auto-pick').click();
  await page.waitForSelector('#message[data-kind=error]:not([hidden])');
  await page.close();
  await own.stop();
});
