// Keys. They work wherever the focus is, but in fields that take the same keys.

import { assign, pickLines, stepLine, stepPeak } from './picking.js';
import { MODES } from './state.js';

function enter(app) {
  if (app.selection.length > 0 && app.peak) assign(app, app.peak.frequency);
  else if (app.lit >= 0) pickLines(app, app.lit, false);
}

function escape(app) {
  app.showPeak(null);
  app.select([]);
  app.light(-1);
}

const nextOf = (words, word) => words[(words.indexOf(word) + 1) % words.length];

// Keys, what they do as the help says it, and how.
const KEYS = [
  [['ArrowLeft', 'ArrowRight'], 'move', (app, key) => app.move(key === 'ArrowLeft' ? -0.1 : 0.1)],
  [
    ['PageUp', 'PageDown'],
    'move by a window',
    (app, key) => app.move(key === 'PageUp' ? -0.9 : 0.9),
  ],
  [
    ['+', '=', '-'],
    'zoom in and out, around the line that is lit',
    (app, key) =>
      app.zoom(key === '-' ? 1.5 : 1 / 1.5, app.lit >= 0 ? app.table.position[app.lit] : undefined),
  ],
  [
    ['ArrowUp', 'ArrowDown'],
    'higher and lower sticks',
    (app, key) => app.change({ gain: app.state.gain * (key === 'ArrowUp' ? 1.25 : 0.8) }),
  ],
  [['Home', '0'], 'show all', (app) => app.showAll()],
  [['n', 'p'], 'next and previous line', (app, key) => stepLine(app, key === 'n' ? 1 : -1)],
  [
    ['.', ','],
    'next and previous peak of the measured spectrum',
    (app, key) => stepPeak(app, key === '.' ? 1 : -1),
  ],
  [['Enter', ' '], 'select the line that is lit; with a peak, assign it', enter],
  [['Escape'], 'select nothing', escape],
  [
    ['m'],
    'measured spectrum overlaid, below, mirrored',
    (app) => app.change({ mode: nextOf(MODES, app.state.mode) }),
  ],
  [
    ['s', 'c'],
    'sticks, curve on and off',
    (app, key) =>
      key === 's'
        ? app.change({ sticks: !app.state.sticks })
        : app.change({ shape: app.state.shape === 'none' ? 'gauss' : 'none' }),
  ],
  [['/'], 'search', () => document.getElementById('quanta').focus()],
  [['?'], 'this help', () => document.getElementById('help').showModal()],
];

const NAMES = {
  ArrowLeft: '←',
  ArrowRight: '→',
  ArrowUp: '↑',
  ArrowDown: '↓',
  ' ': 'Space',
  '=': null,
};

const OTHERS = [
  ['Ctrl+Z, Ctrl+Y', 'undo, redo'],
  ['Wheel', 'zoom; with Shift move; over the intensities higher and lower'],
  ['Drag', 'move; with Shift zoom to the part'],
  ['Double click', 'show all'],
  [
    'Click',
    'select the sticks here; then click their peak in the measured spectrum to assign them',
  ],
  ['Shift or Ctrl and click', 'add sticks, or take them away'],
];

/** Rows of the help: [keys, what they do]. */
export function helpRows() {
  const named = ([keys, text]) => [
    keys
      .map((k) => NAMES[k] ?? (k in NAMES ? null : k))
      .filter(Boolean)
      .join(', '),
    text,
  ];
  return [...KEYS.map(named), ...OTHERS];
}

// Fields keep the keys that they understand.
function isTaken(target, key) {
  if (target.closest?.('dialog')) return true;
  if (target.matches?.('textarea, select')) return true;
  if (target.matches?.('button, a, summary')) return key === 'Enter' || key === ' ';
  if (target.matches?.('.scroll'))
    return ['ArrowUp', 'ArrowDown', 'PageUp', 'PageDown', 'Home', ' '].includes(key);
  if (!target.matches?.('input')) return false;
  if (target.type === 'checkbox') return key === ' ';
  return key !== 'Escape';
}

export function listenToKeys(app) {
  document.addEventListener('keydown', (event) => {
    const { key, target } = event;
    const isText = target.matches?.('input:not([type=range], [type=checkbox])');
    if ((event.ctrlKey || event.metaKey) && !event.altKey && !isText) {
      const letter = key.toLowerCase();
      const isRedo = letter === 'y' || (letter === 'z' && event.shiftKey);
      if (letter !== 'z' && letter !== 'y') return;
      event.preventDefault();
      if (isRedo) app.redo();
      else app.undo();
      return;
    }
    if (event.ctrlKey || event.metaKey || event.altKey || isTaken(target, key)) return;
    const row = KEYS.find(([keys]) => keys.includes(key));
    if (!row) return;
    event.preventDefault();
    if (key === 'Escape' && target.blur && target !== app.canvas) target.blur();
    row[2](app, key);
  });
}
