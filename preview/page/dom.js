// Small tools for the document.

export const byId = (id) => document.getElementById(id);

// An element with properties and children: make('p', {className: 'note'}, 'text', child). Names with a dash and `role`
// become attributes.
export function make(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name === 'role' || name.includes('-')) element.setAttribute(name, value);
    else element[name] = value;
  }
  element.append(...children);
  return element;
}

export const clamp = (value, low, high) => Math.min(Math.max(value, low), high);

export const percent = (share, digits = 1) => `${(100 * share).toFixed(digits)} %`;

export function sizeText(bytes) {
  const [unit, size] = bytes >= 1e9 ? ['GB', 1e9] : bytes >= 1e6 ? ['MB', 1e6] : ['kB', 1e3];
  return `${(bytes / size).toFixed(1)} ${unit}`;
}

// A reason of the server's as a sentence of the page's. Names of files at its beginning stay as they are.
export function asSentence(text) {
  const begun = text.replace(/^[a-z]+(?=[ ,])/, (word) => word.charAt(0).toUpperCase() + word.slice(1));
  return /[.!?…]$/.test(begun) ? begun : `${begun}.`;
}

export const hex = ([r, g, b]) => `#${[r, g, b].map((v) => v.toString(16).padStart(2, '0')).join('')}`;

export const rgb = (text) => [1, 3, 5].map((at) => parseInt(text.slice(at, at + 2), 16));

// Calls `done` once, when nothing has called the returned function for `delay` milliseconds.
export function whenQuiet(delay, done) {
  let timer = 0;
  return () => {
    clearTimeout(timer);
    timer = setTimeout(done, delay);
  };
}

// Offers text as a download.
export function offerText(name, text) {
  const address = URL.createObjectURL(new Blob([text], {type: 'application/json'}));
  make('a', {href: address, download: name}).click();
  setTimeout(() => URL.revokeObjectURL(address), 10000);
}

// Prepares a canvas for drawing in CSS pixels at the screen's resolution; answers its context and size.
export function fitCanvas(canvas) {
  const ratio = window.devicePixelRatio || 1;
  const width = canvas.clientWidth;
  const height = canvas.clientHeight;
  canvas.width = Math.max(1, Math.round(width * ratio));
  canvas.height = Math.max(1, Math.round(height * ratio));
  const context = canvas.getContext('2d');
  context.scale(ratio, ratio);
  return {context, width, height};
}

// Follows a pointer from its press to its release; `move` and `end` get the events.
export function follow(element, press, move, end = () => {}) {
  element.setPointerCapture(press.pointerId);
  const release = (event) => {
    element.removeEventListener('pointermove', move);
    element.removeEventListener('pointerup', release);
    element.removeEventListener('pointercancel', release);
    end(event);
  };
  element.addEventListener('pointermove', move);
  element.addEventListener('pointerup', release);
  element.addEventListener('pointercancel', release);
}
