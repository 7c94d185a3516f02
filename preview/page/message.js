// One line over the picture: what went wrong, or what was done.

import {byId} from './dom.js';
import {Lost} from './api.js';

const kShownFor = 4000;  // milliseconds; errors stay until they are dismissed

let timer = 0;
let ended = false;

function show(text, kind) {
  if (ended) return;
  clearTimeout(timer);
  const box = byId('message');
  byId('message-text').textContent = text;
  box.dataset.kind = kind;
  box.hidden = false;
}

export function hideMessage() {
  byId('message').hidden = true;
}

export function tell(text) {
  const box = byId('message');
  if (ended || (box.dataset.kind === 'lost' && !box.hidden)) return;
  show(text, 'news');
  timer = setTimeout(hideMessage, kShownFor);
}

export function tellError(error) {
  show(error.message, error instanceof Lost ? 'lost' : 'error');
}

// The program was ended on purpose: the last that there is to say.
export function tellEnd(text) {
  show(text, 'news');
  ended = true;
}

// The server answers again.
export function tellFound() {
  const box = byId('message');
  if (!box.hidden && box.dataset.kind === 'lost') hideMessage();
}

byId('message-close').onclick = hideMessage;
