// One slider with its number. It is disabled while the toggle that it depends on is off.

import {clamp, make} from './dom.js';

const kCoarse = 10;  // steps of an arrow key with Shift

export class SliderRow {
  #state;
  #parameter;
  #slider;
  #number;
  #dragging = false;
  #presses = [0, 0];  // when the last two were

  constructor(state, parameter, name) {
    const {slug, label, range: [min, max], help, default: standard} = parameter;
    this.#state = state;
    this.#parameter = parameter;
    const limits = {min, max, step: 1};
    this.#slider = make('input', {type: 'range', id: `set-${slug}`, ...limits, 'aria-label': name});
    this.#number = make('input', {type: 'number', id: `number-${slug}`, ...limits, 'aria-label': `${name}, number`});
    const title = `${label}: ${help}\n${min} to ${max}, default ${standard}. Double click resets.`;
    this.element = make('div', {className: 'slider-row', title}, make('label', {htmlFor: `set-${slug}`}, label),
                        make('span', {className: 'track-of'}, this.#slider, make('i', {className: 'standard'})),
                        this.#number, make('span', {className: 'mark'}));
    this.element.style.setProperty('--standard', this.#share(standard));
    this.#listen(standard);
  }

  #share(value) {
    const [lowest, highest] = this.#parameter.range;
    return (value - lowest) / (highest - lowest);
  }

  #listen(standard) {
    const slider = this.#slider;
    this.element.onpointerdown = () => {
      this.#presses = [this.#presses[1], performance.now()];
      this.#state.settle();  // what the keyboard did just before is a step of its own
    };
    slider.onpointerdown = () => { this.#dragging = true; };
    slider.oninput = (event) => this.#set(slider.valueAsNumber, event, {moving: true});
    slider.onchange = () => {
      if (this.#dragging) this.#state.settle();
      this.#dragging = false;
    };
    this.#number.onchange = (event) => this.#enter(event);
    for (const field of [slider, this.#number]) field.onkeydown = (event) => this.#key(event);
    this.element.ondblclick = (event) => {
      if (event.target !== this.#number) this.#reset(standard);
    };
  }

  #set(value, event, how = {}) {
    const {slug} = this.#parameter;
    const options = {merge: slug, dragging: this.#dragging, time: event.timeStamp, ...how};
    this.#state.change({[slug]: value}, options);
  }

  #enter(event) {
    const value = Math.round(this.#number.valueAsNumber);
    if (Number.isFinite(value)) this.#set(clamp(value, ...this.#parameter.range), event);
    this.follow();
  }

  // Arrows step by one, with Shift by ten, in the slider and in the number alike.
  #key(event) {
    const direction = {ArrowUp: 1, ArrowRight: 1, ArrowDown: -1, ArrowLeft: -1}[event.key];
    const sideways = event.key === 'ArrowLeft' || event.key === 'ArrowRight';
    if (!direction || event.ctrlKey || event.metaKey || event.altKey) return;
    if (event.target === this.#number && sideways) return;  // moves the text cursor
    event.preventDefault();
    const {slug, range} = this.#parameter;
    const value = this.#state.value(slug) + direction * (event.shiftKey ? kCoarse : 1);
    this.#set(clamp(value, ...range), event, {moving: true});
  }

  // The two clicks may have moved the slider: one step of the history with them.
  #reset(standard) {
    const {slug, label} = this.#parameter;
    this.#state.change({[slug]: standard}, {label: `${label} reset`, merge: slug, since: this.#presses[0]});
    this.#state.settle();
  }

  // Shows the value at the current frame.
  follow() {
    const {slug, 'depends-on': toggle, default: standard} = this.#parameter;
    const value = this.#state.value(slug);
    const off = Boolean(toggle) && !this.#state.value(toggle);
    this.#slider.value = value;
    this.#number.value = value;
    this.#slider.disabled = off;
    this.#number.disabled = off;
    this.element.style.setProperty('--share', this.#share(value));
    this.element.classList.toggle('off', off);
    this.element.classList.toggle('changed', value !== standard);
    this.element.classList.toggle('animated', this.#state.animated(slug));
  }
}
