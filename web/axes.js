// Ticks and numbers of axes.

const THIN_SPACE = '\u2009';

/** 1, 2 or 5 times a power of ten, not below `least`. */
export function niceStep(least) {
  const power = 10 ** Math.floor(Math.log10(least) + 1e-12);
  for (const factor of [1, 2, 5]) {
    if (factor * power >= least * (1 - 1e-12)) return factor * power;
  }
  return 10 * power;
}

/** Digits behind the point that numbers a step apart need. */
export function decimalsOf(step) {
  return Math.min(12, Math.max(0, Math.ceil(-Math.log10(step) - 1e-9)));
}

/** A number with its thousands set apart: 1 234 567.25, with a true minus sign. */
export function grouped(value, decimals) {
  const [whole, part] = Math.abs(value).toFixed(decimals).split('.');
  const groups = whole.length > 4 ? whole.replace(/\B(?=(\d{3})+$)/g, THIN_SPACE) : whole;
  const isNegative = value < 0 && Number(value.toFixed(decimals)) !== 0;
  return (isNegative ? '\u2212' : '') + groups + (part ? `.${part}` : '');
}

/** Label of a value of a scale that reaches to `largest`: 0.25, or 2.5e-7 where that is shorter. */
export function scaleLabel(value, step, largest) {
  if (value === 0) return '0';
  if (largest >= 1e6 || largest < 1e-3) {
    const digits = Math.max(0, Math.floor(Math.log10(Math.abs(value)) - Math.log10(step) + 1e-9));
    return value.toExponential(Math.min(digits, 6)).replace('e+', 'e').replace('-', '\u2212');
  }
  return grouped(value, decimalsOf(step));
}

/**
 * Ticks between `from` and `to` whose labels, made by `label(value, step)` and `width(text)` pixels
 * wide, stand at least a label's width apart.
 *
 * Returns {step, major: [{value, text}], minor: [value]}.
 */
export function ticksFor(from, to, pixels, label, width) {
  const perPixel = (to - from) / pixels;
  let step = niceStep(50 * perPixel);
  for (let i = 0; i < 12; ++i) {
    const widest = Math.max(width(label(from, step)), width(label(to, step)));
    if (step / perPixel >= 1.15 * widest + 10) break;
    step = niceStep(step * 1.5);
  }
  const major = [];
  for (let k = Math.ceil(from / step - 1e-9); k * step <= to + 1e-9 * step; ++k) {
    major.push({ value: k * step, text: label(k * step, step) });
  }
  const parts = String(step.toExponential()).startsWith('2') ? 4 : 5;
  const minor = [];
  for (let k = Math.ceil((from / step) * parts); (k * step) / parts <= to; ++k) {
    if (k % parts !== 0) minor.push((k * step) / parts);
  }
  return { step, major, minor };
}
