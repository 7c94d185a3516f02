// Light or dark: as the system has it, until the switch is used.

import {byId} from './dom.js';

const listeners = [];

// Calls `listener` whenever the colours have changed.
export function onTheme(listener) {
  listeners.push(listener);
  system.addEventListener('change', listener);
}

const system = window.matchMedia('(prefers-color-scheme: light)');

byId('theme').onclick = () => {
  const root = document.documentElement;
  const now = root.dataset.theme ?? (system.matches ? 'light' : 'dark');
  root.dataset.theme = now === 'light' ? 'dark' : 'light';
  listeners.forEach((listener) => listener());
};
