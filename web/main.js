// Puts the page together.

import { App } from './app.js';
import { Assignment } from './assignment.js';
import { deviationsOf, observedOf } from './deviations.js';
import { convolve, gridFor } from './convolution.js';
import { readMeta } from './data.js';
import { readSpectra } from './measured.js';
import { EmbeddedProvider } from './provider.js';
import { readFragment, soundWindow, usualWidth } from './state.js';
import { shapeOf } from './frame.js';
import { listenToControls } from './controls.js';
import { listenToKeys } from './keyboard.js';
import { listenToPanels } from './panels.js';
import { listenToPointer } from './pointer.js';
import { listenToSaving } from './save.js';

function roomAround(from, to) {
  const room = to > from ? 0.02 * (to - from) : Math.max(1e-3 * Math.abs(from), 1e-3);
  return soundWindow(from - room, to + room);
}

// The windows of all that there is, and of what was measured where there are lines.
function windowsOf(table, spectra) {
  const ends = spectra.map(({ x }) => [x[0], x[x.length - 1]]);
  const around = (some) =>
    roomAround(Math.min(...some.map((e) => e[0])), Math.max(...some.map((e) => e[1])));
  const inside = ends.filter(([first, last]) => first < table.last && last > table.first);
  const all = around([[table.first, table.last], ...ends]);
  return { all, first: inside.length > 0 ? around(inside) : all };
}

// The uncertainty that most lines of the file have, else a part of the width.
function usualUncertainty(features, width) {
  const counts = new Map();
  for (const { uncertainty } of features) {
    if (uncertainty > 0) counts.set(uncertainty, (counts.get(uncertainty) ?? 0) + 1);
  }
  const [most] = [...counts].sort((a, b) => b[1] - a[1]);
  return most ? most[0] : Number((width / 20).toPrecision(1));
}

function defaultsOf(meta, [from, to]) {
  const width = usualWidth(from, to);
  return {
    from,
    to,
    gain: 1,
    held: null,
    temperature: meta.temperature,
    shape: 'gauss',
    width,
    lorentzian: width,
    widthUnit: meta.unit,
    sticks: true,
    bands: 'abc',
    mode: 'overlay',
    active: 0,
    selected: '',
    uncertainty: usualUncertainty(meta.features, width),
  };
}

// As high as the calculated curve, whatever the measured one counts.
function scaleSpectra(app) {
  const { table, meta, defaults } = app;
  const shape = shapeOf(defaults, meta.unit);
  for (const spectrum of app.spectra) {
    const [low, high] = [spectrum.lowest, spectrum.highest];
    const isDipping = spectrum.usual - low > high - spectrum.usual;
    const height = isDipping ? low - spectrum.usual : high - spectrum.usual;
    const [from, to] = soundWindow(spectrum.x[0], spectrum.x[spectrum.x.length - 1]);
    let top = 0;
    for (const value of convolve(gridFor(from, to, 1500, shape), table, shape))
      top = Math.max(top, value);
    if (top === 0) top = table.intensity[table.strongest(-Infinity, Infinity)] ?? 0;
    const scale = Number((top / height).toPrecision(4));
    spectrum.scale = spectrum.usualScale = Number.isFinite(scale) && scale !== 0 ? scale : 1;
  }
}

// What the address says, over what is usual.
function applyFragment(app) {
  const { state, spectra } = readFragment(window.location.hash);
  if (!(state.active < app.spectra.length)) delete state.active;
  spectra.forEach((read, k) => {
    if (app.spectra[k] && read) Object.assign(app.spectra[k], read);
  });
  const { selected } = state;
  app.change({ ...app.defaults, ...state, selected: '' });
  const lines = (selected ?? '')
    .split(',')
    .map((word) => app.table.find(word.split('.').map(Number)));
  app.select(lines.filter((line) => line >= 0).map((line) => ({ line, isTicked: true })));
}

function followList(app) {
  const follow = () => {
    app.deviations = deviationsOf(app.assignment.features, app.table, app.meta.two_states);
    app.observed = observedOf(app.deviations);
    app.refresh();
    app.tell('list');
  };
  app.undo = () => app.say(app.assignment.undo() ? 'Undone.' : 'There is nothing to undo.');
  app.redo = () => app.say(app.assignment.redo() ? 'Done again.' : 'There is nothing to do again.');
  app.changeSpectrum = (spectrum, patch) => {
    Object.assign(spectrum, patch);
    app.change({});
  };
  app.assignment.onChange = follow;
  follow();
}

function followSurroundings(app) {
  new ResizeObserver(() => app.askFrame()).observe(app.canvas);
  window.matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => app.recolor());
  const followRatio = () => {
    app.askFrame();
    const query = `(resolution: ${window.devicePixelRatio}dppx)`;
    window.matchMedia(query).addEventListener('change', followRatio, { once: true });
  };
  followRatio();
  window.addEventListener('hashchange', () => applyFragment(app));
}

function showTitle(meta) {
  document.getElementById('title').textContent = meta.title || meta.input;
  const about = [
    meta.title ? meta.input : '',
    `${meta.lines.count} lines`,
    meta.program,
    ...meta.notes,
  ];
  document.getElementById('about').textContent = about.filter(Boolean).join(' · ');
}

async function start() {
  const meta = readMeta(document);
  showTitle(meta);
  const provider = new EmbeddedProvider(document, meta);
  const table = await provider.linesOf({ temperature: meta.temperature });
  const spectra = readSpectra(document, meta);
  let storage = null;
  try {
    storage = window.localStorage;
  } catch {
    // the list then lives as long as the page
  }
  const key = `kiv-view ${window.location.pathname} ${meta.input}`;
  const assignment = new Assignment(meta.features, storage, key);
  const windows = windowsOf(table, spectra);
  const defaults = defaultsOf(meta, windows.first);
  const parts = {
    meta,
    whole: windows.all,
    provider,
    table,
    spectra,
    assignment,
    defaults,
    state: { ...defaults },
  };
  const app = new App(parts, document.getElementById('picture'));
  scaleSpectra(app);
  followList(app);
  listenToPanels(app);
  listenToControls(app);
  listenToPointer(app);
  listenToKeys(app);
  listenToSaving(app);
  followSurroundings(app);
  applyFragment(app);
  app.draw();
  window.kiv = app; // for the browser's console
  document.documentElement.dataset.ready = String(Math.round(performance.now()));
}

start();
