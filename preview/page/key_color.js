// The key colour: its value, where it comes from, and the automatic pick.

import * as api from './api.js';
import {asSentence, byId, percent} from './dom.js';
import {tellError} from './message.js';

function samplesText({samples, pixels, lumaSpread, chromaSpread}) {
  const frames = new Set(samples.map(({frame}) => frame)).size;
  const [{width, height}] = samples;
  const one = pixels === 1 ? '1 pixel' : `${width} × ${height} pixels`;
  const several = `${samples.length} samples${frames > 1 ? ` on ${frames} frames` : ''}, ${pixels} pixels`;
  return `Mean of ${samples.length > 1 ? several : one}. Spread: luma ${lumaSpread.toFixed(1)}, ` +
      `chroma ${chromaSpread.toFixed(1)}.`;
}

function pickText({confidence, reason, unevenness, lumaSpread, chromaSpread}) {
  return `${asSentence(reason)} Confidence ${percent(confidence, 0)}, unevenness ` +
      `${Math.round(unevenness)} %; spread: luma ${lumaSpread.toFixed(1)}, chroma ${chromaSpread.toFixed(1)}.`;
}

export class KeyColor {
  #state;
  #field = byId('key-color');
  #hex = byId('key-hex');

  constructor(state) {
    this.#state = state;
    this.#field.title = state.bySlug.get('key-color').help;
    this.#field.oninput = (event) => this.#set(this.#field.value, event);
    this.#hex.onchange = (event) => this.#enter(event);
    byId('auto-pick').onclick = () => this.autoPick();
    state.on('settings frame', () => this.#follow());
    state.on('sampled', (samples) => this.#note(samplesText(samples)));
    this.#note(state.clip.pick ? pickText(state.clip.pick)
                               : 'No backdrop was found. Pick the colour on the picture.');
    this.#follow();
  }

  #set(color, event) {
    this.#state.changeKeyColor(color, {merge: 'key-color', moving: true, time: event.timeStamp});
  }

  #enter(event) {
    const text = this.#hex.value.trim().toLowerCase().replace(/^(?!#)/, '#');
    if (/^#[0-9a-f]{6}$/.test(text)) this.#set(text, event);
    else tellError(new Error(`“${this.#hex.value}” is no colour: six digits from 0 to f are, as in #00b140.`));
    this.#follow();
  }

  async autoPick() {
    byId('auto-pick').disabled = true;
    try {
      const found = await api.post('pick', {});
      this.#state.changeKeyColor(found.color, {label: `key colour found: ${found.color}`});
      this.#note(pickText(found));
    } catch (error) {
      tellError(error);
    }
    byId('auto-pick').disabled = false;
  }

  #note(text) { byId('key-note').textContent = text; }

  #follow() {
    const color = this.#state.value('key-color');
    this.#field.value = color;
    this.#hex.value = color;
    this.#hex.classList.toggle('animated', this.#state.animated('key-color'));
  }
}
