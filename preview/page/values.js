// Values of settings: constants, or curves of [frame, value] pairs, as in preset files.

import {hex, rgb} from './dom.js';

export const isAnimated = (value) => Array.isArray(value);

const roundHalfUp = (value) => Math.floor(value + 0.5);

function between(parameter, from, to, share) {
  const mix = (a, b) => roundHalfUp(a + (b - a) * share);
  if (parameter.kind === 'slider') return mix(from, to);
  if (parameter.kind !== 'color') return from;  // toggles and menus switch at their keyframe
  const end = rgb(to);
  return hex(rgb(from).map((level, channel) => mix(level, end[channel])));
}

// The value at a frame: held before the first keyframe and after the last one, a straight line between two.
export function valueAt(parameter, value, frame) {
  if (!isAnimated(value)) return value;
  const next = value.findIndex(([at]) => at > frame);
  if (next === 0) return value[0][1];
  if (next < 0) return value[value.length - 1][1];
  const [start, from] = value[next - 1];
  const [end, to] = value[next];
  return between(parameter, from, to, (frame - start) / (end - start));
}

// As people read it.
export function shown(value) {
  if (isAnimated(value)) return 'animated';
  if (typeof value === 'boolean') return value ? 'on' : 'off';
  return String(value);
}

export const same = (a, b) => JSON.stringify(a) === JSON.stringify(b);
