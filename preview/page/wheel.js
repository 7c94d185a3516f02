// The chroma wheel: the frame's colours in the (I, Q) plane, and over them what the settings do there.

import * as api from './api.js';
import {byId, fitCanvas, make} from './dom.js';
import {Newest} from './newest.js';

const kLineColors = {
  'skin hue': '#f2a65a', 'blue hue': '#6fb3ff', 'skin despill': '#c9794f', 'blue despill': '#4f7fc4',
};
const kMidLuma = 150;
const kReachSteps = 8;

const isDespill = (line) => line.includes('despill');

// A colour of medium brightness at (I, Q).
function colorAt(i, q) {
  const level = (value) => Math.min(255, Math.max(0, Math.round(value)));
  const shifts = [0.956 * i + 0.621 * q, -0.272 * i - 0.647 * q, -1.106 * i + 1.703 * q];
  return shifts.map((shift) => level(kMidLuma + shift));
}

const parse = (text) => [0, 2, 4].map((at) => parseInt(text.slice(at, at + 2), 16));

// The middle of a bin in the (I, Q) plane.
function middleOf(at, {bins, reach}) {
  return [((at % bins + 0.5) / bins * 2 - 1) * reach, (1 - (Math.floor(at / bins) + 0.5) / bins * 2) * reach];
}

// The bins as a picture of N x N pixels; the fuller, the brighter.
function binsAsImage(answer) {
  const {bins, counts, colors} = answer;
  const image = new ImageData(bins, bins);
  const most = Math.log1p(Math.max(1, ...counts));
  counts.forEach((count, at) => {
    if (!count) return;
    const color = colors?.[at] ? parse(colors[at]) : colorAt(...middleOf(at, answer));
    image.data.set([...color, 90 + 165 * Math.log1p(count) / most], 4 * at);
  });
  return image;
}

// How far the wheel must show to hold the frame's colours and the key colour; in steps, so that it seldom changes.
function reachShown(answer) {
  const {counts, key, reach} = answer;
  const points = [key, ...counts.flatMap((count, at) => (count ? [middleOf(at, answer)] : []))];
  const farthest = Math.max(...points.map((point) => Math.hypot(...point)));
  const step = reach / kReachSteps;
  return Math.min(reach, Math.ceil(1.1 * farthest / step) * step);
}

export class Wheel {
  #canvas = byId('wheel');
  #panel = byId('wheel-panel');
  #state;
  #newest;
  #answer = null;

  constructor(state, fail) {
    this.#state = state;
    this.#newest = new Newest({
      ask: (question, signal) => api.post('wheel', question, signal),
      take: (answer) => {
        this.#answer = answer;
        this.#draw();
      },
      fail,
    });
    state.on('settings frame', () => this.#ask());
    this.#panel.addEventListener('toggle', () => this.#ask());
    new ResizeObserver(() => this.#draw()).observe(this.#canvas);
    this.#fillLegend();
    this.#ask();
  }

  #ask() {
    const {frame, settings, lane} = this.#state;
    if (this.#panel.open) this.#newest.want({frame, settings, ...lane});
  }

  #fillLegend() {
    const entry = (color, kind, text) => {
      const mark = make('i', {className: kind});
      mark.style.color = color;
      return make('li', {}, mark, text);
    };
    byId('wheel-legend').append(
        entry('#ffffff', 'ring', 'key colour'), entry('#8fe0a0', 'dot', 'plate'),
        ...Object.entries(kLineColors).map(([name, color]) => entry(color, isDespill(name) ? 'dashed' : 'line', name)));
  }

  #draw() {
    if (!this.#answer || !this.#panel.open) return;
    const {context, width, height} = fitCanvas(this.#canvas);
    const reach = reachShown(this.#answer);
    const at = ([i, q]) => [(i / reach + 1) / 2 * width, (1 - q / reach) / 2 * height];
    context.fillStyle = '#161616';
    context.fillRect(0, 0, width, height);
    this.#drawGrid(context, width, height);
    this.#drawBins(context, at);
    this.#answer.lines.forEach((line) => this.#drawLine(context, line, at));
    context.fillStyle = '#8fe0a0';
    for (const point of this.#answer.plate) context.fillRect(at(point)[0] - 0.5, at(point)[1] - 0.5, 1.5, 1.5);
    this.#drawRing(context, at(this.#answer.key));
  }

  #drawGrid(context, width, height) {
    context.strokeStyle = '#3a3a3a';
    context.lineWidth = 1;
    context.beginPath();
    context.moveTo(0, height / 2);
    context.lineTo(width, height / 2);
    context.moveTo(width / 2, 0);
    context.lineTo(width / 2, height);
    context.stroke();
    context.beginPath();
    context.arc(width / 2, height / 2, width / 2 - 1, 0, 2 * Math.PI);
    context.stroke();
    context.fillStyle = '#9a9a9a';
    context.font = '10px system-ui, sans-serif';
    context.fillText('+I', width - 14, height / 2 - 3);
    context.fillText('+Q', width / 2 + 3, 10);
  }

  #drawBins(context, at) {
    const image = binsAsImage(this.#answer);
    const small = make('canvas', {width: image.width, height: image.height});
    small.getContext('2d').putImageData(image, 0, 0);
    context.imageSmoothingEnabled = false;
    const {reach} = this.#answer;
    const [left, top] = at([-reach, reach]);
    const [right, bottom] = at([reach, -reach]);
    context.drawImage(small, left, top, right - left, bottom - top);
  }

  #drawLine(context, {name, at: start, direction}, at) {
    const far = 3 * this.#answer.reach;
    const length = Math.hypot(...direction) || 1;
    const end = [0, 1].map((axis) => start[axis] + direction[axis] / length * far);
    context.strokeStyle = kLineColors[name] ?? '#cccccc';
    context.setLineDash(isDespill(name) ? [3, 3] : []);
    context.lineWidth = 1.5;
    context.beginPath();
    context.moveTo(...at(start));
    context.lineTo(...at(end));
    context.stroke();
    context.setLineDash([]);
  }

  #drawRing(context, [x, y]) {
    for (const [color, width] of [['#000000', 3.5], ['#ffffff', 1.5]]) {
      context.strokeStyle = color;
      context.lineWidth = width;
      context.beginPath();
      context.arc(x, y, 5, 0, 2 * Math.PI);
      context.stroke();
    }
  }
}
