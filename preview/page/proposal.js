// All settings proposed from the clip itself, with their reasons.

import * as api from './api.js';
import {open} from './dialogs.js';
import {byId, make} from './dom.js';
import {tell, tellError} from './message.js';
import {shown} from './values.js';

export class Proposal {
  #state;

  constructor(state) {
    this.#state = state;
    byId('step-propose').onclick = () => this.propose();
  }

  async propose() {
    const button = byId('step-propose');
    if (button.disabled) return;
    button.disabled = true;
    tell('Trying settings on the clip; this takes some seconds…');
    try {
      const {settings, reasons} = await api.post('propose', this.#namedColor());
      this.#state.change(settings, {label: 'proposed settings'});
      this.#state.emit('proposed');
      this.#show(settings, reasons);
    } catch (error) {
      tellError(error);
    }
    button.disabled = false;
  }

  // The colour that the user chose is kept; the one found in the clip is looked for again.
  #namedColor() {
    const color = this.#state.value('key-color');
    const found = [this.#state.clip.pick?.color, this.#state.defaults['key-color']];
    return found.includes(color) ? {} : {'key-color': color};
  }

  #show(settings, reasons) {
    byId('proposal-reasons').replaceChildren(...reasons.flatMap(({slug, sentence}) => {
      const label = this.#state.bySlug.get(slug)?.label ?? slug;
      const value = make('b', {}, slug in settings ? shown(settings[slug]) : '');
      return [make('dt', {}, label, ' ', value), make('dd', {}, sentence)];
    }));
    tell('The proposed settings are in; Undo takes them back.');
    open('proposal');
  }
}
