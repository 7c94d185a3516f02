// How large an export is likely to become, and whether there is room for it. The server finds it out from a few frames.

import * as api from './api.js';
import {sizeText} from './dom.js';

const kOvertaken = 409;

export class SizeNote {
  #place;
  #request;
  #stop = new AbortController();  // of the newest question

  // Shown in the element `place`, for what `request()` answers.
  constructor(place, request) {
    this.#place = place;
    this.#request = request;
  }

  async update() {
    this.#stop.abort();
    this.#stop = new AbortController();
    this.#show('estimating…');
    try {
      const {bytes, free} = await this.#ask(this.#stop.signal);
      const fits = bytes <= free;
      this.#show(`about ${sizeText(bytes)}; ${fits ? '' : 'only '}${sizeText(free)} are free`, !fits);
    } catch (error) {
      if (error.status === kOvertaken) this.#show('');
      else if (error.name !== 'AbortError') this.#show(error.message, true);
    }
  }

  // What should end one question may end a later one, or another page's: asks again, but only once, so that two pages
  // do not end each other's for ever.
  async #ask(signal) {
    const once = () => api.post('export/size', this.#request(), signal);
    try {
      return await once();
    } catch (error) {
      if (error.status !== kOvertaken) throw error;
      return once();
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
