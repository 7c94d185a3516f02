// Brings the pictures of one pane: at once, the newest first, a small one while the hand moves.

import * as api from './api.js';
import {Newest} from './newest.js';

const kLargePixels = 1280 * 720;
const kRest = 150;  // milliseconds without a change after which the hand counts as resting
const kTab = Math.random().toString(36).slice(2, 10);

// How much smaller pictures are drawn while the hand moves.
export function previewScale({width, height}) {
  if (width * height <= kLargePixels) return 1;
  return width * height <= 4 * kLargePixels ? 2 : 4;
}

// Reports the time from an input to the first picture that shows it, once that picture is on the screen.
function measure(time, report) {
  requestAnimationFrame(() => setTimeout(() => {
    const {duration} = performance.measure('input to picture', {start: time, end: performance.now()});
    report(duration);
  }));
}

export class PictureFeed {
  #newest;
  #sequence = 0;
  #rest = 0;
  #turn = 0;   // counts what was asked to be shown
  #shown = 0;  // turn of the picture on the screen
  #viewWanted = '';

  // `draw(answer, request)`; `fail(error)`; `timed(milliseconds)`.
  constructor({name, clip, cache, draw, fail, timed}) {
    this.viewer = `${kTab}-${name}`;
    this.smaller = previewScale(clip);
    Object.assign(this, {cache, draw, timed});
    this.#newest = new Newest({
      ask: (question, signal) => this.#ask(question, signal),
      take: (answer, question) => this.#take(answer, question),
      fail,
    });
  }

  // Shows `request` {frame, view, settings, depth, over}. `time` is that of the input event that caused it.
  show(request, {moving = false, time = performance.now()} = {}) {
    const key = JSON.stringify(request.view === 'source' ? [request.frame, request.depth] : request);
    const question = {request, key, time, turn: this.#turn += 1};
    clearTimeout(this.#rest);
    this.#viewWanted = request.view;
    const known = this.cache.get(key);
    if (known) {
      this.#newest.forget();
      this.#present(known, question);
      return;
    }
    this.#want({...question, scale: this.smaller});
    if (this.smaller > 1) this.#rest = setTimeout(() => this.#want({...question, scale: 1}), moving ? kRest : 0);
  }

  // A full-size picture under way gives way to the moving hand.
  #want(question) {
    this.#newest.want(question, (underWay) => underWay.scale < question.scale);
  }

  #ask({request, scale}, signal) {
    this.#sequence += 1;
    return api.picture({...request, scale, viewer: this.viewer, sequence: this.#sequence}, signal);
  }

  #take(answer, question) {
    if (question.scale === 1) this.cache.add(question.key, answer);
    if (question.turn < this.#shown || question.request.view !== this.#viewWanted) return;  // the page has gone on
    this.#present(answer, question);
  }

  #present(answer, {request, time, turn}) {
    const isFirst = turn !== this.#shown;
    this.#shown = turn;
    this.draw(answer, request);
    if (isFirst) measure(time, this.timed);
  }
}
