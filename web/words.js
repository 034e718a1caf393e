// Numbers and lines as words.

import { BANDS } from './lines.js';
import { unitName } from './frame.js';

/** The fewest digits that read back as the same single-precision number. */
export function shortest32(value) {
  if (value === 0) return '0';
  for (let digits = 1; digits < 9; ++digits) {
    const text = Number(value).toPrecision(digits);
    if (Math.fround(Number(text)) === Math.fround(value)) return String(Number(text));
  }
  return String(Number(Number(value).toPrecision(9)));
}

/** Digits behind the point of frequencies: 0.1 kHz, or 1e-7 cm-1. */
export function digitsFor(unit) {
  return unit === 'MHz' ? 4 : 7;
}

export function frequencyText(value, unit) {
  return value.toFixed(digitsFor(unit));
}

/** All that is known of a line, on one line. */
export function lineText(app, i) {
  const { table, meta } = app;
  const unit = unitName(meta.unit);
  const write = (value) => frequencyText(value, meta.unit);
  const isStrength = !(app.state.temperature > 0);
  const words = [
    table.nameOf(i),
    `${BANDS[table.band[i]]} type`,
    `${write(table.position[i])}${table.sd ? ` \u00b1 ${shortest32(table.sd[i])}` : ''} ${unit}`,
    `${isStrength ? 'strength' : 'intensity'} ${shortest32(table.base[i])}`,
    `E\u2033 ${write(table.lowerEnergyOf(i))} ${unit}`,
  ];
  if (!isStrength && meta.has_moment)
    words.push(`S\u03bc\u00b2 ${shortest32(table.strength[i])} D\u00b2`);
  const observed = app.observed.get(i);
  if (observed) {
    words.push(`o\u2212c ${write(observed.frequency - table.position[i])} ${unit}`);
    const blend =
      observed.isBlend && app.deviations.find(({ lines }) => lines.length > 1 && lines.includes(i));
    if (blend) words.push(`o\u2212c of the blend ${write(blend.value)} ${unit}`);
  }
  return words.join(', ');
}
