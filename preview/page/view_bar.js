// The bar over the picture: which views, how arranged, over what, how large.

import {byId, make} from './dom.js';

const kLayouts = ['single', 'wipe', 'side'];

export class ViewBar {
  #state;
  #over = byId('over');
  #color = byId('over-color');

  constructor(state, viewer) {
    this.#state = state;
    this.#makeViews();
    for (const layout of kLayouts) byId(`layout-${layout}`).onclick = () => state.show({layout});
    byId('fit').onclick = () => viewer.fit();
    byId('zoom-100').onclick = () => viewer.zoomTo(1);
    byId('zoom-in').onclick = () => viewer.zoomIn();
    byId('zoom-out').onclick = () => viewer.zoomOut();
    this.#over.onchange = () => this.#chooseOver();
    this.#color.oninput = () => state.show({over: this.#color.value});
    state.on('view', () => this.#follow());
    this.#follow();
  }

  #makeViews() {
    const {second, views, viewNames} = this.#state;
    byId('views').append(...views.map((name, at) => make('button', {
      id: `view-${name}`, type: 'button', textContent: viewNames.get(name), title: `${viewNames.get(name)} (${at + 1})`,
      onclick: () => this.#state.show({view: name}),
    })));
    byId('second').append(...views.map((name) => make('option', {value: name, textContent: viewNames.get(name)})));
    Object.assign(byId('second'), {value: second, onchange: ({target}) => this.#state.show({second: target.value})});
  }

  // Background files that can be chosen: names.
  offerFiles(names) {
    const files = byId('over-files');
    files.replaceChildren(...names.map((name) => make('option', {value: `file:${name}`, textContent: name})));
    files.hidden = names.length === 0;
    this.#follow();
  }

  #chooseOver() {
    const chosen = this.#over.value;
    const over = chosen === 'color' ? this.#color.value : chosen.startsWith('file:') ? {file: chosen.slice(5)} : chosen;
    this.#state.show({over, view: 'result'});
  }

  #follow() {
    const {view, second, layout, over, views} = this.#state;
    for (const name of views) byId(`view-${name}`).setAttribute('aria-pressed', name === view);
    for (const name of kLayouts) byId(`layout-${name}`).setAttribute('aria-pressed', name === layout);
    byId('second').value = second;
    this.#over.value = over.file ? `file:${over.file}` : over === 'checkerboard' ? over : 'color';
    byId('second').disabled = layout === 'single';
    this.#color.hidden = typeof over !== 'string' || over === 'checkerboard';
  }
}
