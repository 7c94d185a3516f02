// The strip below the timeline: each frame's shares of clear, partial and solid pixels and the flicker of its edges,
// computed by the server in the background whenever the settings rest.

import * as api from './api.js';
import {byId, fitCanvas, percent, whenQuiet} from './dom.js';

const kSettled = 900;    // milliseconds without a change before the server begins
const kAskAgain = 400;   // milliseconds between questions after its progress
const kFlickerLane = 0.4;  // of the strip's height
const kMostFlicker = 2;    // levels that fill the lane at least
const kOutstanding = 3;    // times the median: such flicker is shown in red
const kMostPartial = 0.1;  // share that fills the lane at least

const median = (values) => values.length ? [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)] : 0;

export class Strip {
  #state;
  #fail;
  #canvas = byId('strip');
  #frames = new Map();  // frame -> {clear, partial, solid, flicker}
  #turn = 0;

  constructor(state, fail) {
    this.#state = state;
    this.#fail = fail;
    const later = whenQuiet(kSettled, () => this.#begin());
    state.on('settings range', () => {
      this.#canvas.classList.add('old');
      later();
    });
    state.on('frame', () => this.#describe());
    new ResizeObserver(() => this.#draw()).observe(this.#canvas);
    later();
  }

  async #begin() {
    const turn = this.#turn += 1;
    const {settings, range} = this.#state;
    try {
      await api.post('strip', {settings, ...range});
      let seen = 0;
      for (let going = true; going;) {
        const answer = await api.get(`strip?from=${seen}`);
        if (turn !== this.#turn) return;
        if (seen === 0) this.#frames.clear();
        seen += answer.frames.length;
        this.#take(answer);
        going = answer.done < answer.of || seen < answer.done;
        if (going) await new Promise((done) => setTimeout(done, kAskAgain));
      }
    } catch (error) {
      if (turn === this.#turn) this.#fail(error);
    }
  }

  #take({frames}) {
    for (const [frame, clear, partial, solid, flicker] of frames) this.#frames.set(frame, {clear, partial, solid, flicker});
    this.#canvas.classList.remove('old');
    this.#draw();
    this.#describe();
  }

  #describe() {
    const here = this.#frames.get(this.#state.frame);
    const flicker = here && here.flicker !== null ? here.flicker.toFixed(2) : '–';
    byId('strip-legend').textContent = here ? `clear ${percent(here.clear)}   partial ${percent(here.partial)}   ` +
        `solid ${percent(here.solid)}   edge flicker ${flicker}` : '';
  }

  #draw() {
    const {context, width, height} = fitCanvas(this.#canvas);
    const style = getComputedStyle(this.#canvas);
    const color = (name) => style.getPropertyValue(`--strip-${name}`);
    const upper = height * (1 - kFlickerLane);
    const each = width / this.#state.clip.frames;
    const flickers = [...this.#frames.values()].map(({flicker}) => flicker ?? 0);
    const usual = median(flickers);
    const mostFlicker = Math.max(kMostFlicker, ...flickers);
    const mostPartial = Math.max(kMostPartial, ...[...this.#frames.values()].map(({partial}) => partial));
    const bar = (name, frame, top, tall) => {
      context.fillStyle = color(name);
      context.fillRect(frame * each, top, Math.max(1, each), tall);
    };
    for (const [frame, {clear, solid, partial, flicker}] of this.#frames) {
      bar('clear', frame, 0, upper * clear);
      bar('partial', frame, upper * clear, upper * partial);
      bar('solid', frame, upper * (1 - solid), upper * solid);
      const tall = upper * partial / mostPartial;
      bar('partial', frame, upper - tall, Math.min(tall, 2));
      const flickerTall = (height - upper - 2) * (flicker ?? 0) / mostFlicker;
      bar((flicker ?? 0) > kOutstanding * usual + 0.5 ? 'bad' : 'flicker', frame, height - flickerTall, flickerTall);
    }
  }
}
