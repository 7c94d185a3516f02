// Undo, redo and the two slots of settings.

import {byId} from './dom.js';
import {tell} from './message.js';

export class EditBar {
  #state;

  constructor(state) {
    this.#state = state;
    byId('undo').onclick = () => this.undo();
    byId('redo').onclick = () => this.redo();
    byId('copy-slot').onclick = () => this.copy();
    for (const slot of ['A', 'B']) byId(`slot-${slot}`).onclick = () => state.useSlot(slot);
    state.on('history', () => this.#follow());
    this.#follow();
  }

  undo() { this.#say('Undone', this.#state.undo()); }
  redo() { this.#say('Done again', this.#state.redo()); }

  copy() {
    this.#state.copyToOther();
    tell('Both slots hold these settings now.');
  }

  #say(what, label) {
    if (label) tell(`${what}: ${label}`);
  }

  #follow() {
    byId('undo').disabled = !this.#state.canUndo;
    byId('redo').disabled = !this.#state.canRedo;
    for (const slot of ['A', 'B']) byId(`slot-${slot}`).setAttribute('aria-pressed', slot === this.#state.slot);
  }
}
