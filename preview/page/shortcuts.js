// The keyboard: one table, which the help is made from, too.

import {anyOpen, open} from './dialogs.js';
import {byId, make} from './dom.js';

const kTextFields = 'input[type=text], input[type=number], textarea';
const kOfBrowsers = ['Ctrl+s', 'Ctrl+e'];  // which would do something else in a dialog
const kMouse = [
  ['Wheel', 'Zoom at the pointer'],
  ['Drag', 'Move the picture; with the eyedropper, take a rectangle'],
  ['Double click', 'Reset a control'],
  ['Shift + arrow', 'Ten steps in a slider, ten frames in the timeline'],
];

// [keys as event.key with modifiers, as people read them, what they do, action]
function tableOf({state, viewer, timeline, player, eyedropper, keyColor, proposal, presets, command, exporter, edit}) {
  const toggleLayout = (layout) => state.show({layout: state.layout === layout ? 'single' : layout});
  return {
    'Views': [
      ...state.views.map((view, at) =>
        [[`${at + 1}`], `${at + 1}`, state.viewNames.get(view), () => state.show({view})]),
      [['w'], 'W', 'Wipe between two views', () => toggleLayout('wipe')],
      [['s'], 'S', 'Two views side by side', () => toggleLayout('side')],
      [['f'], 'F', 'Fit the picture', () => viewer.fit()],
      [['h'], 'H', 'One to one, 100 %', () => viewer.zoomTo(1)],
      [['+', '='], '+', 'Larger', () => viewer.zoomIn()],
      [['-'], '-', 'Smaller', () => viewer.zoomOut()],
    ],
    'Frames': [
      [[' '], 'Space', 'Play or stop', () => player.toggle()],
      [['ArrowLeft', ','], '←', 'Previous frame', () => timeline.step(-1)],
      [['ArrowRight', '.'], '→', 'Next frame', () => timeline.step(1)],
      [['Shift+ArrowLeft'], 'Shift ←', 'Ten frames back', () => timeline.step(-10)],
      [['Shift+ArrowRight'], 'Shift →', 'Ten frames on', () => timeline.step(10)],
      [['Home'], 'Home', 'To the in point', () => timeline.toIn()],
      [['End'], 'End', 'To the out point', () => timeline.toOut()],
      [['i'], 'I', 'In point here', () => timeline.setIn()],
      [['o'], 'O', 'Out point here', () => timeline.setOut()],
      [['Shift+X'], 'Shift X', 'The whole clip', () => timeline.clearRange()],
    ],
    'Settings': [
      [['e'], 'E', 'Eyedropper', () => eyedropper.toggle(false)],
      [['Shift+E'], 'Shift E', 'Eyedropper that adds samples', () => eyedropper.toggle(true)],
      [['k'], 'K', 'Find the key colour', () => keyColor.autoPick()],
      [['p'], 'P', 'Propose all settings', () => proposal.propose()],
      [['Ctrl+z'], 'Ctrl Z', 'Undo', () => edit.undo()],
      [['Ctrl+Shift+Z', 'Ctrl+y'], 'Ctrl Shift Z', 'Redo', () => edit.redo()],
      [['a'], 'A', 'Flip between settings A and B', () => state.flip()],
      [['Shift+A'], 'Shift A', 'Copy these settings to the other slot', () => edit.copy()],
    ],
    'Files': [
      [['Ctrl+s'], 'Ctrl S', 'Presets', () => presets.open()],
      [['c'], 'C', 'The same key as a command', () => command.open()],
      [['Ctrl+e'], 'Ctrl E', 'Export', () => exporter.open()],
      [['?', 'Shift+?'], '?', 'This list', () => open('help')],
      [['Escape'], 'Esc', 'End the eyedropper, leave a field, close a window', () => eyedropper.stop()],
    ],
  };
}

function nameOf(event) {
  const key = event.key.length === 1 && !event.shiftKey ? event.key.toLowerCase() : event.key;
  const command = event.ctrlKey || event.metaKey ? 'Ctrl+' : '';
  const shifted = event.shiftKey && (key.length > 1 || /[A-Z?]/.test(key)) ? 'Shift+' : '';
  return command + shifted + key;
}

// Whether the text of a field is being changed, so that undoing is the field's.
const kTyped = new WeakSet();

function watchTyping() {
  document.addEventListener('input', ({target}) => {
    if (target.matches(kTextFields)) kTyped.add(target);
  });
  document.addEventListener('change', ({target}) => kTyped.delete(target));  // entered
}

// Keys that an element needs for itself.
function isTaken(event) {
  const {target, key} = event;
  if (target.closest('dialog:not([open])')) return false;  // a field of it has the focus for a moment after its end
  if (event.ctrlKey || event.metaKey) return kTyped.has(target) && !['s', 'e'].includes(key);
  if (target.matches(`${kTextFields}, select`)) return true;
  if (key === ' ' || key === 'Enter') return target.matches('button, summary, a, input:not([type=range])');
  return key.startsWith('Arrow') && target.matches('input:not([type=checkbox])');
}

function fillHelp(table) {
  const section = (title, rows) => make('section', {}, make('h3', {}, title), make('dl', {}, ...rows.flatMap(
      ([keys, what]) => [make('dt', {}, make('kbd', {}, keys)), make('dd', {}, what)])));
  byId('help-list').append(
      ...Object.entries(table).map(([title, rows]) => section(title, rows.map(([, keys, what]) => [keys, what]))),
      section('Mouse and sliders', kMouse));
}

export function listen(parts) {
  const table = tableOf(parts);
  const rows = Object.values(table).flat();
  const actions = new Map(rows.flatMap(([names, , , action]) => names.map((name) => [name, action])));
  fillHelp(table);
  watchTyping();
  byId('open-help').onclick = () => open('help');
  document.addEventListener('keydown', (event) => {
    if (event.key === 'Escape' && !anyOpen() && event.target.matches(kTextFields)) event.target.blur();
    const name = nameOf(event);
    const action = actions.get(name);
    if (anyOpen() && kOfBrowsers.includes(name)) event.preventDefault();
    if (!action || event.altKey || anyOpen() || isTaken(event)) return;
    event.preventDefault();
    action();
  });
}
