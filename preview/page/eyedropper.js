// The eyedropper: squares and rectangles of the source, on one frame or several, averaged into the key colour.

import * as api from './api.js';
import {byId, clamp, follow} from './dom.js';
import {tell, tellError} from './message.js';
import {same} from './values.js';

const kMostSamples = 64;  // that the server averages
const kClick = 4;         // CSS pixels; a hand that moves less has clicked, not dragged

// The square of `side` pixels about a pixel, as much of it as lies in the picture.
export function squareAbout({x, y}, side, {width, height}) {
  const reach = (side - 1) / 2;
  const [left, top] = [clamp(x - reach, 0, width - 1), clamp(y - reach, 0, height - 1)];
  const [right, bottom] = [clamp(x + reach, 0, width - 1), clamp(y + reach, 0, height - 1)];
  return {x: left, y: top, width: right - left + 1, height: bottom - top + 1};
}

export class Eyedropper {
  #state;
  #viewer;
  #samples = [];
  #color;  // the key colour, which is theirs if there are any
  #drawn = null;  // the area under the hand that is pressed
  #pointer = null;  // the pixel under it
  #adding = false;

  constructor(state, viewer) {
    this.#state = state;
    this.#viewer = viewer;
    viewer.boxes = () => this.#boxes();
    byId('pick').onclick = () => this.toggle(false);
    byId('pick-more').onclick = () => this.toggle(true);
    this.#color = state.settings['key-color'];
    byId('stage').addEventListener('pointermove', (event) => this.#hover(viewer.pixelAt(event)));
    byId('stage').addEventListener('pointerleave', () => this.#hover(null));
    byId('sample-size').onchange = () => viewer.place();
    state.on('frame', () => viewer.place());
    state.on('settings', () => this.#followColor());
  }

  get active() { return this.#viewer.tool !== null; }

  // Turns it on or off. `adding` keeps the samples that there are, and stays on.
  toggle(adding) {
    if (this.active && this.#adding === adding) {
      this.stop();
      return;
    }
    this.#adding = adding;
    this.#viewer.tool = (event) => this.#press(event);
    this.#mark();
    this.#viewer.place();
    const click = `Click to average ${this.#side} × ${this.#side} pixels, or drag a rectangle`;
    tell(adding ? `${click}, on any frame; Esc ends.` : `${click}; with Shift more samples add up.`);
  }

  // Of a click's square, in pixels.
  get #side() { return Number(byId('sample-size').value); }

  // What a click on a pixel takes of the source; null while this is off.
  areaAbout(pixel) {
    if (!this.active) return null;
    return {frame: this.#state.frame, ...squareAbout(pixel, this.#side, this.#state.clip)};
  }

  #hover(pixel) {
    this.#pointer = pixel;
    if (this.active) this.#viewer.place();
  }

  // A key colour from elsewhere, an undone one too, has no samples.
  #followColor() {
    const color = this.#state.settings['key-color'];
    if (same(color, this.#color)) return;
    this.#color = color;
    this.#samples = [];
    this.#viewer.place();
  }

  stop() {
    this.#viewer.tool = null;
    this.#drawn = null;
    this.#mark();
    this.#viewer.place();
  }

  #mark() {
    byId('stage').classList.toggle('picking', this.active);
    byId('readout').classList.toggle('picking', this.active);
    this.#state.emit('picking');
    byId('step-pick').setAttribute('aria-pressed', this.active);
    byId('pick').setAttribute('aria-pressed', this.active && !this.#adding);
    byId('pick-more').setAttribute('aria-pressed', this.active && this.#adding);
  }

  #boxes() {
    if (!this.active) return [];
    const here = this.#samples.filter(({frame}) => frame === this.#state.frame);
    const hand = this.#drawn ?? (this.#pointer && this.areaAbout(this.#pointer));
    return hand ? [...here, hand] : here;
  }

  #press(event) {
    event.preventDefault();
    const from = this.#viewer.pixelAt(event);
    if (!from) return;
    const adding = this.#adding || event.shiftKey;
    let dragged = false;
    const draw = (at) => {
      dragged ||= Math.hypot(at.clientX - event.clientX, at.clientY - event.clientY) >= kClick;
      this.#drawn = dragged ? this.#rectangle(from, this.#viewer.pixelAt(at, true)) : this.areaAbout(from);
      this.#viewer.place();
    };
    draw(event);
    follow(byId('stage'), event, draw, () => this.#take(this.#drawn, adding));
  }

  #rectangle(from, to) {
    return {
      frame: this.#state.frame,
      x: Math.min(from.x, to.x),
      y: Math.min(from.y, to.y),
      width: Math.abs(from.x - to.x) + 1,
      height: Math.abs(from.y - to.y) + 1,
    };
  }

  async #take(sample, adding) {
    if (!sample) return;  // stopped meanwhile
    this.#drawn = null;
    const before = adding ? this.#samples : [];
    if (before.length === kMostSamples) {
      this.#viewer.place();
      tellError(new Error(`The key colour is the mean of at most ${kMostSamples} samples; pick once to start again.`));
      return;
    }
    const samples = this.#samples = [...before, sample];
    if (!adding) this.stop();
    try {
      const answer = await api.post('sample', {samples, ...this.#state.lane});
      if (samples !== this.#samples) return;  // there are newer ones, or another colour
      this.#color = answer.hex;
      this.#state.changeKeyColor(answer.hex);
      this.#state.emit('sampled', {...answer, samples});
    } catch (error) {
      if (samples === this.#samples) this.#samples = before;
      tellError(error);
    }
  }
}
