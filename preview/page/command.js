// The command line that does the same.

import * as api from './api.js';
import {open, outcome} from './dialogs.js';
import {byId} from './dom.js';

export class Command {
  #state;

  constructor(state) {
    this.#state = state;
    byId('open-command').onclick = () => this.open();
    byId('command-copy').onclick = () => this.#copy();
  }

  async open() {
    byId('command-text').value = '';
    outcome('command-outcome', '');
    open('command');
    const {settings, range, over, clip} = this.#state;
    const part = range.start > 0 || range.end < clip.frames ? range : {};
    const background = over === 'checkerboard' ? {} : {over};
    try {
      const {command} = await api.post('command', {settings, ...part, ...background});
      byId('command-text').value = command;
      byId('command-copy').focus();
    } catch (error) {
      outcome('command-outcome', error);
    }
  }

  async #copy() {
    const text = byId('command-text');
    try {
      await navigator.clipboard.writeText(text.value);
      outcome('command-outcome', 'Copied.');
    } catch {
      text.select();
      outcome('command-outcome', 'The browser keeps its clipboard closed: copy the selected text with Ctrl+C.');
    }
  }
}
