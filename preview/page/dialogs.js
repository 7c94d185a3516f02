// Opening and closing of the dialogs.

import {byId} from './dom.js';

for (const dialog of document.querySelectorAll('dialog')) {
  dialog.querySelector('.close').onclick = () => dialog.close();
  dialog.addEventListener('pointerdown', (event) => {
    if (event.target === dialog) dialog.close();  // a press beside it
  });
}

export const anyOpen = () => document.querySelector('dialog[open]') !== null;

export function open(id) {
  if (!anyOpen()) byId(id).showModal();
}

// Shows the outcome of something inside a dialog: text, or an error.
export function outcome(id, result) {
  const line = byId(id);
  line.textContent = result instanceof Error ? result.message : result;
  line.classList.toggle('error', result instanceof Error);
}
