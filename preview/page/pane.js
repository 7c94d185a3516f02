// One picture on the screen: the canvas, what shines through it, its name tag and the sample boxes over it.

import {make, percent} from './dom.js';

const kStatusNames = [
  ['clear', 'clear'], ['almostClear', 'almost clear'], ['partial', 'partial'],
  ['almostOpaque', 'almost solid'], ['opaque', 'solid'],
];

function statusText(status) {
  const total = Object.values(status).reduce((sum, count) => sum + count, 0) || 1;
  return kStatusNames.filter(([key]) => key in status)
      .map(([key, name]) => `${name} ${percent(status[key] / total)}`).join('  ·  ');
}

function place(element, {left, top, width, height}) {
  Object.assign(element.style, {left: `${left}px`, top: `${top}px`, width: `${width}px`, height: `${height}px`});
}

export class Pane {
  #canvas = make('canvas', {className: 'picture', role: 'img'});
  #backing = make('div', {className: 'backing'});
  #boxes = make('div', {className: 'boxes'});
  #tag = make('div', {className: 'tag'});
  #context = this.#canvas.getContext('2d');

  constructor(element) {
    this.element = element;
    element.append(this.#backing, this.#canvas, this.#boxes, this.#tag);
  }

  // Draws an answer of the server. `name` is the view as people read it.
  draw(answer, name) {
    if (this.#canvas.width !== answer.width || this.#canvas.height !== answer.height) {
      this.#canvas.width = answer.width;
      this.#canvas.height = answer.height;
    }
    this.#context.putImageData(new ImageData(answer.bytes, answer.width, answer.height), 0, 0);
    this.#canvas.setAttribute('aria-label', `${name} of the frame`);
    this.#tag.textContent = answer.status ? `${name}   ${statusText(answer.status)}` : name;
  }

  // `scale` is in the screen's pixels a picture pixel: beyond 1 pixels are shown as squares.
  place(camera, boxes) {
    const frame = camera.toArea({x: 0, y: 0, width: camera.width, height: camera.height});
    place(this.#canvas, frame);
    place(this.#backing, this.#visible(frame));
    this.#canvas.classList.toggle('pixels', camera.zoom > 1);
    this.#boxes.replaceChildren(...boxes.map((box) => {
      const element = make('div', {className: 'box'});
      place(element, camera.toArea(box));
      return element;
    }));
  }

  // Only what is seen: at high zoom the whole backing would be a huge surface.
  #visible({left, top, width, height}) {
    const right = Math.min(left + width, this.element.clientWidth);
    const bottom = Math.min(top + height, this.element.clientHeight);
    const x = Math.max(0, left);
    const y = Math.max(0, top);
    return {left: x, top: y, width: Math.max(0, right - x), height: Math.max(0, bottom - y)};
  }
}
