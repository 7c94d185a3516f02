// The strip below the timeline: each frame's shares of clear, partial and solid pixels and the flicker of its edges,
// computed by the server in the background whenever the settings rest.

import * as api from './api.js';
import {byId, fitCanvas, percent, whenQuiet} from './dom.js';
import {tell} from './message.js';
import {onTheme} from './theme.js';

const kSettled = 900;    // milliseconds without a change before the server begins
const kAskAgain = 400;   // milliseconds between questions after its progress
const kFlickerLane = 0.4;  // of the strip's height
const kBadFlicker = 5;     // levels; more is shown in red, and the lane holds at least so many
const kMostPartial = 0.1;  // share that fills the lane at least

// Of long lists, too; at least `least`.
const largest = (values, least) => values.reduce((most, value) => Math.max(most, value), least);

export class Strip {
  #state;
  #fail;
  #canvas = byId('strip');
  #frames = new Map();  // frame -> {clear, partial, solid, flicker}
  #turn = 0;
  #lost = false;  // another page of this program has begun a strip of its own

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
    onTheme(() => this.#draw());
    window.addEventListener('focus', () => {
      if (this.#lost) this.#begin();
    });
    later();
  }

  async #begin() {
    const turn = this.#turn += 1;
    const {settings, lane, range} = this.#state;
    this.#lost = false;
    try {
      const {job} = await api.post('strip', {settings, ...lane, ...range});
      let seen = 0;
      for (let going = true; going;) {
        const answer = await api.get(`strip?from=${seen}`);
        if (turn !== this.#turn) return;
        if (answer.job !== job) {
          this.#giveUp();
          return;
        }
        if (seen === 0) this.#frames.clear();
        seen += answer.frames.length;
        this.#take(answer);
        going = answer.state === 'running';
        if (answer.error) throw new Error(answer.error);
        if (going) await new Promise((done) => setTimeout(done, kAskAgain));
      }
    } catch (error) {
      if (turn === this.#turn) this.#fail(error);
    }
  }

  // The server computes one strip at a time, and its figures are now those of other settings.
  #giveUp() {
    this.#lost = true;
    this.#frames.clear();
    this.#take({frames: []});
    tell('Another page computes its strip now; this one begins again when the page is used.');
  }

  #take({frames}) {
    for (const [frame, clear, partial, solid, flicker] of frames) {
      this.#frames.set(frame, {clear, partial, solid, flicker});
    }
    this.#canvas.classList.remove('old');
    this.#draw();
    this.#describe();
  }

  #describe() {
    const here = this.#frames.get(this.#state.frame);
    for (const kind of ['clear', 'partial', 'solid']) {
      byId(`strip-${kind}`).textContent = here ? percent(here[kind]) : '–';
    }
    byId('strip-flicker').textContent = here?.flicker?.toFixed(2) ?? '–';
  }

  #draw() {
    const {context, width, height} = fitCanvas(this.#canvas);
    const frames = [...this.#frames.values()];
    const upper = Math.round(height * (1 - kFlickerLane));
    const scales = {
      upper, lower: height - upper - 1, each: width / this.#state.clip.frames,
      flicker: largest(frames.map(({flicker}) => flicker ?? 0), kBadFlicker),
      partial: largest(frames.map(({partial}) => partial), kMostPartial),
    };
    const colors = this.#colors();
    for (const [frame, values] of this.#frames) {
      this.#drawFrame(values, scales, (kind, top, tall) => {
        const left = Math.floor(frame * scales.each);
        context.fillStyle = colors[kind];
        context.fillRect(left, top, Math.max(1, Math.floor((frame + 1) * scales.each) - left), tall);
      });
    }
  }

  // Above, solid stands on clear, and the partial share rises over both, stretched to be seen; below, the flicker.
  #drawFrame({solid, partial, flicker}, scales, bar) {
    bar('clear', 0, scales.upper);
    bar('solid', scales.upper * (1 - solid), scales.upper * solid);
    const rise = scales.upper * partial / scales.partial;
    bar('partial', scales.upper - rise, Math.min(rise, 2));
    const tall = scales.lower * (flicker ?? 0) / scales.flicker;
    const bottom = scales.upper + 1 + scales.lower;
    bar((flicker ?? 0) > kBadFlicker ? 'bad' : 'flicker', bottom - tall, tall);
  }

  // The legend's colours, whatever the theme.
  #colors() {
    const kinds = ['clear', 'partial', 'solid', 'flicker', 'bad'];
    const colorOf = (kind) => getComputedStyle(byId('strip-legend').querySelector(`.${kind}`)).backgroundColor;
    return Object.fromEntries(kinds.map((kind) => [kind, colorOf(kind)]));
  }
}
