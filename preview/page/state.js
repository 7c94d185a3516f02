// What the page knows: the clip, the settings in their two slots, the frame, the views. Others listen to its events.
//
//   settings  {moving, time}: values or the depth changed; moving while the hand is on a control, time of the input event
//   frame     {moving, time}: another frame
//   view      the views, their arrangement or the background changed
//   range     in or out point
//   picking   the eyedropper was turned on or off
//   history   what can be undone, or the slot

import {clamp} from './dom.js';
import {History} from './history.js';
import {isAnimated, same, shown, valueAt} from './values.js';

// The view that the background belongs to: what is shown for the result over a colour or a file.
export const kComposite = 'comp';

// A group's own word is left out: “Edge Blur Group” reads “Edge Blur”.
export const heading = (group) => group.replace(/ Group$/, '');

// A control's name with its group: several are only “blue”.
const nameOf = ({label, group}) => (group.length > 0 ? `${heading(group.at(-1))}: ${label}` : label);

export class State {
  #listeners = new Map();
  #history = new History();
  #slots;

  constructor(clip, parameters) {
    this.clip = clip;
    this.parameters = parameters;
    this.viewNames = new Map(clip.views.map(({slug, label}) => [slug, label]));
    this.views = [...this.viewNames.keys()].filter((slug) => slug !== kComposite);  // that can be chosen by themselves
    this.names = new Map(parameters.map((parameter) => [parameter.slug, nameOf(parameter)]));
    this.bySlug = new Map(parameters.map((parameter) => [parameter.slug, parameter]));
    this.defaults = Object.fromEntries(this.parameters.map(({slug, default: value}) => [slug, value]));
    const first = {...this.defaults, ...clip.settings};
    this.#slots = {A: first, B: first};
    this.slot = 'A';
    this.frame = 0;
    this.range = {start: 0, end: clip.frames};
    this.view = 'result';
    this.second = 'source';
    this.layout = 'single';  // or wipe, side
    this.depth = clip.depth ?? 'auto';  // or 8, deep
    this.over = clip.background ? {file: clip.background} : 'checkerboard';  // or #rrggbb
  }

  on(names, listener) {
    for (const name of names.split(' ')) {
      if (!this.#listeners.has(name)) this.#listeners.set(name, []);
      this.#listeners.get(name).push(listener);
    }
  }

  emit(name, detail = {}) {
    for (const listener of this.#listeners.get(name) ?? []) listener(detail);
  }

  get settings() { return this.#slots[this.slot]; }
  get canUndo() { return this.#history.canUndo; }
  get canRedo() { return this.#history.canRedo; }

  // Whether the settings ask for what works at full depth alone. A choice of 8 bits then rests.
  get needsFullDepth() {
    return this.parameters.some(
        ({slug, 'full-depth': deep, default: standard}) => deep && this.settings[slug] !== standard);
  }
  // Whether the clip is keyed at full depth.
  get isDeep() {
    return this.needsFullDepth || this.depth === 'deep' || (this.depth === 'auto' && this.clip.bits > 8);
  }
  // What requests say of it.
  get lane() {
    return this.depth === 'auto' || (this.depth === '8' && this.needsFullDepth) ? {} : {depth: this.depth};
  }

  // The value of a setting at the current frame.
  value(slug) { return valueAt(this.bySlug.get(slug), this.settings[slug], this.frame); }
  animated(slug) { return isAnimated(this.settings[slug]); }

  // Changes settings as one step of the history. `merge` joins quick or dragged changes of one control.
  change(values, {label, merge, dragging, since, moving = false, time = performance.now()} = {}) {
    const before = this.settings;
    const after = {...before, ...values};
    if (same(before, after)) return;
    const text = label ?? Object.entries(values).map(([slug, value]) => `${slug} ${shown(value)}`).join(', ');
    this.#history.add({slot: this.slot, before, after, label: text}, {merge, dragging, since});
    this.#slots[this.slot] = after;
    this.#announce({moving, time});
  }

  keyAt(depth) {
    this.depth = depth;
    this.emit('settings', {moving: false, time: performance.now()});
  }

  // With the screen that the colour says: blue where it has more blue than green and red.
  changeKeyColor(color, options) {
    const [red, green, blue] = [1, 3, 5].map((at) => Number.parseInt(color.slice(at, at + 2), 16));
    const screen = blue > Math.max(green, red) ? 'blue' : 'green';
    this.change({'key-color': color, screen}, {label: `key colour ${color}`, ...options});
  }

  // The hand has let go of a control.
  settle() { this.#history.close(); }

  // Each answers what was undone or done again, or null.
  undo() { return this.#restore(this.#history.undo(), 'before'); }
  redo() { return this.#restore(this.#history.redo(), 'after'); }

  #restore(change, side) {
    if (!change) return null;
    this.slot = change.slot;
    this.#slots[change.slot] = change[side];
    this.#announce({moving: false, time: performance.now()});
    return change.label;
  }

  useSlot(slot) {
    this.slot = slot;
    this.#history.close();
    this.#announce({moving: false, time: performance.now()});
  }

  flip() { this.useSlot(this.slot === 'A' ? 'B' : 'A'); }

  // The other slot gets this one's settings. That can be undone, too.
  copyToOther() {
    const other = this.slot === 'A' ? 'B' : 'A';
    const before = this.#slots[other];
    if (same(before, this.settings)) return;
    this.#history.add({slot: other, before, after: this.settings, label: `${this.slot} copied to ${other}`});
    this.#slots[other] = this.settings;
    this.emit('history');
  }

  #announce(detail) {
    this.emit('settings', detail);
    this.emit('history');
  }

  setFrame(frame, {moving = false, time = performance.now()} = {}) {
    const wanted = clamp(Math.round(frame), 0, this.clip.frames - 1);
    if (wanted === this.frame) return;
    this.frame = wanted;
    this.emit('frame', {moving, time});
  }

  // In and out points; `end` is the first frame after the range.
  setRange(start, end) {
    const first = clamp(Math.round(start), 0, this.clip.frames - 1);
    this.range = {start: first, end: clamp(Math.round(end), first + 1, this.clip.frames)};
    this.emit('range');
  }

  // Any of view, second, layout, over.
  show(values) {
    Object.assign(this, values);
    this.emit('view');
  }
}
