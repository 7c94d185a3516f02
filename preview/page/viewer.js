// The stage: one picture, two with a wipe line between them, or two side by side; zoom and pan.

import {byId, clamp, follow} from './dom.js';
import {Camera} from './camera.js';
import {Pane} from './pane.js';
import {PictureCache} from './picture_cache.js';
import {PictureFeed} from './picture_feed.js';
import {kComposite} from './state.js';

// The width of a pixel in relation to its height.
export const pixelAspect = ({pixelAspect: aspect}) => (aspect?.num > 0 && aspect.den > 0 ? aspect.num / aspect.den : 1);

const kWheelSpeed = 0.0016;  // of the zoom's logarithm, a CSS pixel of the mouse wheel's turn
const kStep = Math.SQRT2;

export class Viewer {
  #state;
  #stage = byId('stage');
  #wipe = byId('wipe');
  #panes;  // [{pane, feed}], main and second
  #wipeAt = 0.5;

  // `tool`, when set, takes presses on the picture instead of panning: tool(event, pixel). `boxes()` answers
  // rectangles to be drawn over it.
  tool = null;
  boxes = () => [];

  constructor(state, {fail, timed}) {
    this.#state = state;
    this.camera = new Camera({...state.clip, aspect: pixelAspect(state.clip)});
    const cache = new PictureCache();
    this.#panes = ['main', 'second'].map((name) => this.#makePane(name, {cache, fail, timed}));
    state.on('settings frame', (change) => this.#refresh(change));
    state.on('view', () => this.#arrange());
    new ResizeObserver(() => this.place()).observe(this.#stage);
    this.#listen();
  }

  // Asks for the first pictures.
  start() { this.#arrange(); }

  #makePane(name, {cache, fail, timed}) {
    const pane = new Pane(byId(`pane-${name}`));
    const draw = (answer, request) => {
      pane.draw(answer, this.#state.viewNames.get(request.view));
      Object.assign(pane.element.dataset, {view: request.view, frame: request.frame, scale: answer.scale});
      this.#state.emit('drawn', {name, frame: request.frame});
    };
    const feed = new PictureFeed({name, clip: this.#state.clip, cache, draw, fail, timed});
    return {pane, feed};
  }

  #arrange() {
    this.#stage.dataset.layout = this.#state.layout;
    this.place();
    this.#refresh({});
  }

  #refresh(change) {
    const {view, second, layout} = this.#state;
    this.#panes[0].feed.show(this.#request(view), change);
    if (layout !== 'single') this.#panes[1].feed.show(this.#request(second), change);
  }

  // The result over a colour or a file is composed by the server, as the command would.
  #request(view) {
    const {frame, settings, lane, over} = this.#state;
    const composed = view === 'result' && over !== 'checkerboard';
    return composed ? {frame, view: kComposite, settings, ...lane, over} : {frame, view, settings, ...lane};
  }

  // Puts the pictures where the camera sees them.
  place() {
    const {width, height} = this.#panes[0].pane.element.getBoundingClientRect();
    this.camera.setArea(width, height);
    for (const {pane} of this.#panes) pane.place(this.camera, this.boxes());
    this.#placeWipe();
    byId('zoom').value = `${Math.round(this.camera.zoom * 100)} %`;
  }

  #placeWipe() {
    const share = `${100 * this.#wipeAt}%`;
    const second = this.#panes[1].pane.element;
    second.style.clipPath = this.#state.layout === 'wipe' ? `inset(0 0 0 ${share})` : '';
    this.#wipe.style.left = share;
    this.#wipe.setAttribute('aria-valuenow', Math.round(100 * this.#wipeAt));
  }

  // A picture's pixel under an event, or null beside it; with `nearest` the nearest one.
  pixelAt(event, nearest = false) {
    const pane = this.#paneAt(event);
    const point = this.camera.toPicture(event.clientX - pane.left, event.clientY - pane.top);
    const {width, height} = this.#state.clip;
    const x = Math.floor(point.x);
    const y = Math.floor(point.y);
    if (nearest) return {x: clamp(x, 0, width - 1), y: clamp(y, 0, height - 1)};
    return x >= 0 && y >= 0 && x < width && y < height ? {x, y} : null;
  }

  // The rectangle of the pane under an event.
  #paneAt(event) {
    const [main, second] = this.#panes.map(({pane}) => pane.element.getBoundingClientRect());
    return this.#state.layout === 'side' && event.clientX >= second.left ? second : main;
  }

  fit() { this.camera.fit(); this.place(); }
  zoomTo(zoom) { this.camera.zoomTo(zoom); this.place(); }
  zoomIn() { this.zoomTo(this.camera.zoom * kStep); }
  zoomOut() { this.zoomTo(this.camera.zoom / kStep); }

  #listen() {
    this.#stage.addEventListener('wheel', (event) => this.#turn(event), {passive: false});
    this.#stage.addEventListener('pointerdown', (event) => this.#press(event));
    this.#wipe.addEventListener('pointerdown', (event) => this.#dragWipe(event));
    this.#wipe.addEventListener('keydown', (event) => this.#keyWipe(event));
  }

  #turn(event) {
    event.preventDefault();
    const pane = this.#paneAt(event);
    const pixels = event.deltaMode === 1 ? event.deltaY * 20 : event.deltaY;
    this.camera.zoomTo(this.camera.zoom * Math.exp(-pixels * kWheelSpeed), event.clientX - pane.left,
                       event.clientY - pane.top);
    this.place();
  }

  #press(event) {
    if (event.target.closest('.message')) return;
    document.activeElement?.blur();  // a field would keep the shortcuts from the picture
    if (this.tool && event.button === 0) {
      this.tool(event);
      return;
    }
    if (event.button > 1) return;
    event.preventDefault();
    this.#stage.classList.add('panning');
    const pan = (move) => {
      this.camera.pan(move.movementX, move.movementY);
      this.place();
    };
    follow(this.#stage, event, pan, () => this.#stage.classList.remove('panning'));
  }

  #dragWipe(event) {
    event.stopPropagation();
    const {left, width} = this.#stage.getBoundingClientRect();
    follow(this.#wipe, event, (move) => this.#setWipe((move.clientX - left) / width));
  }

  #keyWipe(event) {
    const step = {ArrowLeft: -0.02, ArrowRight: 0.02}[event.key];
    if (!step) return;
    event.preventDefault();
    event.stopPropagation();
    this.#setWipe(this.#wipeAt + step);
  }

  #setWipe(share) {
    this.#wipeAt = clamp(share, 0, 1);
    this.#placeWipe();
  }
}
