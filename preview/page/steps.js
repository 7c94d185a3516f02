// The four steps from a clip to a key, in the header: which are done, and which comes next.

import {byId} from './dom.js';

const kSteps = ['pick', 'propose', 'check', 'export'];

export class Steps {
  #done = new Set();

  constructor(state, eyedropper) {
    byId('step-pick').onclick = () => eyedropper.toggle(false);
    byId('step-check').onclick = () => state.show({view: 'status'});
    if (state.clip.pick) this.#done.add('pick');
    state.on('sampled', () => this.#finish('pick'));
    state.on('proposed', () => this.#finish('propose'));
    state.on('exported', () => this.#finish('export'));
    state.on('view', () => {
      if (['matte', 'status'].includes(state.view)) this.#finish('check');
    });
    this.#show();
  }

  #finish(step) {
    this.#done.add(step);
    this.#show();
  }

  #show() {
    const next = kSteps.find((step) => !this.#done.has(step));
    for (const step of kSteps) {
      byId(`step-${step}`).classList.toggle('done', this.#done.has(step));
      byId(`step-${step}`).classList.toggle('next', step === next);
    }
  }
}
