// The export: the server renders, this shows how far it is.

import * as api from './api.js';
import {open, outcome} from './dialogs.js';
import {byId, make, percent, sizeText} from './dom.js';
import {tell, tellError} from './message.js';
import {SizeNote} from './size_note.js';
import {kComposite} from './state.js';

const kAskAgain = 300;  // milliseconds
const kAskLostAgain = 3000;  // where it gave no answer
const kPlain = '#808080';  // the background where only a checkerboard was chosen

function timeLeft(seconds) {
  const whole = Math.max(0, Math.round(seconds));
  return `${Math.floor(whole / 60)}:${String(whole % 60).padStart(2, '0')} left`;
}

function runningText({frames, of, fps, secondsLeft, checking}) {
  if (checking) return 'Checking what was written…';
  const left = secondsLeft === null ? '' : timeLeft(secondsLeft);
  return `${frames} of ${of} frames   ${fps.toFixed(1)} fps   ${left}`;
}

const escaped = (text) => text.replace(/[.*+?^${}()|[\]\\]/g, '\\$&');

// A name without one of these endings, of a file or of a sequence (“.exr”, “-%05d.exr”), whatever its digits are. Other
// dots belong to the name.
export function withoutEnding(name, endings) {
  const plain = endings.map((ending) => escaped(ending.replace(/^-%0\dd/, '')));
  return name.replace(new RegExp(`(-%0\\dd)?(${plain.join('|')})$`, 'i'), '');
}

const kTexts = {
  none: () => '',
  running: runningText,
  done: ({files, size, folder, notes}) => [
    `${files.join(', ')} ${files.length > 1 ? 'are' : 'is'} ready, ${sizeText(size)}${folder ? `, in ${folder}` : ''}.`,
    ...notes,
  ].join('\n'),
  cancelled: () => 'Cancelled; nothing is left of it.',
  failed: ({error}) => error,
};

export class Export {
  #state;
  #kinds;  // [{key: delivery or codec, slug, label, extension}]
  #turn = 0;         // only the newest loop follows
  #running = false;  // as far as this page knows
  #size;  // how large it is likely to become

  constructor(state) {
    this.#state = state;
    const {deliveries, codecs} = state.clip;
    const entry = (key) => (item) => ({key, slug: item.slug, label: item.label, extension: item.extension});
    this.#kinds = [...deliveries.map(entry('delivery')), ...codecs.map(entry('codec'))];
    this.#fillForm();
    this.#size = new SizeNote(byId('export-size'), () => this.request);
    for (const id of ['export-kind', 'export-view']) byId(id).addEventListener('change', () => this.#estimate());
    byId('export').addEventListener('close', () => this.#size.stop());
    byId('step-export').onclick = () => this.open();
    byId('export-start').onclick = () => this.#start();
    byId('export-cancel').onclick = () => this.#cancel();
    this.#followProgress();  // one may be under way since before the page was loaded
  }

  open() {
    const {start, end} = this.#state.range;
    byId('export-range').textContent = `frames ${start} to ${end - 1}, ${end - start} in all`;
    open('export');
    this.#estimate();
    this.#followProgress();
  }

  #estimate() {
    if (!this.#running && byId('export').open) this.#size.update();
  }

  #fillForm() {
    const textOf = ({key, slug, label}) => (key === 'delivery' ? `${slug}: ${label}` : label);
    const option = (kind, at) => make('option', {value: at, textContent: textOf(kind)});
    const options = (key) => this.#kinds.flatMap((kind, at) => (kind.key === key ? [option(kind, at)] : []));
    byId('export-kind').append(make('optgroup', {label: 'For'}, ...options('delivery')),
                               make('optgroup', {label: 'Codec'}, ...options('codec')));
    const views = [...this.#state.viewNames].map(([value, textContent]) => make('option', {value, textContent}));
    byId('export-view').append(...views);
    byId('export-view').value = 'result';
    byId('export-name').value = `${this.#state.clip.stem ?? this.#state.clip.name.replace(/\.[^.]*$/, '')}-keyed`;
    byId('export-kind').onchange = () => this.#fitName();
    this.#fitName();
  }

  get #kind() { return this.#kinds[Number(byId('export-kind').value)]; }

  // The name gets the ending of the chosen kind.
  #fitName() {
    const field = byId('export-name');
    field.value = withoutEnding(field.value, this.#kinds.map(({extension}) => extension)) + this.#kind.extension;
  }

  // What is to be made, as the server's requests have it.
  get request() {
    const {settings, lane, range, over} = this.#state;
    const {key, slug} = this.#kind;
    const view = byId('export-view').value;
    const background = view === kComposite ? {over: over === 'checkerboard' ? kPlain : over} : {};
    const partial = byId('export-partial').checked ? {keepPartial: true} : {};
    return {settings, ...lane, ...range, [key]: slug, view, ...background, ...partial};
  }

  get name() { return byId('export-name').value.trim(); }

  async #start() {
    const replace = byId('export-replace').checked;
    this.#size.stop();
    try {
      await api.post('export', {...this.request, name: this.name, replace});
      this.#running = true;
      this.#followProgress();
    } catch (error) {
      outcome('export-outcome', error);
      this.#estimate();
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
    const turn = this.#turn += 1;
    do {
      let wait = kAskAgain;
      try {
        const progress = await api.get('export');
        if (turn !== this.#turn) return;
        this.#show(progress);
      } catch (error) {
        if (turn !== this.#turn) return;
        outcome('export-outcome', error);
        wait = kAskLostAgain;  // the export goes on, as far as one can know
      }
      if (this.#running) await new Promise((done) => setTimeout(done, wait));
    } while (this.#running && turn === this.#turn);
  }

  // How it ended, where nobody looks at the dialog.
  #tellEnd(state, text) {
    if (byId('export').open) return;
    if (state === 'failed') tellError(new Error(`The export failed: ${text}`));
    else tell(text);
  }

  #offer(files) {
    byId('export-files').replaceChildren(...files.map((name, at) => make('a', {
      className: 'button', href: `api/export/file?index=${at}`, download: name, textContent: `Download ${name}`,
    })));
  }

  #show(progress) {
    const {state, frames, of} = progress;
    const running = state === 'running';
    const share = running && of ? frames / of : 0;
    byId('export-progress').hidden = !running;
    byId('export-progress').value = share;
    byId('export-start').hidden = running;
    byId('export-cancel').hidden = !running;
    this.#offer(state === 'done' && !progress.sequence ? progress.files : []);
    if (state === 'done') this.#state.emit('exported');
    byId('export-label').textContent = running ? `Export ${percent(share, 0)}` : 'Export';
    const text = kTexts[state](progress);
    outcome('export-outcome', state === 'failed' ? new Error(text) : text);
    if (this.#running && !running) this.#tellEnd(state, text);
    this.#running = running;
  }
}
