// The command line that does the same as the export.

import * as api from './api.js';
import {open, outcome} from './dialogs.js';
import {byId, offerText} from './dom.js';

export class Command {
  #exporter;
  #preset = null;  // {name, text}: keyframes go through a file

  constructor(exporter) {
    this.#exporter = exporter;
    byId('open-command').onclick = () => this.open();
    byId('command-copy').onclick = () => this.#copy();
    byId('command-preset').onclick = () => offerText(this.#preset.name, this.#preset.text);
  }

  async open() {
    byId('command-text').value = '';
    outcome('command-outcome', '');
    open('command');
    try {
      const {request, name} = this.#exporter;
      const {command, preset} = await api.post('command', {...request, output: name});
      this.#show(command, preset);
      byId('command-copy').focus();
    } catch (error) {
      outcome('command-outcome', error);
    }
  }

  #show(command, preset) {
    this.#preset = preset;
    byId('command-text').value = command;
    byId('command-preset').hidden = !preset;
    if (preset) outcome('command-outcome', `The settings move over time: the command reads them from ${preset.name}.`);
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
