// The place of the largest (or smallest) of any part of an array in a few dozen steps, however long
// the array is: blocks of 32 values, blocks of 32 blocks, and so on, each with its largest.

const SHIFT = 5;
const BLOCK = 1 << SHIFT;

export class Pyramid {
  /** `sign` 1: largest values, -1: smallest. */
  constructor(values, sign = 1) {
    this.values = values;
    this.sign = sign;
    this.levels = []; // of each block the index of its largest value
    let below = null;
    let count = values.length;
    while (count > BLOCK) {
      const blocks = (count + BLOCK - 1) >> SHIFT;
      const best = new Uint32Array(blocks);
      for (let b = 0; b < blocks; ++b) {
        const end = Math.min((b + 1) << SHIFT, count);
        best[b] = below ? this.bestOf(below, b << SHIFT, end) : this.scan(b << SHIFT, end);
      }
      this.levels.push(best);
      below = best;
      count = blocks;
    }
  }

  scan(first, end) {
    const { values, sign } = this;
    let best = first;
    let most = sign * values[first];
    for (let i = first + 1; i < end; ++i) {
      const value = sign * values[i];
      if (value > most) {
        most = value;
        best = i;
      }
    }
    return best;
  }

  bestOf(indices, first, end) {
    const { values, sign } = this;
    let best = indices[first];
    for (let i = first + 1; i < end; ++i) {
      if (sign * values[indices[i]] > sign * values[best]) best = indices[i];
    }
    return best;
  }

  /** Index of the first of the largest values of [first, end); -1 of nothing. */
  best(first, end) {
    if (end <= first) return -1;
    const { values, sign } = this;
    let best = first;
    const take = (index) => {
      const more = sign * (values[index] - values[best]);
      if (more > 0 || (more === 0 && index < best)) best = index;
    };
    let below = null; // the indices of the level that is cut, null: the values
    for (let level = 0; ; ++level) {
      const part = (from, to) => {
        if (from < to) take(below ? this.bestOf(below, from, to) : this.scan(from, to));
      };
      const above = this.levels[level];
      const from = (first + BLOCK - 1) >> SHIFT;
      const to = end >> SHIFT;
      if (!above || from >= to) {
        part(first, end);
        return best;
      }
      part(first, from << SHIFT);
      part(to << SHIFT, end);
      below = above;
      first = from;
      end = to;
    }
  }
}

/** Index of the first element of the ascending `array` in [from, to) that is not below `x`. */
export function lowerBound(array, x, from = 0, to = array.length) {
  while (from < to) {
    const middle = (from + to) >>> 1;
    if (array[middle] < x) from = middle + 1;
    else to = middle;
  }
  return from;
}
