// From a place in the picture to lines, peaks and assignments.

import { roundedFrequency } from './assignment.js';

const REACH = 4; // pixels on either side within which lines are clicked together
const LEAST_SHARE = 0.02; // of the strongest of them: what is weaker is not meant
const MOST_LINES = 20;
const PEAK_REACH = 6; // pixels

/** The lines of a click on `line`: those that the picture does not part from it. */
export function linesAround(app, line) {
  const { frame, table } = app;
  const x = frame.xOf(table.position[line]);
  const range = table.range(frame.frequencyAt(x - REACH), frame.frequencyAt(x + REACH));
  const strongest = table.intensity[table.highest.best(...range)] ?? 0;
  const least = Math.max(LEAST_SHARE * strongest, 0.5 * frame.leastVisible);
  const lines = table.strongestOf(...range, MOST_LINES).filter((i) => table.intensity[i] >= least);
  return lines.includes(line) ? lines : [...lines, line].sort((a, b) => a - b);
}

/** Selects lines, or adds them to those selected and takes away those that were. */
export function pickLines(app, line, isAdding) {
  const picked = linesAround(app, line);
  if (!isAdding) {
    app.select(picked.map((i) => ({ line: i, isTicked: true })));
    return;
  }
  const known = new Set(app.selection.map((entry) => entry.line));
  const kept = picked.every((i) => known.has(i))
    ? app.selection.filter((entry) => !picked.includes(entry.line))
    : [
        ...app.selection,
        ...picked.filter((i) => !known.has(i)).map((i) => ({ line: i, isTicked: true })),
      ];
  app.select(kept.sort((a, b) => a.line - b.line));
}

/** The peak of the active spectrum around x, null without one. */
export function peakAround(app, x) {
  const spectrum = app.activeSpectrum;
  if (!spectrum) return null;
  const from = app.frame.frequencyAt(x - PEAK_REACH);
  const peak = spectrum.peakIn(from, app.frame.frequencyAt(x + PEAK_REACH));
  return peak && { ...peak, spectrum };
}

/** Which click this is: on the panel of the lines or on that of the measured spectrum. */
export function isOnMeasured(app, y) {
  const { measured, lines } = app.frame.layout;
  if (!app.activeSpectrum) return false;
  if (measured === lines) return app.selection.length > 0;
  const [top, bottom] =
    measured.up < 0
      ? [measured.base - measured.height, measured.base]
      : [measured.base, measured.base + measured.height];
  return y >= top && y < bottom;
}

/** Gives the ticked lines a frequency, as a new row of the list. */
export function assign(app, frequency) {
  const ticked = app.selection.filter((entry) => entry.isTicked).map((entry) => entry.line);
  if (ticked.length === 0) {
    app.say('No line is selected: click a stick first.');
    return false;
  }
  const uncertainty = app.state.uncertainty;
  const states = app.meta.two_states ? [1, 0] : [0, 0];
  app.assignment.add({
    frequency: roundedFrequency(frequency, uncertainty),
    uncertainty,
    transitions: ticked.map((i) => ({ quanta: app.table.quantaOf(i), states })),
  });
  const names = ticked.map((i) => app.table.nameOf(i)).join(' and ');
  app.select([]);
  app.say(`Assigned ${names} to ${roundedFrequency(frequency, uncertainty)} ${app.meta.unit}.`);
  return true;
}

/** Lights the next visible line above or below the one that is lit. */
export function stepLine(app, direction) {
  const { table, frame, state } = app;
  const least = frame.leastVisible;
  const isLit =
    app.lit >= 0 && table.position[app.lit] >= state.from && table.position[app.lit] <= state.to;
  const [begin, end] = table.range(state.from, state.to);
  let i = isLit ? app.lit + direction : direction > 0 ? begin : end - 1;
  while (i >= 0 && i < table.size && !(table.intensity[i] >= least)) i += direction;
  if (i < 0 || i >= table.size) {
    app.say('There is no further line that can be seen at this height.');
    return;
  }
  const position = table.position[i];
  if (position < state.from || position > state.to) app.centre(position);
  app.light(i);
}

/** Goes to the next peak of the measured spectrum. */
export function stepPeak(app, direction) {
  const spectrum = app.activeSpectrum;
  if (!spectrum) {
    app.say('There is no measured spectrum.');
    return;
  }
  const { state, frame } = app;
  const from = app.peak ? app.peak.frequency + spectrum.shift : (state.from + state.to) / 2;
  const peak = spectrum.nextPeak(from, direction, frame.top / 40);
  if (!peak) {
    app.say('There is no further peak that can be seen at this height.');
    return;
  }
  const shown = peak.frequency + spectrum.shift;
  if (shown < state.from || shown > state.to) app.centre(shown);
  app.showPeak({ ...peak, spectrum });
}
