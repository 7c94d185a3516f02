// The page's reckoning, without a browser.

import assert from 'node:assert/strict';
import {test} from 'node:test';

const kElement = {setAttribute(name, value) { this[name] = value; }};  // the only one that this document has

globalThis.window = {devicePixelRatio: 2};
globalThis.document = {getElementById: () => kElement, querySelectorAll: () => []};

const page = '../../preview/page';
const {Camera} = await import(`${page}/camera.js`);
const {depthText} = await import(`${page}/depth.js`);
const {squareAbout} = await import(`${page}/eyedropper.js`);
const {withoutEnding} = await import(`${page}/export.js`);
const {History} = await import(`${page}/history.js`);
const {Newest} = await import(`${page}/newest.js`);
const {PictureCache} = await import(`${page}/picture_cache.js`);
const {Player} = await import(`${page}/player.js`);
const {valueAt} = await import(`${page}/values.js`);

test('curves have the values that the keyer gives them', () => {
  const slider = {kind: 'slider'};
  const curve = [[10, 0], [14, 6], [20, -3]];
  const at = (frame) => valueAt(slider, curve, frame);
  assert.deepEqual([0, 10, 11, 12, 13, 14, 15, 19, 20, 99].map(at), [0, 0, 2, 3, 5, 6, 5, -1, -3, -3]);
  assert.equal(valueAt(slider, [[0, -1], [2, 0]], 1), 0);  // halves go up
  assert.equal(valueAt({kind: 'color'}, [[0, '#000aff'], [2, '#ff0b00']], 1), '#800b80');
  assert.equal(valueAt({kind: 'toggle'}, [[0, false], [4, true]], 3), false);
  assert.equal(valueAt({kind: 'toggle'}, [[0, false], [4, true]], 4), true);
  assert.equal(valueAt(slider, 7, 3), 7);
});

test('a drag is one step of the history, two drags are two', () => {
  const history = new History();
  const add = (before, after, dragging) =>
    history.add({slot: 'A', before, after, label: ''}, {merge: 'shadow', dragging});
  add(1, 2, true);
  add(2, 3, true);
  history.close();
  add(3, 4, true);
  assert.equal(history.undo().before, 3);
  const first = history.undo();
  assert.deepEqual([first.before, first.after], [1, 3]);
  assert.equal(history.undo(), null);
  assert.equal(history.redo(), first);
  add(3, 9, false);  // a new change ends what could be done again, and does not join what was undone
  assert.equal(history.redo(), null);
  assert.equal(history.undo().before, 3);
  add(3, 5, true);
  add(5, 3, true);  // there and back again is no step
  assert.equal(history.undo(), first);
});

test('of questions asked meanwhile only the newest follows; errors do not stop the next', async () => {
  const asked = [], taken = [], failed = [];
  const answers = new Map();
  const newest = new Newest({
    ask: (question) => {
      asked.push(question);
      return new Promise((done, fail) => answers.set(question, {done, fail}));
    },
    take: (answer) => taken.push(answer),
    fail: (error) => failed.push(error.message),
  });
  const settle = () => new Promise((done) => setTimeout(done));
  [1, 2, 3].forEach((question) => newest.want(question));
  assert.deepEqual(asked, [1]);
  newest.want(4);
  answers.get(1).fail(new Error('no'));
  await settle();
  assert.deepEqual([asked, failed], [[1, 4], ['no']]);
  answers.get(4).done('four');
  await settle();
  assert.deepEqual(taken, ['four']);
  newest.want(5);
  assert.deepEqual(asked, [1, 4, 5]);
});

// A state whose pictures come after `delay` milliseconds; it notes when each frame was asked for.
function playable(delay, range) {
  let draw = null;
  const state = {
    clip: {rate: {num: 100, den: 1}}, frame: 0, range, asked: [],
    on: (name, listener) => { draw = () => listener({name: 'main', frame: state.frame}); },
    redraw: () => draw(),
    setFrame(frame) {
      state.frame = frame;
      state.asked.push(performance.now());
      setTimeout(draw, delay);
    },
  };
  return state;
}

const pause = (milliseconds) => new Promise((done) => setTimeout(done, milliseconds));

test('playing keeps the clip’s rate, whatever else is drawn and however often it is begun', async () => {
  const state = playable(1, {start: 0, end: 1000});
  const player = new Player(state);
  const begun = performance.now();
  for (let press = 0; press < 5; ++press) player.toggle();
  for (let turn = 0; turn < 50; ++turn) {
    await pause(4);
    state.redraw();  // as when a setting changes
    state.redraw();
  }
  const most = 5 + (performance.now() - begun) / 10;
  player.toggle();
  const {length} = state.asked;
  assert.ok(length > 5 && length <= most, `${length} frames, at most ${most} are due`);
  await pause(50);
  assert.equal(state.asked.length, length);
});

test('playing waits for pictures that are slow', async () => {
  const state = playable(50, {start: 0, end: 1000});
  const player = new Player(state);
  player.toggle();
  await pause(320);
  player.toggle();
  const waits = state.asked.slice(1).map((time, at) => time - state.asked[at]);
  assert.ok(waits.length >= 2 && waits.every((wait) => wait >= 49), String(waits));
});

test('a range of one frame is shown, not played', async () => {
  const state = playable(1, {start: 3, end: 4});
  new Player(state).toggle();
  await pause(40);
  assert.equal(state.frame, 3);
  assert.equal(kElement['aria-pressed'], false);
});

test('only known endings are taken off a name', () => {
  const bare = (name) => withoutEnding(name, ['.mov', '.mkv', '-%05d.exr', '-%05d.png']);
  assert.equal(bare('scene.v2'), 'scene.v2');
  assert.equal(bare('scene.v2.mov'), 'scene.v2');
  assert.equal(bare('scene.v2-%05d.exr'), 'scene.v2');
  assert.equal(bare('scene-%04d.PNG'), 'scene');
  assert.equal(bare('scenexmov'), 'scenexmov');
});

test('the camera fits, and zooms about a point', () => {
  const camera = new Camera({width: 720, height: 576, aspect: 16 / 15});
  camera.setArea(768, 1000);
  assert.equal(camera.zoom, 2);  // of the screen's pixels; two are one CSS pixel
  assert.deepEqual(camera.toArea({x: 0, y: 0, width: 720, height: 576}), {left: 0, top: 212, width: 768, height: 576});
  const before = camera.toPicture(100, 300);
  camera.zoomTo(20, 100, 300);
  const after = camera.toPicture(100, 300);
  assert.ok(Math.abs(before.x - after.x) < 1e-9 && Math.abs(before.y - after.y) < 1e-9);
  camera.zoomTo(1e9);
  assert.equal(camera.zoom, 64);
});

test('the depth of a clip is named where it is not 8 bits', () => {
  assert.equal(depthText(8, false), '');
  assert.equal(depthText(12, false), '12 bits, keyed in 8 bits');
  assert.equal(depthText(32, true), 'floating point, keyed at full depth');
});

test('the cache forgets what was not looked at the longest', () => {
  const cache = new PictureCache();
  const picture = () => ({bytes: {length: 90e6}});
  cache.add('a', picture());
  cache.add('b', picture());
  cache.get('a');
  cache.add('c', picture());
  assert.deepEqual(['a', 'b', 'c'].map((key) => cache.get(key) !== null), [true, false, true]);
});

test('a sample is a square about its pixel, as much of it as lies in the picture', () => {
  const about = (x, y, side, size = {width: 20, height: 10}) => Object.values(squareAbout({x, y}, side, size));
  assert.deepEqual(about(7, 5, 5), [5, 3, 5, 5]);
  assert.deepEqual(about(3, 8, 1), [3, 8, 1, 1]);
  assert.deepEqual(about(0, 0, 5), [0, 0, 3, 3]);
  assert.deepEqual(about(19, 9, 11), [14, 4, 6, 6]);
  assert.deepEqual(about(10, 0, 3), [9, 0, 3, 2]);
  assert.deepEqual(about(1, 0, 11, {width: 2, height: 1}), [0, 0, 2, 1]);
});
