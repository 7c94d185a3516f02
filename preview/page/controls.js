// The controls, made from the parameter table: groups, toggles, sliders.

import {byId, make} from './dom.js';
import {SliderRow} from './slider_row.js';
import {heading} from './state.js';
import {shown} from './values.js';

const kElsewhere = new Set(['popup', 'color']);  // the view and the key colour have places of their own

class ToggleRow {
  #box;

  constructor(state, parameter, name) {
    const {slug, label, help, default: standard} = parameter;
    this.#box = make('input', {type: 'checkbox', id: `set-${slug}`, 'aria-label': name});
    const title = `${help}\nDefault: ${shown(standard)}. Double click resets.`;
    this.element = make('div', {className: 'toggle-row', title},
                        make('label', {htmlFor: `set-${slug}`}, this.#box, label), make('span', {className: 'mark'}));
    this.#box.onchange = (event) =>
      state.change({[slug]: this.#box.checked}, {merge: slug, time: event.timeStamp});
    this.element.ondblclick = () => state.change({[slug]: standard}, {merge: slug});
    this.follow = () => {
      this.#box.checked = state.value(slug);
      this.element.classList.toggle('changed', state.value(slug) !== standard);
      this.element.classList.toggle('animated', state.animated(slug));
    };
  }
}

export class Controls {
  #rows = [];

  // `table` is what api/parameters answers, groups before what they hold.
  constructor(state, table) {
    const holders = new Map([[0, byId('controls')]]);
    for (const parameter of table) {
      if (parameter.kind === 'group') this.#addGroup(parameter, holders, table);
      else if (!kElsewhere.has(parameter.kind)) this.#addRow(state, parameter, holders);
    }
    const follow = () => this.#rows.forEach((row) => row.follow());
    state.on('settings frame', follow);
    follow();
  }

  // A group that begins with a toggle needs no heading of its own: the toggle names it.
  #addGroup({id, group, label}, holders, table) {
    const element = make('section', {className: 'group', 'aria-label': heading(label)});
    const first = table.find((parameter) => parameter.group === id);
    if (first?.kind !== 'toggle') element.append(make('h2', {}, heading(label)));
    holders.get(group).append(element);
    holders.set(id, element);
  }

  #addRow(state, parameter, holders) {
    const name = state.names.get(parameter.slug);
    const row = parameter.kind === 'toggle' ? new ToggleRow(state, parameter, name)
                                            : new SliderRow(state, parameter, name);
    holders.get(parameter.group).append(row.element);
    this.#rows.push(row);
  }
}
