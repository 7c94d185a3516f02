// Settings to and from preset files: downloads, uploads, and the folders that the server was given.

import * as api from './api.js';
import {open, outcome} from './dialogs.js';
import {byId, make, offerText} from './dom.js';
import {tell, tellError} from './message.js';

export class Presets {
  #state;

  constructor(state) {
    this.#state = state;
    byId('open-presets').onclick = () => this.open();
    byId('preset-download').onclick = () => this.#try(() => this.#download());
    byId('preset-load').onclick = () => this.#try(() => this.#loadNamed());
    byId('preset-save').onclick = () => this.#try(() => this.#saveNamed());
    byId('preset-file').onchange = ({target}) => {
      const [file] = target.files;
      target.value = '';
      if (file) this.#try(() => this.#loadFile(file));
    };
    this.#listenDrop();
  }

  open() {
    outcome('preset-outcome', '');
    byId('preset-folder').hidden = this.#state.clip.folders.length === 0;
    if (!byId('preset-folder').hidden) this.#try(() => this.#list());
    open('presets');
  }

  async #try(action) {
    try {
      await action();
    } catch (error) {
      outcome('preset-outcome', error);
      if (!byId('presets').open) tellError(error);
    }
  }

  async #list() {
    const {presets} = await api.get('files');
    byId('preset-names').replaceChildren(...presets.map((name) => make('option', {textContent: name})));
    byId('preset-load').disabled = presets.length === 0;
  }

  async #download() {
    const text = await api.postForText('preset/text', {settings: this.#state.settings, ...this.#state.lane});
    offerText(`${this.#state.clip.stem ?? this.#state.clip.name.replace(/\.[^.]*$/, '')}.json`, text);
    outcome('preset-outcome', 'Saved. “kalvetra key --preset” takes the file.');
  }

  async #loadFile(file) {
    const {settings} = await api.sendText(`preset/read?${new URLSearchParams(this.#state.lane)}`, await file.text());
    this.#apply(settings, file.name);
  }

  async #loadNamed() {
    const name = byId('preset-names').value;
    const {settings} = await api.post('preset/load', {name, ...this.#state.lane});
    this.#apply(settings, name);
  }

  async #saveNamed() {
    const name = byId('preset-name').value.trim();
    const {settings, lane} = this.#state;
    await api.post('preset/save', {name, settings, ...lane, replace: byId('preset-replace').checked});
    outcome('preset-outcome', `Saved as ${name}.`);
    await this.#list();
  }

  // What a preset leaves out is at its default; only a missing key colour stays as it is.
  #apply(settings, name) {
    const {defaults} = this.#state;
    const color = this.#state.settings['key-color'];
    this.#state.change({...defaults, 'key-color': color, ...settings}, {label: `preset ${name}`});
    outcome('preset-outcome', `${name} is loaded.`);
    if (!byId('presets').open) tell(`${name} is loaded.`);
  }

  // A preset file may be dropped anywhere on the page.
  #listenDrop() {
    document.addEventListener('dragover', (event) => event.preventDefault());
    document.addEventListener('drop', (event) => {
      event.preventDefault();
      const [file] = event.dataTransfer.files;
      if (file) this.#try(() => this.#loadFile(file));
    });
  }
}
