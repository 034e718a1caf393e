// The settings above the picture: each control shows a part of the state and changes it.

import { helpRows } from './keyboard.js';
import { shapeOf } from './frame.js';
import { gridFor, convolve } from './convolution.js';
import { lowerBound } from './pyramid.js';

const byId = (id) => document.getElementById(id);

// A number as a person would write it.
function plain(value) {
  return Number.isFinite(value) ? String(Number(value.toPrecision(8))) : '';
}

// Decades of a width slider below and above the usual width.
const WIDTH_DECADES = [-3, 2];

// Control, what it shows, what it changes; `read` gives undefined for what is not usable.
const CONTROLS = [
  ['sticks', (s) => s.sticks, (sticks) => ({ sticks })],
  ['shape', (s) => s.shape, (shape) => ({ shape })],
  ['width', (s) => s.width, (width) => width > 0 && { width }],
  ['lorentzian', (s) => s.lorentzian, (lorentzian) => lorentzian > 0 && { lorentzian }],
  ['width-unit', (s) => s.widthUnit, (widthUnit) => ({ widthUnit })],
  [
    'width-slider',
    (s) => Math.log10(s.width),
    (lg) => ({ width: Number((10 ** lg).toPrecision(3)) }),
  ],
  ['temperature', (s) => s.temperature, (T) => T >= 0 && { temperature: T }],
  [
    'temperature-slider',
    (s) => Math.log10(Math.max(1, s.temperature)),
    (lg) => ({ temperature: Number((10 ** lg).toPrecision(3)) }),
  ],
  ['mode', (s) => s.mode, (mode) => ({ mode })],
  ['active', (s) => String(s.active), (k) => ({ active: Number(k) })],
  ['uncertainty', (s) => s.uncertainty, (uncertainty) => uncertainty > 0 && { uncertainty }],
];

// The same of the measured spectrum that is chosen.
const SPECTRUM_CONTROLS = [
  ['visible', (m) => m.isVisible, (isVisible) => ({ isVisible })],
  ['scale', (m) => Number(m.scale.toPrecision(5)), (scale) => scale !== 0 && { scale }],
  [
    'scale-slider',
    (m) => Math.log10(Math.abs(m.scale / m.usualScale)),
    (lg, m) => ({ scale: Math.sign(m.scale) * Math.abs(m.usualScale) * 10 ** lg }),
  ],
  ['shift', (m) => m.shift, (shift) => ({ shift })],
  [
    'offset',
    (m) => Number((m.offset * m.factor).toPrecision(5)),
    (offset, m) => ({ offset: offset / m.factor }),
  ],
];

function valueOf(element) {
  if (element.type === 'checkbox') return element.checked;
  if (element.type === 'number' || element.type === 'range') return element.valueAsNumber;
  return element.value;
}

function show(element, value) {
  if (element === document.activeElement && element.type === 'number') return;
  if (element.type === 'checkbox') element.checked = value;
  else element.value = typeof value === 'number' ? plain(value) : value;
}

function listenTo(id, change) {
  const element = byId(id);
  element.addEventListener('input', () => {
    const value = valueOf(element);
    const isUsable = typeof value !== 'number' || Number.isFinite(value);
    const patch = isUsable && change(value);
    element.setAttribute('aria-invalid', String(!patch));
    if (patch) change.apply(patch);
  });
  element.addEventListener('blur', () => element.setAttribute('aria-invalid', 'false'));
}

/**
 * Scale of a measured spectrum against the calculated curve in the window, least squares with a
 * free baseline: measured = a curve + b gives scale 1/a and offset b. Null where they have nothing
 * in common.
 */
export function fittedScale(app, spectrum) {
  const { state, table, meta } = app;
  const shape = shapeOf(state, meta.unit) ?? shapeOf({ ...state, shape: 'gauss' }, meta.unit);
  const grid = gridFor(state.from, state.to, 1500, shape);
  const curve = convolve(grid, table, shape);
  const begin = lowerBound(spectrum.x, state.from - spectrum.shift);
  const end = lowerBound(spectrum.x, state.to - spectrum.shift, begin);
  const every = Math.max(1, Math.floor((end - begin) / 200000));
  let [n, sx, sy, sxx, sxy] = [0, 0, 0, 0, 0];
  for (let i = begin; i < end; i += every) {
    const place = (spectrum.x[i] + spectrum.shift - grid.start) / grid.step;
    const left = Math.min(grid.count - 2, Math.max(0, Math.floor(place)));
    const x = curve[left] + (place - left) * (curve[left + 1] - curve[left]);
    const y = spectrum.y[i];
    n += 1;
    sx += x;
    sy += y;
    sxx += x * x;
    sxy += x * y;
  }
  const slope = (n * sxy - sx * sy) / (n * sxx - sx * sx);
  if (n < 3 || !(Math.abs(slope) > 0) || !Number.isFinite(slope)) return null;
  return { scale: 1 / slope, offset: (sy - slope * sx) / n };
}

function listenToButtons(app) {
  const on = (id, action) => byId(id).addEventListener('click', action);
  on('show-all', () => app.showAll());
  on('zoom-in', () => app.zoom(0.5));
  on('zoom-out', () => app.zoom(2));
  on('print', () => window.print());
  on('help-open', () => byId('help').showModal());
  on('fit-scale', () => {
    const spectrum = app.spectra[app.state.active];
    const fitted = fittedScale(app, spectrum);
    if (fitted) app.changeSpectrum(spectrum, fitted);
    else app.say('The measured spectrum and the curve have nothing in common here.');
  });
  byId('hold').addEventListener('change', (event) => {
    app.change({ held: event.target.checked ? (app.frame.top * app.state.gain) / 1.06 : null });
  });
  for (const band of ['a', 'b', 'c']) {
    byId(`band-${band}`).addEventListener('change', () => {
      app.change({ bands: [...'abc'].filter((b) => byId(`band-${b}`).checked).join('') });
    });
  }
}

/** Everything that the controls show, anew. */
function showAll(app) {
  const { state, spectra } = app;
  for (const [id, read] of CONTROLS) show(byId(id), read(state));
  for (const band of ['a', 'b', 'c']) byId(`band-${band}`).checked = state.bands.includes(band);
  byId('hold').checked = state.held > 0;
  byId('lorentzian').closest('label').hidden = state.shape !== 'voigt';
  const spectrum = spectra[state.active];
  if (spectrum) for (const [id, read] of SPECTRUM_CONTROLS) show(byId(id), read(spectrum));
}

export function listenToControls(app) {
  const slider = byId('width-slider');
  const usual = Math.log10(app.defaults.width);
  [slider.min, slider.max] = WIDTH_DECADES.map((decades) => (usual + decades).toFixed(2));
  byId('active').replaceChildren(
    ...app.spectra.map((spectrum, k) => new Option(spectrum.name, String(k))),
  );
  byId('measured').hidden = app.spectra.length === 0;
  byId('bands').hidden = app.table.band.every((band) => band === app.table.band[0]);
  byId('keys').replaceChildren(
    ...helpRows().map((words) => {
      const row = document.createElement('tr');
      for (const word of words) row.insertCell().textContent = word;
      return row;
    }),
  );
  for (const [id, , change] of CONTROLS) {
    listenTo(
      id,
      Object.assign((value) => change(value), { apply: (patch) => app.change(patch) }),
    );
  }
  for (const [id, , change] of SPECTRUM_CONTROLS) {
    const active = () => app.spectra[app.state.active];
    const apply = (patch) => app.changeSpectrum(active(), patch);
    listenTo(
      id,
      Object.assign((value) => change(value, active()), { apply }),
    );
  }
  byId('bar').addEventListener('submit', (event) => event.preventDefault());
  listenToButtons(app);
  app.listen((reason) => {
    if (reason === 'view') showAll(app);
  });
  showAll(app);
}
