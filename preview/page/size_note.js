// How large an export is likely to become, and whether there is room for it. The server finds it out from a few frames.

import * as api from './api.js';
import {sizeText} from './dom.js';

export class SizeNote {
  #place;
  #request;
  #stop = new AbortController();  // of the newest question

  // Shown in the element `place`, for what `request()` tells.
  constructor(place, request) {
    this.#place = place;
    this.#request = request;
  }

  async update() {
    this.#stop.abort();
    this.#stop = new AbortController();
    this.#show('estimating…');
    try {
      const {bytes, free} = await api.post('export/size', this.#request(), this.#stop.signal);
      const fits = bytes <= free;
      this.#show(`about ${sizeText(bytes)}; ${fits ? '' : 'only '}${sizeText(free)} are free`, !fits);
    } catch (error) {
      if (error.name !== 'AbortError') this.#show(error.message, true);
    }
  }

  // The server gives up, too.
  stop() {
    this.#stop.abort();
    this.#show('');
    api.remove('export/size').catch(() => {});  // where it is lost, the page says so elsewhere
  }

  #show(text, warns = false) {
    this.#place.textContent = text;
    this.#place.classList.toggle('error', warns);
  }
}
