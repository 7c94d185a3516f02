// What the tests of the page share: the real command, a clip, a browser that watches itself.

import assert from 'node:assert/strict';
import {execFile, spawn} from 'node:child_process';
import {existsSync} from 'node:fs';
import {mkdtemp, rm} from 'node:fs/promises';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {createInterface} from 'node:readline';
import {promisify} from 'node:util';

import {chromium} from 'playwright-core';

export const kalvetra = process.env.KALVETRA_COMMAND ?? 'kalvetra';

const execute = promisify(execFile);
const kLargest = 1 << 30;  // bytes of a program's output

// Runs a program; answers its standard output as bytes.
export async function run(program, args, options = {}) {
  const {stdout} = await execute(program, args, {encoding: 'buffer', maxBuffer: kLargest, ...options});
  return stdout;
}

const kBrowsers = ['/usr/bin/chromium', '/usr/bin/chromium-browser', '/usr/bin/google-chrome',
                   '/Applications/Google Chrome.app/Contents/MacOS/Google Chrome'];

function browserPath() {
  const path = process.env.KALVETRA_CHROMIUM ?? kBrowsers.find((candidate) => existsSync(candidate));
  assert.ok(path, 'no Chromium was found; name it in KALVETRA_CHROMIUM');
  return path;
}

// A folder with the demonstration clip, scaled to `size` ("1920x1080") or coded in the pixel format `pixels` where
// those are given.
export async function makeClip({frames = 8, size = null, pixels = null} = {}) {
  const folder = await mkdtemp(join(tmpdir(), 'kalvetra-page-'));
  const clip = join(folder, 'shot.mp4');
  const changes = [size && ['-vf', `scale=${size.replace('x', ':')}`], pixels && ['-pix_fmt', pixels]].filter(Boolean);
  const drawn = changes.length > 0 ? join(folder, 'drawn.mp4') : clip;
  await run(kalvetra, ['sample', drawn, '--frames', String(frames)]);
  if (drawn !== clip) await run('ffmpeg', ['-v', 'error', '-i', drawn, ...changes.flat(), '-crf', '16', clip]);
  return {folder, clip, remove: () => rm(folder, {recursive: true, force: true})};
}

// `kalvetra preview` on a clip: {address, stop}.
export async function startPreview(clip, ...options) {
  const process = spawn(kalvetra, ['preview', clip, '--no-open', ...options], {stdio: ['ignore', 'pipe', 'inherit']});
  const ended = new Promise((done) => process.once('exit', done));
  const stop = async () => {
    process.kill('SIGINT');
    await ended;
  };
  for await (const line of createInterface(process.stdout)) {
    const found = line.match(/http:\/\/127\.0\.0\.1:\d+\/\S+/);
    if (found) return {address: found[0], stop, ended};
  }
  throw new Error('the preview ended without printing an address');
}

// Everything that a test needs, and what takes it away: the clip, its preview, a browser.
export async function begin({clip: clipOptions, options = [], inFolder = false} = {}) {
  const clip = await makeClip(clipOptions);
  const server = await startPreview(clip.clip, ...(inFolder ? ['--folder', clip.folder] : []), ...options);
  const browser = await chromium.launch({executablePath: browserPath(), headless: true});
  const end = async () => {
    await browser.close();
    await server.stop();
    await clip.remove();
  };
  return {...clip, ...server, browser, end};
}

// A page that has drawn its first picture. `watch` collects what must not be: messages of the console, and requests to
// others than the server.
export async function openPage({browser, address}, {size = {width: 1280, height: 720}, view = 'result', ...more} = {}) {
  const page = await browser.newPage({viewport: size, colorScheme: 'dark', ...more});
  const watch = {problems: [], foreign: []};
  page.on('console', (message) => {
    const text = `${message.text()} ${message.location().url}`;
    if (['error', 'warning'].includes(message.type())) watch.problems.push(text);
  });
  page.on('pageerror', (error) => watch.problems.push(String(error)));
  page.on('request', (request) => {
    if (!request.url().startsWith(address) && !request.url().startsWith('blob:')) watch.foreign.push(request.url());
  });
  await page.goto(address);
  await drawn(page, {view});
  return {page, watch};
}

export function assertClean({problems, foreign}) {
  assert.deepEqual(problems, []);
  assert.deepEqual(foreign, []);
}

// Waits until a full-size picture is shown.
export async function drawn(page, {pane = 'main', view, frame = 0}) {
  await page.waitForSelector(`#pane-${pane}[data-view="${view}"][data-frame="${frame}"][data-scale="1"]`);
}

// Does something and answers the bytes of the full-size picture of `view` that the page fetches because of it, with
// at least these settings.
export async function pictureAfter(page, view, action, wanted = {}) {
  const isIt = (response) => {
    if (!response.url().endsWith('/api/picture')) return false;
    const {view: asked, scale, settings} = response.request().postDataJSON();
    return asked === view && scale === 1 && Object.entries(wanted).every(([slug, value]) => settings[slug] === value);
  };
  const [response] = await Promise.all([page.waitForResponse(isIt), action()]);
  assert.equal(response.status(), 200);
  return response.body();
}

// Asks the server as the page does; answers the response.
export const ask = (address, path, body) => fetch(`${address}api/${path}`, body === undefined ? {} :
    {method: 'POST', body: JSON.stringify(body), headers: {'Content-Type': 'application/json'}});

// Closes the open dialog as the keyboard does.
export async function closeDialog(page) {
  await page.keyboard.press('Escape');
  await page.waitForFunction(() => document.querySelector('dialog[open]') === null);
}

// Sets a slider as a hand on the keyboard would enter its number.
export async function enter(page, slug, value) {
  const field = page.locator(`#number-${slug}`);
  await field.fill(String(value));
  await field.press('Enter');
  await page.evaluate(() => document.activeElement.blur());
}

// The point of the screen where a pixel of the main picture is seen.
export async function screenPoint(page, x, y) {
  const box = await page.locator('#pane-main canvas').boundingBox();
  const {width, height} = await page.evaluate(async () => (await fetch('api/clip')).json());
  return {x: box.x + (x + 0.5) * box.width / width, y: box.y + (y + 0.5) * box.height / height};
}

// The frames of a movie as packed red, green, blue, alpha.
export async function framesOf(file, width, height) {
  const bytes = await run('ffmpeg', ['-v', 'error', '-i', file, '-f', 'rawvideo', '-pix_fmt', 'rgba', '-']);
  const each = 4 * width * height;
  return Array.from({length: bytes.length / each}, (_, at) => bytes.subarray(at * each, (at + 1) * each));
}
