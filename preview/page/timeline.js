// The timeline: the frame, in and out points, and the handles that move them.

import {byId, clamp, follow} from './dom.js';

const kPage = 10;  // frames of an arrow key with Shift

function timeText(frame, {num, den}) {
  const seconds = frame * den / num;
  const minutes = Math.floor(seconds / 60);
  return `${minutes}:${(seconds - 60 * minutes).toFixed(2).padStart(5, '0')}`;
}

export class Timeline {
  #state;
  #track = byId('track');

  constructor(state) {
    this.#state = state;
    const last = state.clip.frames - 1;
    byId('frame').max = last;
    byId('playhead').setAttribute('aria-valuemax', last);
    byId('in-edge').setAttribute('aria-valuemax', last);
    byId('out-edge').setAttribute('aria-valuemax', last + 1);
    this.#listenButtons();
    this.#listenTrack();
    state.on('frame', () => this.#followFrame());
    state.on('range', () => this.#followRange());
    this.#followFrame();
    this.#followRange();
  }

  step(frames) { this.#state.setFrame(this.#state.frame + frames, {moving: true}); }
  toIn() { this.#state.setFrame(this.#state.range.start); }
  toOut() { this.#state.setFrame(this.#state.range.end - 1); }

  // The in point moves here; an out point that lies before it goes to the clip's end.
  setIn() {
    const {frame, range, clip} = this.#state;
    this.#state.setRange(frame, range.end > frame ? range.end : clip.frames);
  }

  // The out point moves to after this frame; an in point later than that goes to the clip's beginning.
  setOut() {
    const {frame, range} = this.#state;
    this.#state.setRange(range.start <= frame ? range.start : 0, frame + 1);
  }

  clearRange() { this.#state.setRange(0, this.#state.clip.frames); }

  #listenButtons() {
    const actions = {
      'first': () => this.toIn(), 'last': () => this.toOut(),
      'previous': () => this.step(-1), 'next': () => this.step(1),
      'set-in': () => this.setIn(), 'set-out': () => this.setOut(), 'clear-range': () => this.clearRange(),
    };
    for (const [id, action] of Object.entries(actions)) byId(id).onclick = action;
    byId('frame').onchange = ({target}) => {
      if (Number.isFinite(target.valueAsNumber)) this.#state.setFrame(target.valueAsNumber);
      this.#followFrame();
    };
  }

  // A place on the track as a number of frames from the clip's beginning.
  #framesAt(event) {
    const {left, width} = this.#track.getBoundingClientRect();
    return clamp((event.clientX - left) / width, 0, 1) * this.#state.clip.frames;
  }

  #listenTrack() {
    this.#track.addEventListener('pointerdown', (event) => {
      const scrub = (at) => this.#state.setFrame(Math.floor(this.#framesAt(at)), {moving: true, time: at.timeStamp});
      scrub(event);
      follow(this.#track, event, scrub);
      byId('playhead').focus({preventScroll: true});
    });
    const state = this.#state;
    this.#listenEdge('in-edge', () => state.range.start, (at) => state.setRange(at, state.range.end));
    this.#listenEdge('out-edge', () => state.range.end, (at) => state.setRange(state.range.start, at));
    this.#listenKeys('playhead', (step) => this.step(step));
  }

  #listenEdge(id, where, move) {
    const edge = byId(id);
    edge.addEventListener('pointerdown', (event) => {
      event.stopPropagation();
      follow(edge, event, (at) => move(this.#framesAt(at)));
    });
    this.#listenKeys(id, (step) => move(where() + step));
  }

  #listenKeys(id, move) {
    byId(id).addEventListener('keydown', (event) => {
      const direction = {ArrowLeft: -1, ArrowDown: -1, ArrowRight: 1, ArrowUp: 1}[event.key];
      if (!direction) return;
      event.preventDefault();
      event.stopPropagation();
      move(direction * (event.shiftKey ? kPage : 1));
    });
  }

  #share(frames) { return `${100 * frames / this.#state.clip.frames}%`; }

  #followFrame() {
    const {frame, clip} = this.#state;
    byId('frame').value = frame;
    byId('frame-of').textContent = `of ${clip.frames}   ${timeText(frame, clip.rate)}`;
    byId('playhead').style.left = this.#share(frame + 0.5);
    byId('playhead').setAttribute('aria-valuenow', frame);
  }

  #followRange() {
    const {range: {start, end}, clip} = this.#state;
    byId('in-edge').style.left = this.#share(start);
    byId('out-edge').style.left = this.#share(end);
    byId('in-edge').setAttribute('aria-valuenow', start);
    byId('out-edge').setAttribute('aria-valuenow', end);
    byId('before-in').style.width = this.#share(start);
    byId('after-out').style.left = this.#share(end);
    byId('after-out').style.width = this.#share(clip.frames - end);
    byId('range-text').textContent = `${start} – ${end - 1}`;
    byId('clear-range').disabled = start === 0 && end === clip.frames;
  }
}
