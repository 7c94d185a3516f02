// The depth at which the clip is keyed: what it is, and where there is more than one, the choice.

import {byId} from './dom.js';

// A sentence's part for the line on the clip; empty for clips of 8 bits that are keyed as such.
export function depthText(bits, isDeep) {
  if (bits <= 8 && !isDeep) return '';
  return `${bits > 16 ? 'floating point' : `${bits} bits`}, keyed ${isDeep ? 'at full depth' : 'in 8 bits'}`;
}

export class Depth {
  #state;
  #field = byId('depth');

  constructor(state) {
    this.#state = state;
    this.#field.value = state.depth;
    this.#field.onchange = () => state.keyAt(this.#field.value);
    byId('depth-row').hidden = state.clip.bits <= 8 && state.depth === 'auto';
    state.on('settings', () => this.#follow());
    this.#follow();
  }

  #follow() {
    const text = depthText(this.#state.clip.bits, this.#state.isDeep);
    byId('clip-depth').textContent = text && `  ·  ${text}`;
  }
}
