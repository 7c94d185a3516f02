// For everybody, on every screen: names, keyboard, sizes.

import assert from 'node:assert/strict';
import {copyFile, mkdir} from 'node:fs/promises';
import {join} from 'node:path';
import {after, before, test} from 'node:test';

import {ask, assertClean, begin, openPage, run, startPreview} from './support.mjs';

let setup;
before(async () => { setup = await begin({clip: {frames: 3}}); });
after(() => setup?.end());

// What the browser itself tells assistive software about every control.
async function controlsOf(page) {
  const client = await page.context().newCDPSession(page);
  const {nodes} = await client.send('Accessibility.getFullAXTree');
  const roles = ['button', 'slider', 'spinbutton', 'checkbox', 'combobox', 'textbox', 'ColorWell', 'link', 'radio'];
  return nodes.filter(({ignored, role}) => !ignored && roles.includes(role?.value))
      .map(({role, name}) => ({role: role.value, name: name?.value ?? ''}));
}

test('every control has a name of its own, in the page and in each dialog', async () => {
  const {page, watch} = await openPage(setup);
  await page.keyboard.press('w');
  for (const dialog of [null, 'presets', 'command', 'export', 'proposal', 'help', 'leave']) {
    if (dialog) await page.evaluate((id) => document.getElementById(id).showModal(), dialog);
    const controls = await controlsOf(page);
    assert.ok(controls.length >= (dialog ? 1 : 60), `${dialog}: ${controls.length}`);
    assert.deepEqual(controls.filter(({name}) => name.trim() === ''), [], String(dialog));
    const names = controls.map(({role, name}) => `${role} ${name}`);
    assert.deepEqual(names.filter((name, at) => names.indexOf(name) !== at), [], String(dialog));
    if (dialog) await page.evaluate((id) => document.getElementById(id).close(), dialog);
  }
  assertClean(watch);
  await page.close();
});

test('Tab reaches the controls, and the focus is seen', async () => {
  const {page, watch} = await openPage(setup);
  const reached = new Set();
  for (let press = 0; press < 80; ++press) {
    await page.keyboard.press('Tab');
    const {id, outline} = await page.evaluate(() => {
      const {id, parentElement} = document.activeElement;
      const outlined = getComputedStyle(document.activeElement).outlineStyle !== 'none';
      return {id, outline: outlined || document.activeElement === document.body || parentElement === null};
    });
    assert.ok(outline, `${id} shows no focus`);
    reached.add(id);
  }
  const wanted = ['step-pick', 'view-matte', 'fit', 'key-hex', 'set-shadow', 'number-shadow', 'frame', 'playhead'];
  for (const id of wanted) {
    assert.ok(reached.has(id), `${id} is not reached`);
  }
  assertClean(watch);
  await page.close();
});

test('? lists the shortcuts', async () => {
  const {page, watch} = await openPage(setup);
  await page.keyboard.press('?');
  const text = await page.locator('#help[open]').innerText();
  for (const name of ['Wipe', 'Eyedropper', 'Undo', 'Redo', 'In point', 'Out point', 'Flip', 'Fit', '100 %', 'Space']) {
    assert.ok(text.includes(name), name);
  }
  assertClean(watch);
  await page.close();
});

for (const [width, height] of [[1280, 720], [2560, 1440]]) {
  for (const colorScheme of ['dark', 'light']) {
    const how = `${width} x ${height}, ${colorScheme}`;
    test(`${how}: nothing lies outside, the picture is large, texts can be read`, async () => {
      const {page, watch} = await openPage(setup, {size: {width, height}, colorScheme});
      const outside = await page.evaluate(() => {
        const {scrollWidth, scrollHeight} = document.documentElement;
        const all = (selector) => [...document.querySelectorAll(selector)];
        const seen = all('.top *, .bar *, .transport *, .key *').filter((one) => one.offsetParent);
        const out = seen.filter((one) => {
          const {left, right, bottom} = one.getBoundingClientRect();
          return left < 0 || right > innerWidth + 0.5 || bottom > innerHeight + 0.5;
        });
        const cut = all('.bar, .transport, .tools, .steps').filter((bar) => bar.scrollWidth > bar.clientWidth);
        const scrolls = scrollWidth > innerWidth || scrollHeight > innerHeight;
        return {scrolls, out: out.map(({id}) => id), cut: cut.map(({className}) => className)};
      });
      assert.deepEqual(outside, {scrolls: false, out: [], cut: []});
      const {width: shown} = await page.locator('#pane-main canvas').boundingBox();
      assert.ok(shown > 0.65 * width, `${shown}`);
      assert.deepEqual(await page.evaluate(poorContrasts), []);
      assertClean(watch);
      await page.close();
    });
  }
}

for (const [width, height] of [[1024, 700], [1280, 720], [1920, 1080]]) {
  test(`${width} x ${height}: every control can be reached, in the page and in each dialog`, async () => {
    const {page, watch} = await openPage(setup, {size: {width, height}});
    await page.keyboard.press('w');
    await page.locator('#over').selectOption('color');
    await page.keyboard.press('e');  // the readout has one part more
    assert.deepEqual(await page.evaluate(outOfReach, 'body'), []);
    await page.keyboard.press('Escape');
    const {settings} = await (await ask(setup.address, 'clip')).json();
    const reasons = Object.keys(settings).map((slug) => ({slug, sentence: 'The trial keys come nearer. '.repeat(4)}));
    const other = Object.fromEntries(reasons.map(({slug}, at) => [slug, at % 2 ? settings[slug] : 77]));
    const proposal = {settings: other, reasons, leftOut: ['It would do harm. '.repeat(9)]};
    await page.route('**/api/propose', (route) => route.fulfill({json: proposal}));
    await page.keyboard.press('p');
    await page.waitForSelector('#proposal[open]');
    await page.locator('#proposal-kept summary').click();
    assert.deepEqual(await page.evaluate(outOfReach, '#proposal'), []);
    await page.evaluate(() => document.getElementById('proposal').close());
    for (const id of ['presets', 'command', 'export', 'help', 'leave']) {
      await page.evaluate((dialog) => document.getElementById(dialog).showModal(), id);
      assert.deepEqual(await page.evaluate(outOfReach, `#${id}`), []);
      await page.evaluate((dialog) => document.getElementById(dialog).close(), id);
    }
    assertClean(watch);
    await page.close();
  });
}

test('a long name of the clip or of a background pushes no control out of the window', async () => {
  const folder = join(setup.folder, 'long');
  await mkdir(folder);
  const clip = join(folder, `${'long-'.repeat(39)}.mp4`);
  await copyFile(setup.clip, clip);
  await run('ffmpeg', ['-v', 'error', '-f', 'lavfi', '-i', 'color=gray:s=64x36', '-frames:v', '1',
                       join(folder, `${'wide '.repeat(39)}.png`)]);
  const own = await startPreview(clip, '--folder', folder);
  const {page, watch} = await openPage({browser: setup.browser, address: own.address});
  await page.locator('#over-files option').first().waitFor({state: 'attached'});
  assert.deepEqual(await page.evaluate(outOfReach, 'body'), []);
  assertClean(watch);
  await page.close();
  await own.stop();
});

// Runs in the page: controls that a hand cannot bring wholly into the window, or that something else covers, and panels
// that are cut off.
function outOfReach(root) {
  const all = (selector) => [...document.querySelectorAll(root)].flatMap((one) => [...one.querySelectorAll(selector)]);
  const inWindow = ({left, top, right, bottom}) =>
    left >= 0 && top >= 0 && right <= innerWidth + 0.5 && bottom <= innerHeight + 0.5;
  const scrollTo = (control) => {
    control.scrollIntoView({block: 'nearest'});
    for (let one = control.parentElement; one; one = one.parentElement) {
      if (getComputedStyle(one).overflowY === 'hidden') one.scrollTo(0, 0);  // which no hand could scroll
    }
  };
  const isHit = (control, x, y) => {
    const hit = document.elementFromPoint(x, y);
    return control.contains(hit) || hit?.closest('label')?.control === control;
  };
  const isReached = (control) => {
    scrollTo(control);
    const box = control.getBoundingClientRect();
    const [middle, y] = [(box.left + box.right) / 2, (box.top + box.bottom) / 2];
    return inWindow(box) && [box.left + 2, middle, box.right - 2].every((x) => isHit(control, x, y));
  };
  const controls = all('button, .button, select, summary, a[href], [role=slider], textarea, input:not([type=file])')
      .filter((one) => one.checkVisibility() && getComputedStyle(one).pointerEvents !== 'none');
  const seen = (selector) => all(selector).filter((one) => one.checkVisibility());
  const panels = seen('.top, .bar, .readout, .panel, .key, .wheel, .transport, .scrolling');
  const outside = [...panels, ...seen('.stage, .track')].filter((one) => !inWindow(one.getBoundingClientRect()));
  const cut = [...panels, ...seen('.slider-row label')].filter((one) => one.scrollWidth > one.clientWidth);
  const unreached = controls.filter((one) => !isReached(one));
  return [...unreached, ...outside, ...cut].map((one) => one.id || one.className || one.textContent);
}

// Runs in the page: texts of less than 4.5 : 1 against their background, disabled ones aside (WCAG 2.2, 1.4.3).
function poorContrasts() {
  const parse = (color) => color.match(/[\d.]+/g).map(Number);
  const linear = (level) => (level / 255 <= 0.04045 ? level / 255 / 12.92 : ((level / 255 + 0.055) / 1.055) ** 2.4);
  const luminance = ([r, g, b]) => 0.2126 * linear(r) + 0.7152 * linear(g) + 0.0722 * linear(b);
  const behind = (element) => {
    for (let one = element; one; one = one.parentElement) {
      const color = parse(getComputedStyle(one).backgroundColor);
      if (color.length < 4 || color[3] > 0.99) return color;
    }
    return [255, 255, 255];
  };
  const isText = (element) => [...element.childNodes].some(
      (node) => node.nodeType === Node.TEXT_NODE && node.data.trim());
  const poor = [];
  for (const element of document.querySelectorAll('header *, .bar *, .readout *, .panel *, footer *')) {
    if (!isText(element) || !element.offsetParent || element.closest(':disabled, .off, option')) continue;
    const color = parse(getComputedStyle(element).color);
    const [text, ground] = [color, behind(element)].map(luminance);
    const ratio = (Math.max(text, ground) + 0.05) / (Math.min(text, ground) + 0.05);
    if (ratio < 4.5) poor.push(`${element.id || element.textContent} ${ratio.toFixed(2)}`);
  }
  return poor;
}
