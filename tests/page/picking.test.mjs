// From the opened clip to a matte: picking, changing, undoing.

import assert from 'node:assert/strict';
import {join} from 'node:path';
import {after, before, test} from 'node:test';

import {ask, assertClean, begin, closeDialog, drawn, enter, framesOf, openPage, pictureAfter, run, screenPoint,
        startPreview} from './support.mjs';

let setup;
before(async () => { setup = await begin({options: ['--plain']}); });
after(() => setup?.end());

const valueOf = (page, slug) => page.locator(`#number-${slug}`).inputValue();

test('the clip opens with the key colour that is found in it, and says why', async () => {
  const {page, watch} = await openPage(setup);
  const found = await (await ask(setup.address, 'pick', {})).json();
  assert.equal(await page.locator('#key-hex').inputValue(), found.color);
  assert.match(await page.locator('#key-note').textContent(), /Confidence \d+ %/);
  assert.equal(await page.locator('#clip-name').textContent(), 'shot.mp4');
  assertClean(watch);
  await page.close();
});

test('what is no colour is refused in words', async () => {
  const {page, watch} = await openPage(setup);
  const opened = await page.locator('#key-hex').inputValue();
  await page.locator('#key-hex').fill('green');
  await page.locator('#key-hex').press('Enter');
  assert.match(await page.locator('#message-text').textContent(), /“green” is no colour/);
  assert.equal(await page.locator('#key-hex').inputValue(), opened);
  assertClean(watch);
  await page.close();
});

test('a pick on the picture samples the source in any view, changes the matte, and is undone', async () => {
  const {page, watch} = await openPage(setup);
  const opened = await page.locator('#key-hex').inputValue();
  const first = await pictureAfter(page, 'matte', () => page.keyboard.press('2'));

  const {mean, hex} = await (await ask(setup.address, 'sample',
                                       {samples: [{frame: 0, x: 638, y: 598, width: 5, height: 5}]})).json();
  const point = await screenPoint(page, 640, 600);
  await page.mouse.move(point.x, point.y);
  await page.keyboard.press('e');
  await page.waitForFunction((text) => document.querySelector('#readout .sample').innerText === text,
                             `Mean of 5 × 5 ${mean.join(' ')}`);  // said before it is taken
  const picked = await pictureAfter(page, 'matte', () => page.mouse.click(point.x, point.y), {'key-color': hex});
  assert.equal(await page.locator('#key-hex').inputValue(), hex);
  assert.match(await page.locator('#key-note').textContent(), /Mean of 5 × 5 pixels\. Spread: luma \d/);
  assert.notDeepEqual(picked, first);

  await page.keyboard.press('Control+z');
  await page.waitForFunction((color) => document.getElementById('key-hex').value === color, opened);
  await page.keyboard.press('Control+Shift+Z');
  await page.waitForFunction((color) => document.getElementById('key-hex').value === color, hex);
  assertClean(watch);
  await page.close();
});

test('a click averages as many pixels as were chosen, and fewer at the picture’s border', async () => {
  const {page, watch} = await openPage(setup);
  const corner = await screenPoint(page, 1, 719);
  for (const [side, width, height, x, y] of [[1, 1, 1, 1, 719], [3, 3, 2, 0, 718], [11, 7, 6, 0, 714]]) {
    await page.locator('#sample-size').selectOption(String(side));
    await page.keyboard.press('e');
    await page.mouse.move(corner.x, corner.y);
    await page.waitForFunction((size) => document.getElementById('at-sample-size').textContent === size,
                               `${width} × ${height}`);
    const asked = page.waitForRequest('**/api/sample');
    await page.mouse.down();
    await page.mouse.move(corner.x + 2, corner.y - 2);  // no hand is quite still
    await page.mouse.up();
    assert.deepEqual((await asked).postDataJSON().samples, [{frame: 0, x, y, width, height}]);
    const said = side === 1 ? 'Mean of 1 pixel.' : `Mean of ${width} × ${height} pixels.`;
    await page.waitForFunction((text) => document.getElementById('key-note').textContent.startsWith(text), said);
  }
  assertClean(watch);
  await page.close();
});

test('a clip that asks to be turned stands upright, and a click takes what is seen there', async (t) => {
  const [stored, turned] = ['stored.mp4', 'turned.mp4'].map((name) => join(setup.folder, name));
  const corner = 'drawbox=w=100:h=100:t=fill:color';
  const corners = `${corner}=red,${corner}=yellow:x=220,${corner}=magenta:y=140,${corner}=cyan:x=220:y=140`;
  await run('ffmpeg', ['-v', 'error', '-f', 'lavfi', '-i', `color=0x2da54b:s=320x240:d=0.1,${corners}`, stored]);
  await run('ffmpeg', ['-v', 'error', '-i', stored, '-c', 'copy', '-metadata:s:v', 'rotate=90', turned]);
  const [seen] = await framesOf(turned, 240, 320);  // as another program turns it
  const own = await startPreview(turned);
  t.after(own.stop);
  const {page, watch} = await openPage({browser: setup.browser, address: own.address});
  assert.match(await page.locator('#clip-facts').textContent(), /^240 × 320/);
  const {width, height} = await page.locator('#pane-main canvas').boundingBox();
  assert.ok(Math.abs(width / height - 0.75) < 0.01, `${width} x ${height}`);
  await page.keyboard.press('1');
  await drawn(page, {view: 'source'});
  const shown = await page.locator('#pane-main canvas').evaluate(
      (canvas) => [...canvas.getContext('2d').getImageData(0, 0, 240, 320).data]);
  for (const [x, y] of [[50, 40], [190, 40], [50, 280], [190, 280]]) {
    const point = await screenPoint(page, x, y);
    await page.keyboard.press('e');
    const [answer] = await Promise.all([page.waitForResponse('**/api/sample'), page.mouse.click(point.x, point.y)]);
    const {mean} = await answer.json();
    const colorIn = (bytes) => [0, 1, 2].map((channel) => bytes[4 * (y * 240 + x) + channel]);
    const there = colorIn(seen);
    for (const color of [mean, colorIn(shown)]) {
      assert.ok(color.every((level, at) => Math.abs(level - there[at]) < 12), `${color} is not ${there} at ${x}, ${y}`);
    }
  }
  assertClean(watch);
  await page.close();
});

test('a dragged rectangle is averaged; more samples add up over several frames', async () => {
  const {page, watch} = await openPage(setup);
  const samples = [{frame: 0, x: 40, y: 40, width: 21, height: 11}, {frame: 2, x: 1198, y: 58, width: 5, height: 5}];
  const from = await screenPoint(page, 40, 40);
  const to = await screenPoint(page, 60, 50);
  await page.keyboard.press('Shift+E');
  const answer = () => page.waitForResponse((response) => response.url().endsWith('api/sample'));
  const [first] = await Promise.all([answer(), (async () => {
    await page.mouse.move(from.x, from.y);
    await page.mouse.down();
    await page.mouse.move(to.x, to.y, {steps: 4});
    await page.mouse.up();
  })()]);
  assert.deepEqual(first.request().postDataJSON(), {samples: samples.slice(0, 1)});
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press('ArrowRight');
  await drawn(page, {view: 'result', frame: 2});
  const point = await screenPoint(page, 1200, 60);
  const [second] = await Promise.all([answer(), page.mouse.click(point.x, point.y)]);
  assert.deepEqual(second.request().postDataJSON(), {samples});
  const {hex} = await (await ask(setup.address, 'sample', {samples})).json();
  await page.waitForFunction((color) => document.getElementById('key-hex').value === color, hex);
  assert.match(await page.locator('#key-note').textContent(), /2 samples on 2 frames, 256 pixels/);
  await closeDialog(page);
  assert.equal(await page.locator('#stage.picking').count(), 0);
  assertClean(watch);
  await page.close();
});

test('samples go with the key colour that they gave; a 65th is refused before it is sent', async () => {
  const {page, watch} = await openPage(setup);
  const opened = await page.locator('#key-hex').inputValue();
  const sampled = async (x, y) => {
    const point = await screenPoint(page, x, y);
    const isIt = (response) => response.url().endsWith('api/sample');
    const [answer] = await Promise.all([page.waitForResponse(isIt), page.mouse.click(point.x, point.y)]);
    const {hex} = await answer.json();
    await page.waitForFunction((color) => document.getElementById('key-hex').value === color, hex);
    return answer.request().postDataJSON().samples.map((sample) => sample.x + 2);  // of 5
  };
  await page.keyboard.press('Shift+E');
  assert.deepEqual(await sampled(640, 300), [640]);
  assert.deepEqual(await sampled(40, 60), [640, 40]);
  while (await page.locator('#undo').isEnabled()) await page.locator('#undo').click();
  assert.equal(await page.locator('#key-hex').inputValue(), opened);
  assert.equal(await page.locator('#pane-main .box').count(), 0);
  assert.deepEqual(await sampled(1200, 60), [1200]);
  await enter(page, 'shadow', 40);  // another setting takes none away
  assert.deepEqual(await sampled(40, 60), [1200, 40]);

  const point = await screenPoint(page, 40, 60);
  for (let sample = 3; sample <= 65; ++sample) await page.mouse.click(point.x, point.y);
  await page.waitForSelector('#message[data-kind=error]:not([hidden])');
  assert.match(await page.locator('#message-text').textContent(), /at most 64 samples/);
  assertClean(watch);  // nothing was refused by the server
  await page.close();
});

test('sliders: numbers, arrow keys, double click, dependence on toggles, undo of each change', async () => {
  const {page, watch} = await openPage(setup);
  await page.keyboard.press('2');
  await drawn(page, {view: 'matte'});
  const before = await pictureAfter(page, 'matte', () => enter(page, 'clip-black', 30), {'clip-black': 30});
  const slider = page.locator('#set-clip-black');
  await slider.focus();
  const changed = await pictureAfter(page, 'matte', () => slider.press('Shift+ArrowUp'), {'clip-black': 40});
  assert.equal(await valueOf(page, 'clip-black'), '40');
  assert.notDeepEqual(changed, before);
  await slider.press('ArrowLeft');
  assert.equal(await valueOf(page, 'clip-black'), '39');
  await page.locator('label[for=set-clip-black]').dblclick();
  assert.equal(await valueOf(page, 'clip-black'), '0');
  await page.locator('#undo').click();
  assert.equal(await valueOf(page, 'clip-black'), '39');
  await enter(page, 'clip-black', 1000);
  assert.equal(await valueOf(page, 'clip-black'), '100');

  assert.equal(await page.locator('#set-blur-radius').isDisabled(), true);
  await page.locator('#set-edge-blur').check();
  assert.equal(await page.locator('#set-blur-radius').isDisabled(), false);
  await page.locator('#undo').click();
  assert.equal(await page.locator('#set-edge-blur').isChecked(), false);
  while (await page.locator('#undo').isEnabled()) await page.locator('#undo').click();
  assert.equal(await valueOf(page, 'clip-black'), '0');
  assertClean(watch);
  await page.close();
});

test('a double click on a slider is one step of the history, with its clicks', async () => {
  const {page, watch} = await openPage(setup);
  await enter(page, 'clip-black', 30);
  const {x, y, width, height} = await page.locator('#set-clip-black').boundingBox();
  await page.mouse.dblclick(x + 0.8 * width, y + height / 2);
  assert.equal(await valueOf(page, 'clip-black'), '0');
  await page.locator('#undo').click();
  assert.equal(await valueOf(page, 'clip-black'), '30');
  await page.locator('#undo').click();
  assert.equal(await valueOf(page, 'clip-black'), '0');
  assert.equal(await page.locator('#undo').isDisabled(), true);
  assertClean(watch);
  await page.close();
});

test('shortcuts work from where the hand was last', async () => {
  const {page, watch} = await openPage(setup);
  const number = page.locator('#number-clip-black');
  await number.fill('25');
  await number.press('Control+z');  // still the field's own
  assert.equal(await page.locator('#undo').isDisabled(), true);
  await number.fill('35');
  await number.press('Enter');
  await page.locator('#undo:enabled').waitFor();
  await number.press('Control+z');
  assert.equal(await valueOf(page, 'clip-black'), '0');

  await page.locator('#set-clip-black').focus();
  await page.keyboard.press(' ');
  assert.equal(await page.locator('#play').getAttribute('aria-pressed'), 'true');
  await page.keyboard.press(' ');
  await page.locator('#set-edge-blur').click();
  await page.keyboard.press('Control+z');
  assert.equal(await page.locator('#set-edge-blur').isChecked(), false);

  await page.locator('#second').focus();
  const {x, y} = await screenPoint(page, 640, 300);
  await page.mouse.click(x, y);
  await page.keyboard.press('2');
  assert.equal(await page.locator('#view-matte').getAttribute('aria-pressed'), 'true');

  await page.keyboard.press('Control+s');
  const kept = await page.evaluate(() => ['s', 'e'].map((key) => !document.dispatchEvent(
      new KeyboardEvent('keydown', {key, ctrlKey: true, cancelable: true}))));
  assert.deepEqual(kept, [true, true]);  // from the browser, which would save the page
  assertClean(watch);
  await page.close();
});

test('the controls are those of the table', async () => {
  const {page, watch} = await openPage(setup);
  const {parameters} = await (await ask(setup.address, 'parameters')).json();
  const elsewhere = ['view', 'key-color'];
  const wanted = parameters.filter(({slug}) => !elsewhere.includes(slug)).map(({slug}) => `set-${slug}`);
  const there = await page.locator('#controls [id^=set-]').evaluateAll((inputs) => inputs.map(({id}) => id));
  assert.deepEqual(there, wanted);
  for (const {slug, kind, range, default: standard, help} of parameters) {
    if (kind !== 'slider') continue;
    const slider = page.locator(`#set-${slug}`);
    assert.deepEqual([await slider.getAttribute('min'), await slider.getAttribute('max'), await slider.inputValue()],
                     [...range, standard].map(String));
    assert.ok((await page.locator('.slider-row', {has: slider}).getAttribute('title')).includes(help));
  }
  assertClean(watch);
  await page.close();
});

test('a key colour brings the screen that it is of, and both are undone together', async () => {
  const {page, watch} = await openPage(setup);
  const screen = page.locator('#set-screen'), hex = page.locator('#key-hex'), before = await hex.inputValue();
  await hex.fill('#0655ed');
  await hex.press('Enter');
  assert.equal(await screen.inputValue(), 'blue');
  await page.locator('#undo').click();
  assert.deepEqual([await screen.inputValue(), await hex.inputValue()], ['green', before]);
  assert.ok(await page.locator('#set-plate option[value=clean]').isDisabled(), 'no file was named');
  assertClean(watch);
  await page.close();
});

test('A and B hold two settings, flipped with one key', async () => {
  const {page, watch} = await openPage(setup);
  await enter(page, 'clip-white', 70);
  await page.keyboard.press('a');
  assert.equal(await valueOf(page, 'clip-white'), '100');
  assert.equal(await page.locator('#slot-B').getAttribute('aria-pressed'), 'true');
  await page.keyboard.press('a');
  assert.equal(await valueOf(page, 'clip-white'), '70');
  await page.keyboard.press('Shift+A');
  await page.keyboard.press('a');
  assert.equal(await valueOf(page, 'clip-white'), '70');
  assertClean(watch);
  await page.close();
});
