// Measured spectra: points in ascending frequency, and the peaks among them.

import { Pyramid, lowerBound } from './pyramid.js';
import { readArray } from './data.js';

/** Top of the parabola through three neighbouring points, at the middle one when it has none. */
export function topOfParabola(x, y) {
  const [x0, x1, x2] = x;
  const left = (y[1] - y[0]) / (x1 - x0);
  const right = (y[2] - y[1]) / (x2 - x1);
  const curvature = (right - left) / (x2 - x0);
  if (!(Math.abs(curvature) > 0)) return x1;
  const top = (x0 + x1) / 2 - left / (2 * curvature);
  return top > x0 && top < x2 ? top : x1;
}

// The points of a uniform grid stand beside it by less than single precision tells.
function positionsOf(info, rest) {
  if (rest instanceof Float64Array) return rest;
  const x = new Float64Array(info.count);
  for (let i = 0; i < x.length; ++i) x[i] = info.first + i * info.step + (rest ? rest[i] : 0);
  return x;
}

export class Measured {
  constructor(info, x, y) {
    this.name = info.name;
    this.x = x;
    this.y = y;
    this.factor = info.factor ?? 1; // values of the file are y times this
    this.tops = new Pyramid(y);
    this.bottoms = new Pyramid(y, -1);
    this.usual = this.median();
    this.scale = 1;
    this.shift = 0;
    this.offset = this.usual;
    this.isVisible = true;
  }

  // Of a few thousand points, which is the baseline of most spectra.
  median() {
    const step = Math.max(1, Math.floor(this.y.length / 5000));
    const some = [];
    for (let i = 0; i < this.y.length; i += step) some.push(this.y[i]);
    some.sort((a, b) => a - b);
    return some.length > 0 ? some[some.length >> 1] : 0;
  }

  get highest() {
    return this.y[this.tops.best(0, this.y.length)];
  }

  get lowest() {
    return this.y[this.bottoms.best(0, this.y.length)];
  }

  /** Height on the scale of the calculation. */
  heightOf(i) {
    return this.scale * (this.y[i] - this.offset);
  }

  /** Indices [begin, end) of the points that are shown between two frequencies. */
  range(from, to) {
    const begin = lowerBound(this.x, from - this.shift);
    return [begin, lowerBound(this.x, to - this.shift, begin)];
  }

  /** Index of the highest point as it is shown, with a negative scale the lowest one. */
  topIn(begin, end) {
    return (this.scale < 0 ? this.bottoms : this.tops).best(begin, end);
  }

  /**
   * The peak nearest to the highest point between two frequencies as they are shown, refined by a
   * parabola: {frequency, height} with the frequency of the file; null when there is no point.
   */
  peakIn(from, to) {
    const [begin, end] = this.range(from, to);
    let top = this.topIn(begin, end);
    if (top < 0) return null;
    while (top > 0 && this.heightOf(top - 1) > this.heightOf(top)) --top;
    while (top + 1 < this.x.length && this.heightOf(top + 1) > this.heightOf(top)) ++top;
    return this.peakAt(top);
  }

  peakAt(top) {
    const { x, y } = this;
    let frequency = x[top];
    if (top > 0 && top + 1 < x.length) {
      frequency = topOfParabola(x.subarray(top - 1, top + 2), y.subarray(top - 1, top + 2));
    }
    return { frequency, height: this.heightOf(top), index: top };
  }

  /**
   * The next peak above or below a frequency as it is shown that rises above both its surroundings
   * by `least`; null for none.
   */
  nextPeak(from, direction, least) {
    const start = lowerBound(this.x, from - this.shift) - (direction < 0 ? 1 : 0);
    let lowest = Infinity;
    let best = -1;
    for (let i = start; i >= 0 && i < this.x.length; i += direction) {
      const height = this.heightOf(i);
      if (best >= 0 && this.heightOf(best) - height >= least) {
        const peak = this.peakAt(best);
        if (direction * (peak.frequency + this.shift - from) > 0) return peak;
        best = -1;
        lowest = height;
      }
      lowest = Math.min(lowest, height);
      if (height - lowest >= least && (best < 0 || height > this.heightOf(best))) best = i;
    }
    return null;
  }
}

/** The spectra of the page. */
export function readSpectra(document, meta) {
  return meta.spectra.map((info, k) => {
    const rest = readArray(document, `spectrum-${k}-x`);
    return new Measured(info, positionsOf(info, rest), readArray(document, `spectrum-${k}-y`));
  });
}
