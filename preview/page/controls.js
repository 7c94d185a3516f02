// The controls, made from the parameter table: groups, toggles, popups, sliders.

import {byId, make} from './dom.js';
import {SliderRow} from './slider_row.js';
import {heading} from './state.js';
import {shown} from './values.js';

const kElsewhere = new Set(['view', 'key-color']);  // the view and the key colour have places of their own

// A toggle's checkbox, or the list of a popup's entries.
class ChoiceRow {
  #field;

  constructor(state, parameter, name) {
    const {slug, kind, label, help, default: standard} = parameter;
    const chosen = kind === 'toggle' ? 'checked' : 'value';
    this.#field = this.#makeField(parameter, name);
    this.#withoutFile(state, slug);
    const title = `${help}\nDefault: ${shown(standard)}. Double click resets.`;
    const inLabel = kind === 'toggle' ? [this.#field, label] : [label];
    this.element = make('div', {className: `${kind}-row`, title},
                        make('label', {htmlFor: `set-${slug}`}, ...inLabel),
                        ...(kind === 'toggle' ? [] : [this.#field]), make('span', {className: 'mark'}));
    this.#field.onchange = (event) =>
      state.change({[slug]: this.#field[chosen]}, {merge: slug, time: event.timeStamp});
    this.element.ondblclick = () => state.change({[slug]: standard}, {merge: slug});
    this.follow = () => {
      this.#field[chosen] = state.value(slug);
      this.element.classList.toggle('changed', state.value(slug) !== standard);
      this.element.classList.toggle('animated', state.animated(slug));
    };
  }

  // A clean plate has to be named as the page is opened.
  #withoutFile({clip, settings}, slug) {
    if (slug !== 'plate' || clip.cleanPlate || settings.plate === 'clean') return;
    const clean = [...this.#field.options].find(({value}) => value === 'clean');
    Object.assign(clean, {disabled: true, textContent: `${clean.textContent} (open with --plate FILE)`});
  }

  #makeField({slug, kind, values, labels}, name) {
    const common = {id: `set-${slug}`, 'aria-label': name};
    if (kind === 'toggle') return make('input', {type: 'checkbox', ...common});
    return make('select', common, ...values.map((value, at) => make('option', {value, textContent: labels[at]})));
  }
}

export class Controls {
  #rows = [];

  #sections = new Map();  // by the names of the groups, outermost first

  constructor(state) {
    for (const parameter of state.parameters) {
      if (!kElsewhere.has(parameter.slug)) this.#addRow(state, parameter);
    }
    const follow = () => this.#rows.forEach((row) => row.follow());
    state.on('settings frame', follow);
    follow();
  }

  // Where the controls of a group stand. A group that begins with a toggle needs no heading: the toggle names it.
  #sectionOf(group, firstKind) {
    if (group.length === 0) return byId('controls');
    const key = group.join('/');
    if (!this.#sections.has(key)) {
      const name = heading(group.at(-1));
      const section = make('section', {className: 'group', 'aria-label': name});
      if (firstKind !== 'toggle') section.append(make('h2', {}, name));
      this.#sectionOf(group.slice(0, -1), 'group').append(section);
      this.#sections.set(key, section);
    }
    return this.#sections.get(key);
  }

  #addRow(state, parameter) {
    const name = state.names.get(parameter.slug);
    const row = parameter.kind === 'slider' ? new SliderRow(state, parameter, name)
                                            : new ChoiceRow(state, parameter, name);
    this.#sectionOf(parameter.group, parameter.kind).append(row.element);
    this.#rows.push(row);
  }
}
