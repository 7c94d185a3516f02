// Which part of the picture is seen, and how large.

import {clamp} from './dom.js';

const kSmallest = 1 / 16;
const kLargest = 64;

export class Camera {
  #fitted = true;
  #area = {width: 1, height: 1};

  // Of a picture with that width of its pixels in relation to their height. `zoom` is in the screen's own pixels a row
  // of the picture; x, y is the picture's point in the middle of the area.
  constructor({width, height, aspect}) {
    Object.assign(this, {width, height, aspect, zoom: 1, x: width / 2, y: height / 2});
  }

  get fitted() { return this.#fitted; }

  // CSS pixels a row of the picture, and a column.
  get scale() { return this.zoom / (window.devicePixelRatio || 1); }
  get scaleX() { return this.scale * this.aspect; }

  // The area in CSS pixels that the picture is seen in.
  setArea(width, height) {
    this.#area = {width, height};
    if (this.#fitted) this.fit();
  }

  fit() {
    const {width, height} = this.#area;
    const scale = Math.min(width / (this.width * this.aspect), height / this.height);
    this.zoom = Math.max(kSmallest, scale * (window.devicePixelRatio || 1));
    this.x = this.width / 2;
    this.y = this.height / 2;
    this.#fitted = true;
  }

  // Zooms; the picture's point at (x, y) of the area, by default its middle, stays where it is.
  zoomTo(zoom, x = this.#area.width / 2, y = this.#area.height / 2) {
    const before = this.toPicture(x, y);
    this.zoom = clamp(zoom, kSmallest, kLargest);
    const after = this.toPicture(x, y);
    this.#fitted = false;
    this.#moveTo(this.x + before.x - after.x, this.y + before.y - after.y);
  }

  // Moves the picture by CSS pixels.
  pan(dx, dy) {
    this.#fitted = false;
    this.#moveTo(this.x - dx / this.scaleX, this.y - dy / this.scale);
  }

  #moveTo(x, y) {
    this.x = clamp(x, 0, this.width);
    this.y = clamp(y, 0, this.height);
  }

  toPicture(x, y) {
    return {
      x: this.x + (x - this.#area.width / 2) / this.scaleX,
      y: this.y + (y - this.#area.height / 2) / this.scale,
    };
  }

  // Where a rectangle of the picture lies in the area, in CSS pixels; corners on the screen's own pixels.
  toArea({x, y, width, height}) {
    const ratio = window.devicePixelRatio || 1;
    const whole = (value) => Math.round(value * ratio) / ratio;
    const left = whole(this.#area.width / 2 + (x - this.x) * this.scaleX);
    const top = whole(this.#area.height / 2 + (y - this.y) * this.scale);
    return {left, top, width: width * this.scaleX, height: height * this.scale};
  }
}
