// Settings proposed from the clip itself: what would change is shown first, and taken only where it is left on.

import * as api from './api.js';
import {anyOpen, open} from './dialogs.js';
import {asSentence, byId, make} from './dom.js';
import {hideMessage, tell, tellError} from './message.js';
import {same, shown} from './values.js';

const counted = (count, one) => `${count} ${one}${count === 1 ? '' : 's'}`;

// A value as people read it; colours with a swatch.
function valueOf(parameter, value) {
  const text = make('span', {className: 'setting'}, shown(value));
  if (parameter.kind === 'color' && typeof value === 'string') {
    const swatch = make('i', {className: 'swatch'});
    swatch.style.background = value;
    text.prepend(swatch);
  }
  return text;
}

export class Proposal {
  #state;
  #changes = [];  // [{slug, to, box}]

  constructor(state) {
    this.#state = state;
    byId('step-propose').onclick = () => this.propose();
    byId('proposal-apply').onclick = () => this.#apply();
  }

  async propose() {
    const button = byId('step-propose');
    if (button.disabled) return;
    button.disabled = true;
    tell('Trying settings on the clip; this takes some seconds…');
    try {
      this.#offer(await api.post('propose', this.#asked()));
    } catch (error) {
      tellError(error);
    }
    button.disabled = false;
  }

  // The colour, the plate and the screen that the user chose are kept; what was found in the clip is looked for again.
  #asked() {
    const {clip, defaults} = this.#state;
    const found = {'key-color': [clip.pick?.color, defaults['key-color']],
                   plate: [clip.settings.plate], screen: [clip.settings.screen]};
    const values = Object.keys(found).map((slug) => [slug, this.#state.value(slug)]);
    return Object.fromEntries(values.filter(([slug, value]) => !found[slug].includes(value)));
  }

  // Another window may have been opened meanwhile: it is closed first.
  #offer(proposal) {
    if (anyOpen()) {
      document.querySelector('dialog[open]').addEventListener('close', () => this.#offer(proposal), {once: true});
      return;
    }
    hideMessage();
    this.#show(proposal);
    open('proposal');
  }

  // `leftOut` are sentences on what was found but would do harm.
  #show({settings, reasons, leftOut}) {
    const isKept = ({slug}) => same(settings[slug], this.#state.settings[slug]);
    const changes = reasons.filter((reason) => !isKept(reason));
    const kept = reasons.filter(isKept);
    this.#changes = changes.map(({slug}) => this.#changeOf(slug, settings[slug]));
    byId('proposal-changes').replaceChildren(...changes.map((reason, at) => this.#rowOf(reason, this.#changes[at])));
    byId('proposal-left-out').hidden = leftOut.length === 0;
    byId('proposal-left-out').lastElementChild.replaceChildren(
        ...leftOut.map((sentence) => make('li', {}, asSentence(sentence))));
    this.#showKept(kept, settings);
    this.#count();
  }

  #showKept(kept, settings) {
    const [summary, list] = byId('proposal-kept').children;
    summary.textContent = `${counted(kept.length, 'setting')} ${kept.length === 1 ? 'stays' : 'stay'} as now`;
    list.replaceChildren(...kept.flatMap(({slug, sentence}) => {
      const value = make('b', {}, shown(settings[slug]));
      return [make('dt', {}, this.#state.names.get(slug), ' ', value), make('dd', {}, asSentence(sentence))];
    }));
    byId('proposal-kept').hidden = kept.length === 0;
    byId('proposal-kept').open = false;
  }

  #changeOf(slug, to) {
    const box = make('input', {type: 'checkbox', id: `propose-${slug}`, checked: true});
    box.onchange = () => this.#count();
    return {slug, to, box};
  }

  #rowOf({slug, sentence}, {to, box}) {
    const parameter = this.#state.bySlug.get(slug);
    const arrow = make('span', {role: 'img', 'aria-label': 'to'}, '→');
    const [from, then] = [this.#state.settings[slug], to].map((value) => valueOf(parameter, value));
    return make('li', {}, box, make('label', {htmlFor: box.id}, make('b', {}, this.#state.names.get(slug)),
                                    make('span', {className: 'change'}, from, arrow, then),
                                    make('span', {className: 'reason'}, asSentence(sentence))));
  }

  get #chosen() { return this.#changes.filter(({box}) => box.checked); }

  #count() {
    const count = this.#chosen.length;
    byId('proposal-summary').textContent = this.#changes.length > 0 ?
        'Nothing is changed yet. What is switched off stays as it is.' :
        'The settings are already as they would be proposed.';
    byId('proposal-apply').textContent = `Apply ${counted(count, 'change')}`;
    byId('proposal-apply').disabled = count === 0;
  }

  #apply() {
    const values = Object.fromEntries(this.#chosen.map(({slug, to}) => [slug, to]));
    const count = this.#chosen.length;
    byId('proposal').close();
    this.#state.change(values, {label: 'proposed settings'});
    this.#state.emit('proposed');
    tell(`${counted(count, 'proposed setting')} ${count === 1 ? 'is' : 'are'} in; Undo takes them back.`);
  }
}
