// Plays the range, as fast as pictures come but not faster than the clip.

import {byId} from './dom.js';

export class Player {
  #state;
  #playing = false;
  #timer = 0;
  #due = 0;          // when the frame after the one shown is due
  #undrawn = false;  // the frame asked for is not on the screen yet
  #late = false;     // and the next one is due already

  constructor(state) {
    this.#state = state;
    byId('play').onclick = () => this.toggle();
    state.on('drawn', ({name, frame}) => {
      if (name === 'main' && frame === state.frame) this.#drawn();
    });
  }

  toggle() {
    if (this.#playing) this.#stop();
    else this.#play();
  }

  #play() {
    this.#mark(true);
    this.#undrawn = this.#late = false;
    this.#due = performance.now();
    this.#step();
  }

  #stop() {
    clearTimeout(this.#timer);
    this.#mark(false);
  }

  #mark(playing) {
    this.#playing = playing;
    byId('play').setAttribute('aria-pressed', playing);
    byId('play').setAttribute('aria-label', playing ? 'Stop' : 'Play');
  }

  // Pictures come for other reasons, too: only one that a step waits for makes it.
  #drawn() {
    this.#undrawn = false;
    if (this.#playing && this.#late) this.#step();
  }

  #step() {
    this.#late = this.#undrawn;
    if (this.#late) return;
    const {frame, range: {start, end}, clip: {rate}} = this.#state;
    const inside = frame + 1 >= start && frame + 1 < end;
    const next = inside ? frame + 1 : start;
    if (next === frame) {  // a range of one frame
      this.#stop();
      return;
    }
    const now = performance.now();
    this.#due = Math.max(now, this.#due + 1000 * rate.den / rate.num);
    clearTimeout(this.#timer);
    this.#timer = setTimeout(() => this.#step(), this.#due - now);
    this.#undrawn = true;
    this.#state.setFrame(next, {moving: true});  // may be drawn before this returns
  }
}
