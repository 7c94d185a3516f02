// Plays the range, as fast as pictures come but not faster than the clip.

import {byId} from './dom.js';

export class Player {
  #state;
  #playing = false;
  #last = 0;  // when the last frame was asked for

  constructor(state) {
    this.#state = state;
    byId('play').onclick = () => this.toggle();
    state.on('drawn', ({name, frame}) => {
      if (this.#playing && name === 'main' && frame === state.frame) this.#wait();
    });
  }

  toggle() {
    this.#playing = !this.#playing;
    byId('play').setAttribute('aria-pressed', this.#playing);
    byId('play').setAttribute('aria-label', this.#playing ? 'Stop' : 'Play');
    if (this.#playing) this.#step();
  }

  #wait() {
    const {num, den} = this.#state.clip.rate;
    const due = this.#last + 1000 * den / num;
    setTimeout(() => this.#step(), Math.max(0, due - performance.now()));
  }

  #step() {
    if (!this.#playing) return;
    const {frame, range: {start, end}} = this.#state;
    const inside = frame + 1 >= start && frame + 1 < end;
    this.#last = performance.now();
    this.#state.setFrame(inside ? frame + 1 : start, {moving: true});
  }
}
