// The page begins here: reads the clip and the parameters, and puts the parts together.

import * as api from './api.js';
import {Command} from './command.js';
import {Controls} from './controls.js';
import {Depth} from './depth.js';
import {open} from './dialogs.js';
import {byId, make} from './dom.js';
import {EditBar} from './edit_bar.js';
import {Export} from './export.js';
import {Eyedropper} from './eyedropper.js';
import {Hover} from './hover.js';
import {KeyColor} from './key_color.js';
import {hideMessage, tell, tellEnd, tellError, tellFound} from './message.js';
import {Player} from './player.js';
import {Presets} from './presets.js';
import {Proposal} from './proposal.js';
import {listen} from './shortcuts.js';
import {State} from './state.js';
import {Steps} from './steps.js';
import {Strip} from './strip.js';
import './theme.js';
import {Thumbnails} from './thumbnails.js';
import {Timeline} from './timeline.js';
import {ViewBar} from './view_bar.js';
import {Viewer} from './viewer.js';
import {Wheel} from './wheel.js';

const kHeartbeat = 5000;  // milliseconds

function describe({name, path, width, height, frames, rate, interlaced, alpha, notes, version}) {
  const perSecond = Number((rate.num / rate.den).toFixed(3));
  const facts = [`${width} × ${height}`, `${frames} frames`, `${perSecond} fps`];
  if (interlaced) facts.push('interlaced');
  if (alpha) facts.push('alpha');
  document.title = `${name} – Kalvetra`;
  byId('clip-name').textContent = name;
  byId('clip-name').title = `${path}\nKalvetra ${version}`;
  byId('clip-facts').append(facts.join('  ·  '), make('span', {id: 'clip-depth'}));
  byId('notes').append(...notes.map((note) => make('li', {}, note)));
}

// Says when the server is gone, and when it is back. Ends it on demand, but asks first.
function watchServer() {
  const watch = setInterval(async () => {
    try {
      await api.get('export');
      tellFound();
    } catch (error) {
      tellError(error);
    }
  }, kHeartbeat);
  byId('quit').onclick = () => {
    byId('help').close();
    open('leave');
  };
  byId('leave-now').onclick = async () => {
    clearInterval(watch);
    byId('leave').close();
    tellEnd('The program has ended; this page can be closed.');
    await api.postForText('quit', {});
  };
}

async function offerBackgrounds({background}, viewBar) {
  const {pictures} = await api.get('files');
  viewBar.offerFiles([...new Set(background ? [background, ...pictures] : pictures)]);
}

async function start() {
  tell('Reading the clip…');
  const [clip, {parameters}] = await Promise.all([api.get('clip'), api.get('parameters')]);
  const state = new State(clip, parameters);
  describe(clip);
  hideMessage();
  const timed = (milliseconds) => { byId('timing').textContent = `${Math.round(milliseconds)} ms`; };
  const viewer = new Viewer(state, {fail: tellError, timed});
  const viewBar = new ViewBar(state, viewer);
  new Controls(state);
  new Depth(state);
  const exporter = new Export(state);
  const parts = {
    state, viewer, timeline: new Timeline(state), player: new Player(state), eyedropper: new Eyedropper(state, viewer),
    keyColor: new KeyColor(state), proposal: new Proposal(state), presets: new Presets(state),
    command: new Command(exporter), exporter, edit: new EditBar(state),
  };
  new Steps(state, parts.eyedropper);
  new Hover(state, viewer, parts.eyedropper, tellError);
  listen(parts);
  viewer.start();
  new Wheel(state, tellError);
  new Thumbnails(clip, tellError);
  new Strip(state, tellError);
  watchServer();
  await offerBackgrounds(clip, viewBar);
}

start().catch(tellError);
