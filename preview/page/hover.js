// What the pixel under the pointer is: source, plate, alpha, result, treatment; and what a click would sample there.

import * as api from './api.js';
import {byId, clamp, hex} from './dom.js';
import {Newest} from './newest.js';

// Levels of deep pictures have decimals, and may lie below 0 and above 255.
const byteOf = (level) => clamp(Math.round(level), 0, 255);

function showColor(name, color, decimals) {
  const rgb = color.slice(0, 3);
  byId(`at-${name}`).textContent = rgb.map((level) => level.toFixed(decimals)).join(' ');
  byId(`at-${name}-color`).style.background = hex(rgb.map(byteOf));
}

export class Hover {
  #state;
  #eyedropper;
  #newest;
  #pixel = null;

  constructor(state, viewer, eyedropper, fail) {
    this.#state = state;
    this.#eyedropper = eyedropper;
    this.#newest = new Newest({
      ask: (question, signal) => api.post('pixel', question, signal),
      take: (answer, question) => this.#show(answer, question),
      fail,
    });
    const stage = byId('stage');
    stage.addEventListener('pointermove', (event) => this.#at(viewer.pixelAt(event)));
    stage.addEventListener('pointerleave', () => this.#at(null));
    state.on('drawn picking', () => this.#ask());
  }

  #at(pixel) {
    this.#pixel = pixel;
    if (pixel) this.#ask();
    else this.#clear();
  }

  // The values are those of no pixel now.
  #clear() {
    this.#newest.forget();
    byId('at-place').textContent = 'Point at a pixel';
    for (const name of ['source', 'sample', 'plate', 'result']) {
      byId(`at-${name}`).textContent = '–';
      byId(`at-${name}-color`).style.background = '';
    }
    byId('at-alpha').textContent = '–';
    byId('at-treatment').textContent = '';
  }

  #ask() {
    if (!this.#pixel) return;
    const {frame, settings, lane} = this.#state;
    this.#newest.want({frame, ...this.#pixel, settings, ...lane, sample: this.#eyedropper.areaAbout(this.#pixel)});
  }

  #show({source, plate, alpha, result, treatment, decimals, sample: mean}, {x, y, sample}) {
    if (!this.#pixel) return;  // the pointer has left
    byId('at-place').textContent = `x ${x}  y ${y}`;
    showColor('source', source, decimals);
    if (mean) {
      byId('at-sample-size').textContent = `${sample.width} × ${sample.height}`;
      showColor('sample', mean.mean, decimals);
    }
    showColor('plate', plate, decimals);
    showColor('result', result, decimals);
    byId('at-alpha').textContent = alpha.toFixed(decimals);
    byId('at-treatment').textContent = treatment;
  }
}
