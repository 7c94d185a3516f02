// The eyedropper: points and rectangles of the source, on one frame or several, averaged into the key colour.

import * as api from './api.js';
import {byId, follow} from './dom.js';
import {tell, tellError} from './message.js';
import {same} from './values.js';

const kMostSamples = 64;  // that the server averages

export class Eyedropper {
  #state;
  #viewer;
  #samples = [];
  #color;  // the key colour, which is theirs if there are any
  #drawn = null;  // the rectangle under the hand
  #adding = false;

  constructor(state, viewer) {
    this.#state = state;
    this.#viewer = viewer;
    viewer.boxes = () => this.#boxes();
    byId('pick').onclick = () => this.toggle(false);
    byId('pick-more').onclick = () => this.toggle(true);
    this.#color = state.settings['key-color'];
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
    tell(adding ? 'Click or drag to add samples, on any frame; Esc ends.'
                : 'Click on the backdrop, or drag a rectangle; with Shift more samples add up.');
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
    byId('step-pick').setAttribute('aria-pressed', this.active);
    byId('pick').setAttribute('aria-pressed', this.active && !this.#adding);
    byId('pick-more').setAttribute('aria-pressed', this.active && this.#adding);
  }

  #boxes() {
    const here = this.active ? this.#samples.filter(({frame}) => frame === this.#state.frame) : [];
    return this.#drawn ? [...here, this.#drawn] : here;
  }

  #press(event) {
    event.preventDefault();
    const from = this.#viewer.pixelAt(event);
    if (!from) return;
    const adding = this.#adding || event.shiftKey;
    const draw = (at) => {
      this.#drawn = this.#rectangle(from, this.#viewer.pixelAt(at, true));
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
      tellError(new Error(`The key colour is the mean of at most ${kMostSamples} samples; pick once to begin anew.`));
      return;
    }
    const samples = this.#samples = [...before, sample];
    if (!adding) this.stop();
    try {
      const answer = await api.post('sample', {samples});
      if (samples !== this.#samples) return;  // there are newer ones, or another colour
      this.#color = answer.hex;
      this.#state.change({'key-color': answer.hex}, {label: `key colour ${answer.hex}`});
      this.#state.emit('sampled', {...answer, samples});
    } catch (error) {
      if (samples === this.#samples) this.#samples = before;
      tellError(error);
    }
  }
}
