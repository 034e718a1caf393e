// What stands beside the picture: the lines to be assigned, the measured lines, the lines in view.
// Texts of the page's data only ever become text, never markup.

import { BANDS } from './lines.js';
import { assign } from './picking.js';
import { unitName } from './frame.js';
import { digitsFor, frequencyText, lineText, shortest32 } from './words.js';
import { findLine, quantaIn } from './search.js';

const MOST_ROWS = 200;

const byId = (id) => document.getElementById(id);

/** An element with properties and children; texts are children, too. */
function make(tag, properties = {}, ...children) {
  const element = Object.assign(document.createElement(tag), properties);
  element.append(...children);
  return element;
}

function head(...names) {
  return make(
    'thead',
    {},
    make('tr', {}, ...names.map((name) => make('th', { scope: 'col' }, name))),
  );
}

/** Lights a line and moves the window there when it is out of sight. */
function goTo(app, line) {
  const { table, state } = app;
  const position = table.position[line];
  if (position < state.from || position > state.to) app.centre(position);
  app.light(line);
}

function showHover(app) {
  const { lit, peak, meta } = app;
  const words = [];
  if (lit >= 0) words.push(lineText(app, lit));
  if (peak)
    words.push(`peak at ${frequencyText(peak.frequency, meta.unit)} ${unitName(meta.unit)}`);
  byId('hover').textContent = words.join('; ');
}

function showSelection(app) {
  const { selection, table } = app;
  byId('selection').replaceChildren(
    ...selection.map((entry) => {
      const box = make('input', { type: 'checkbox', checked: entry.isTicked });
      box.addEventListener('change', () => {
        entry.isTicked = box.checked;
        app.askFrame();
      });
      const i = entry.line;
      const frequency = frequencyText(table.position[i], app.meta.unit);
      const words = ` ${table.nameOf(i)}, ${frequency}, ${shortest32(table.base[i])}`;
      return make('li', {}, make('label', {}, box, words));
    }),
  );
  const many =
    selection.length > 1
      ? `${selection.length} lines as a blend: untick what is not part of it. `
      : '';
  const where = app.activeSpectrum
    ? 'Click their peak in the measured spectrum, or type a frequency.'
    : 'Type their frequency.';
  byId('selection-hint').textContent =
    selection.length > 0 ? many + where : 'Click a stick to select it.';
  byId('assign-button').disabled = byId('deselect').disabled = selection.length === 0;
}

function featureRow(app, feature) {
  const { unit } = app.meta;
  const deviation = app.deviations.find((entry) => entry.feature === feature);
  const name = feature.transitions
    .map((t) => `${t.quanta.slice(0, 3).join(' ')} - ${t.quanta.slice(3).join(' ')}`)
    .join(' + ');
  const go = make('button', { type: 'button' }, name);
  go.addEventListener('click', () => {
    if (deviation) goTo(app, deviation.line);
    else app.centre(feature.frequency);
  });
  const remove = make('button', { type: 'button' }, '×');
  remove.setAttribute('aria-label', `Remove ${name}`);
  remove.addEventListener('click', () => app.assignment.remove(feature));
  return make(
    'tr',
    {},
    make('td', {}, go, feature.isNew ? ' (new)' : ''),
    make('td', {}, String(feature.frequency)),
    make('td', {}, feature.uncertainty ? String(feature.uncertainty) : ''),
    make('td', {}, deviation ? deviation.value.toFixed(digitsFor(unit)) : 'no line'),
    make('td', {}, remove),
  );
}

function showList(app) {
  const { features } = app.assignment;
  const shown = [...features.filter((f) => f.isNew).reverse(), ...features.filter((f) => !f.isNew)];
  byId('list').replaceChildren(
    head('Transition', 'frequency', 'uncert.', 'o−c', ''),
    make('tbody', {}, ...shown.slice(0, MOST_ROWS).map((feature) => featureRow(app, feature))),
  );
  const rest = shown.length > MOST_ROWS ? `, the first ${MOST_ROWS} shown` : '';
  byId('list-title').textContent = `Measured lines (${shown.length}${rest})`;
  byId('undo').disabled = !app.assignment.canUndo;
  byId('redo').disabled = !app.assignment.canRedo;
  byId('save-lines').disabled = byId('copy-lines').disabled = shown.length === 0;
}

function lineRow(app, i) {
  const { table, meta } = app;
  const band = BANDS[table.band[i]];
  const go = make('button', { type: 'button' }, table.nameOf(i));
  go.addEventListener('click', () => {
    goTo(app, i);
    app.select([{ line: i, isTicked: true }]);
  });
  const observed = app.observed.get(i);
  return make(
    'tr',
    { className: i === app.lit ? 'lit' : '' },
    make('td', {}, go),
    make('td', {}, make('span', { className: `band-${band}` }, band)),
    make('td', {}, frequencyText(table.position[i], meta.unit)),
    make('td', {}, String(Number(table.base[i].toPrecision(5)))),
    make(
      'td',
      {},
      observed ? frequencyText(observed.frequency - table.position[i], meta.unit) : '',
    ),
  );
}

function showLines(app) {
  const { table, state } = app;
  const [begin, end] = table.range(state.from, state.to);
  const shown = table.strongestOf(begin, end, MOST_ROWS);
  byId('lines').replaceChildren(
    head(
      'Transition',
      '',
      unitName(app.meta.unit),
      state.temperature > 0 ? 'intensity' : 'S\u03bc\u00b2',
      'o−c',
    ),
    make('tbody', {}, ...shown.map((i) => lineRow(app, i))),
  );
  const all = end - begin;
  const count = `${all} line${all === 1 ? '' : 's'}`;
  byId('lines-note').textContent =
    shown.length < all ? `the ${shown.length} strongest of ${count}` : count;
}

function listenToSearch(app) {
  const field = byId('quanta');
  let last = { text: '', line: -1 };
  byId('search').addEventListener('submit', (event) => {
    event.preventDefault();
    const quanta = quantaIn(field.value);
    if (!quanta) {
      app.say(
        'Search takes up to six whole numbers: J\u2032 Ka\u2032 Kc\u2032 J\u2033 Ka\u2033 Kc\u2033.',
      );
      return;
    }
    const after = field.value === last.text ? last.line : -1;
    const line = findLine(app.table, quanta, after);
    last = { text: field.value, line };
    if (line < 0) {
      app.say(`No line has the quantum numbers ${quanta.join(' ')}.`);
      return;
    }
    app.say(quanta.length < 6 ? 'Find once more goes to the next one.' : '');
    app.centre(app.table.position[line]);
    app.light(line);
  });
}

export function listenToPanels(app) {
  app.listen((reason) => {
    if (reason === 'lit' || reason === 'peak') showHover(app);
    if (reason === 'selection') showSelection(app);
    if (reason === 'list') {
      showList(app);
      showHover(app);
    }
    if (reason === 'settled') showLines(app);
  });
  byId('assign').addEventListener('submit', (event) => {
    event.preventDefault();
    const frequency = byId('frequency').valueAsNumber;
    if (Number.isFinite(frequency)) assign(app, frequency);
    else app.say('Type the measured frequency of the selected lines.');
  });
  byId('deselect').addEventListener('click', () => app.select([]));
  byId('undo').addEventListener('click', () => app.undo());
  byId('redo').addEventListener('click', () => app.redo());
  listenToSearch(app);
  showSelection(app);
  showList(app);
}
