// One line over the picture: what went wrong, or what was done.

import {byId} from './dom.js';
import {Lost} from './api.js';

const kShownFor = 4000;  // milliseconds; errors stay until they are dismissed

let timer = 0;

function show(text, kind) {
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
  if (byId('message').dataset.kind === 'lost' && !byId('message').hidden) return;
  show(text, 'news');
  timer = setTimeout(hideMessage, kShownFor);
}

export function tellError(error) {
  show(error.message, error instanceof Lost ? 'lost' : 'error');
}

// The server answers again.
export function tellFound() {
  const box = byId('message');
  if (!box.hidden && box.dataset.kind === 'lost') hideMessage();
}

byId('message-close').onclick = hideMessage;
