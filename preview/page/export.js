// The export: the server renders, this shows how far it is.

import * as api from './api.js';
import {open, outcome} from './dialogs.js';
import {byId, make, percent} from './dom.js';
import {kViewNames} from './viewer.js';

const kAskAgain = 300;  // milliseconds
const kViews = ['result', 'matte', 'status', 'plate', 'source'];

function timeLeft(seconds) {
  const whole = Math.max(0, Math.round(seconds));
  return `${Math.floor(whole / 60)}:${String(whole % 60).padStart(2, '0')} left`;
}

function sizeText(bytes) {
  const [unit, size] = bytes >= 1e9 ? ['GB', 1e9] : bytes >= 1e6 ? ['MB', 1e6] : ['kB', 1e3];
  return `${(bytes / size).toFixed(1)} ${unit}`;
}

const kTexts = {
  none: () => '',
  running: ({frames, of, fps, secondsLeft}) => `${frames} of ${of} frames   ${(fps ?? 0).toFixed(1)} fps   ` +
      (secondsLeft === null || secondsLeft === undefined ? '' : timeLeft(secondsLeft)),
  done: ({file, size}) => `${file} is ready, ${sizeText(size)}.`,
  cancelled: () => 'Cancelled; nothing is left of it.',
  failed: ({error}) => error,
};

export class Export {
  #state;
  #kinds;  // [{key: delivery or codec, slug, label, extension}]
  #following = false;

  constructor(state) {
    this.#state = state;
    const {deliveries, codecs} = state.clip;
    const entry = (key) => (item) => ({key, slug: item.slug, label: item.label, extension: item.extension});
    this.#kinds = [...deliveries.map(entry('delivery')), ...codecs.map(entry('codec'))];
    this.#fillForm();
    byId('step-export').onclick = () => this.open();
    byId('export-start').onclick = () => this.#start();
    byId('export-cancel').onclick = () => this.#cancel();
    this.#followProgress();  // one may be under way since before the page was loaded
  }

  open() {
    const {start, end} = this.#state.range;
    byId('export-range').textContent = `frames ${start} to ${end - 1}, ${end - start} in all`;
    open('export');
  }

  #fillForm() {
    const options = (key) => this.#kinds.flatMap((kind, at) => kind.key === key ?
        [make('option', {value: at, textContent: kind.label})] : []);
    byId('export-kind').append(make('optgroup', {label: 'For'}, ...options('delivery')),
                               make('optgroup', {label: 'Codec'}, ...options('codec')));
    byId('export-view').append(
        ...kViews.map((view) => make('option', {value: view, textContent: kViewNames[view]})),
        make('option', {value: 'comp', textContent: 'Result over the background'}));
    byId('export-name').value = `${this.#state.clip.name.replace(/\.[^.]*$/, '')}-keyed`;
    byId('export-kind').onchange = () => this.#fitName();
    this.#fitName();
  }

  get #kind() { return this.#kinds[Number(byId('export-kind').value)]; }

  // The name gets the ending of the chosen kind.
  #fitName() {
    const field = byId('export-name');
    field.value = field.value.replace(/(-%0\dd)?\.[A-Za-z0-9]+$/, '') + this.#kind.extension;
  }

  async #start() {
    const {settings, range, over} = this.#state;
    const {key, slug} = this.#kind;
    const view = byId('export-view').value;
    const background = view === 'comp' ? {over: over === 'checkerboard' ? '#808080' : over} : {};
    const request = {settings, ...range, [key]: slug, name: byId('export-name').value.trim(), view, ...background};
    try {
      await api.post('export', request);
      this.#followProgress();
    } catch (error) {
      outcome('export-outcome', error);
    }
  }

  async #cancel() {
    try {
      await api.remove('export');
    } catch (error) {
      outcome('export-outcome', error);
    }
  }

  async #followProgress() {
    if (this.#following) return;
    this.#following = true;
    try {
      for (let running = true; running;) {
        const progress = await api.get('export');
        this.#show(progress);
        running = progress.state === 'running';
        if (running) await new Promise((done) => setTimeout(done, kAskAgain));
      }
    } catch (error) {
      outcome('export-outcome', error);
    }
    this.#following = false;
  }

  #show(progress) {
    const {state, frames, of} = progress;
    const running = state === 'running';
    const share = running && of ? frames / of : 0;
    byId('export-progress').hidden = !running;
    byId('export-progress').value = share;
    byId('export-start').hidden = running;
    byId('export-cancel').hidden = !running;
    byId('export-file').hidden = state !== 'done';
    byId('export-label').textContent = running ? `Export ${percent(share, 0)}` : 'Export';
    const text = kTexts[state](progress);
    outcome('export-outcome', state === 'failed' ? new Error(text) : text);
  }
}
