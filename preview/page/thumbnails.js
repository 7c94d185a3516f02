// Small pictures along the timeline, fetched one after the other.

import * as api from './api.js';
import {byId, clamp, fitCanvas, make, whenQuiet} from './dom.js';
import {pixelAspect} from './viewer.js';

function canvasOf({bytes, width, height}) {
  const canvas = make('canvas', {width, height});
  canvas.getContext('2d').putImageData(new ImageData(bytes, width, height), 0, 0);
  return canvas;
}

export class Thumbnails {
  #canvas = byId('thumbnails');
  #clip;
  #fail;
  #known = new Map();  // frame -> canvas
  #round = 0;

  constructor(clip, fail) {
    this.#clip = clip;
    this.#fail = fail;
    new ResizeObserver(whenQuiet(200, () => this.#fill())).observe(this.#canvas);
  }

  // As many as fit beside each other; a newer round ends an older one.
  async #fill() {
    const round = this.#round += 1;
    const {context, width, height} = fitCanvas(this.#canvas);
    const each = height * this.#clip.width * pixelAspect(this.#clip) / this.#clip.height;
    const count = Math.max(1, Math.ceil(width / each));
    const pixels = clamp(this.#canvas.height, 16, 160);
    for (let at = 0; at < count; ++at) {
      const frame = Math.min(this.#clip.frames - 1, Math.floor((at + 0.5) * each / width * this.#clip.frames));
      const picture = await this.#get(frame, pixels);
      if (round !== this.#round || !picture) return;
      context.drawImage(picture, at * each, 0, each, height);
    }
  }

  async #get(frame, pixels) {
    const key = `${frame} ${pixels}`;
    if (this.#known.has(key)) return this.#known.get(key);
    try {
      const picture = canvasOf(await api.thumbnail(frame, pixels));
      this.#known.set(key, picture);
      return picture;
    } catch (error) {
      this.#fail(error);
      return null;
    }
  }
}
