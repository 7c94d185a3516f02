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

  // While the settings ask for full depth, 8 bits cannot be chosen, and where they were, they come back afterwards.
  #follow() {
    const {depth, needsFullDepth} = this.#state;
    const eight = [...this.#field.options].find(({value}) => value === '8');
    eight.disabled = needsFullDepth;
    this.#field.value = depth === '8' && needsFullDepth ? 'deep' : depth;
    const text = depthText(this.#state.clip.bits, this.#state.isDeep);
    byId('clip-depth').textContent = text && `  ·  ${text}`;
  }
}
