// Undo and redo: a list of changes, each with the state before and after it.

import {same} from './values.js';

const kMergeWithin = 600;  // milliseconds between two key presses on the same control that count as one change

export class History {
  #done = [];
  #undone = [];

  // Notes a change {slot, before, after, label}. Changes with the same `merge` name become one: while a drag goes on
  // (until `close`), or when they follow each other quickly. Those that began at `since` or later do, too.
  add(change, {merge = null, dragging = false, since = Infinity} = {}) {
    const now = performance.now();
    this.#joinSince(since, merge, change.slot);
    const last = this.#done[this.#done.length - 1];
    const joins = merge && last && last.merge === merge && last.slot === change.slot && now < last.openUntil;
    const openUntil = dragging ? Infinity : now + kMergeWithin;
    if (joins) Object.assign(last, {after: change.after, label: change.label, openUntil});
    else this.#done.push({...change, merge, openUntil, begun: now});
    if (joins && same(last.before, last.after)) this.#done.pop();  // there and back again
    this.#undone = [];
  }

  // Makes the last changes that began at `since` or later one, and that one open.
  #joinSince(since, merge, slot) {
    const isOne = (change) => change?.merge === merge && change.slot === slot && change.begun >= since;
    while (isOne(this.#done.at(-1))) {
      this.#done.at(-1).openUntil = Infinity;
      if (!isOne(this.#done.at(-2))) return;
      const {before, begun} = this.#done.at(-2);
      this.#done.splice(-2, 2, {...this.#done.at(-1), before, begun});
    }
  }

  // The next change begins a new step.
  close() {
    const last = this.#done[this.#done.length - 1];
    if (last) last.openUntil = 0;
  }

  get canUndo() { return this.#done.length > 0; }
  get canRedo() { return this.#undone.length > 0; }

  // The change taken back or done again, or null.
  undo() { return this.#move(this.#done, this.#undone); }
  redo() { return this.#move(this.#undone, this.#done); }

  #move(from, to) {
    const change = from.pop();
    if (!change) return null;
    change.openUntil = 0;
    to.push(change);
    return change;
  }
}
