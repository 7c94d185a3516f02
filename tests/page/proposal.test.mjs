// Proposed settings: looked at, left out, taken.

import assert from 'node:assert/strict';
import {after, before, test} from 'node:test';

import {assertClean, begin, closeDialog, openPage} from './support.mjs';

let setup;
before(async () => { setup = await begin({clip: {frames: 3}}); });
after(() => setup?.end());

// What the page's settings are, as the server is asked for a picture with them.
const settingsOf = async (page) => {
  const asked = page.waitForRequest((request) => request.url().endsWith('api/wheel'));
  await page.locator('#wheel-panel summary').click();
  await page.locator('#wheel-panel summary').click();
  return (await asked).postDataJSON().settings;
};

test('proposed settings are shown first, and taken where they are left on, as one step of the history', async () => {
  const {page, watch} = await openPage(setup);
  const before = await settingsOf(page);
  const answer = page.waitForResponse((response) => response.url().endsWith('api/propose'), {timeout: 60000});
  await page.keyboard.press('p');
  const {settings, reasons} = await (await answer).json();
  await page.waitForSelector('#proposal[open]');
  assert.equal(await page.locator('#undo').isDisabled(), true);
  const changed = reasons.map(({slug}) => slug).filter((slug) => settings[slug] !== before[slug]);
  assert.ok(changed.length >= 2, String(changed));
  const rows = page.locator('#proposal-changes li');
  assert.deepEqual(await rows.locator('input').evaluateAll((all) => all.map(({id}) => id)),
                   changed.map((slug) => `propose-${slug}`));
  for (const [at, slug] of changed.entries()) {
    const text = await rows.nth(at).innerText();
    const {sentence} = reasons.find((reason) => reason.slug === slug);
    for (const part of [before[slug], settings[slug], sentence.slice(1)]) {
      assert.ok(text.includes(String(part).replace('true', 'on').replace('false', 'off')), `${slug}: ${text}`);
    }
  }
  const kept = await page.locator('#proposal-kept summary').innerText();
  assert.equal(kept, `${19 - changed.length} settings stay as now`);
  assert.equal(await page.locator('#proposal-kept dl').isVisible(), false);

  await page.locator(`label[for=propose-${changed[0]}]`).click();
  await page.locator('#proposal-apply').focus();
  await page.keyboard.press('Enter');
  assert.equal(await page.locator('#proposal[open]').count(), 0);
  const taken = Object.fromEntries(changed.slice(1).map((slug) => [slug, settings[slug]]));
  assert.deepEqual(await settingsOf(page), {...before, ...taken});
  await page.keyboard.press('Control+z');
  assert.deepEqual(await settingsOf(page), before);
  assert.equal(await page.locator('#undo').isEnabled(), false);
  assertClean(watch);
  await page.close();
});

test('a proposal knows the chosen plate, says what it left out, and cancelled changes nothing', async () => {
  const {page, watch} = await openPage(setup);
  await page.locator('#set-plate').selectOption('shot');
  await page.locator('#set-plate').blur();
  const before = await settingsOf(page);
  const reasons = ['clip-black', 'clip-white', 'despill-blue'].map((slug) => ({slug, sentence: 'it was tried'}));
  const proposal = {settings: {...before, 'clip-black': 4}, reasons, leftOut: ['skin-hue 25 would tint the rim']};
  let answer;
  await page.route('**/api/propose', (route) => { answer = () => route.fulfill({json: proposal}); });
  const asked = page.waitForRequest('**/api/propose');
  await page.keyboard.press('p');
  assert.deepEqual((await asked).postDataJSON(), {plate: 'shot'});
  await page.keyboard.press('?');
  const answered = page.waitForResponse('**/api/propose');
  await answer();
  await answered;
  await page.waitForFunction(() => !document.getElementById('step-propose').disabled);
  assert.equal(await page.locator('#proposal[open]').count(), 0);
  await page.keyboard.press('Escape');  // the help
  await page.waitForSelector('#proposal[open]');
  assert.equal(await page.locator('#proposal-changes li').count(), 1);
  assert.ok(await page.locator('#proposal-left-out li', {hasText: 'skin-hue 25 would tint the rim.'}).isVisible());
  assert.match(await page.locator('#proposal-kept summary').innerText(), /^2 settings stay/);
  await page.locator('#propose-clip-black').uncheck();
  assert.equal(await page.locator('#proposal-apply').isDisabled(), true);
  await closeDialog(page);
  assert.deepEqual(await settingsOf(page), before);
  assert.equal(await page.locator('#step-propose.done').count(), 0);
  assertClean(watch);
  await page.close();
});
