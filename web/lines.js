// The calculated lines in ascending frequency, and their intensities at any temperature.

import { indexOf, labelOf, levelText, spinClassOf } from './levels.js';
import { Pyramid, lowerBound } from './pyramid.js';

export const BANDS = ['a', 'b', 'c'];

// exp(-E/kT) of every level, 0 below zero energy.
function boltzmannFactors(energy, kT) {
  return energy.map((E) => (E < 0 ? 0 : Math.exp(-E / kT)));
}

export class LineTable {
  /**
   * `arrays`: lowerEnergy and upperEnergy of all levels; of the lines lower and upper level and
   * strength, and where they are there band type, position (else origin + E' - E''), predicted
   * deviation, and `listed` intensities at the temperature of the input.
   */
  constructor(meta, arrays) {
    this.meta = meta;
    Object.assign(this, arrays);
    this.size = this.strength.length;
    const { lower, upper, lowerEnergy, upperEnergy } = this;
    if (!this.position) {
      this.position = new Float64Array(this.size);
      for (let i = 0; i < this.size; ++i) {
        this.position[i] = meta.origin + upperEnergy[upper[i]] - lowerEnergy[lower[i]];
      }
    }
    if (!this.band) this.band = this.bandsByLabels();
    this.weight = new Float64Array(lowerEnergy.length);
    for (let level = 0; level < this.weight.length; ++level) {
      this.weight[level] = meta.spin_weights[spinClassOf(level)];
    }
    this.isShown = [true, true, true];
    this.keys = null;
  }

  // The band types when no component of the moment mixes with others: a changes Kc, b both, c Ka.
  bandsByLabels() {
    const parity = new Uint8Array(Math.max(this.lowerEnergy.length, this.upperEnergy.length));
    for (let level = 0; level < parity.length; ++level) {
      const [, Ka, Kc] = labelOf(level);
      parity[level] = (Ka & 1) * 2 + (Kc & 1);
    }
    const bandOfChange = [0, 0, 2, 1];
    const band = new Uint8Array(this.size);
    for (let i = 0; i < this.size; ++i) {
      band[i] = bandOfChange[parity[this.lower[i]] ^ parity[this.upper[i]]];
    }
    return band;
  }

  /**
   * Intensity = strength x spin weight x B. Two states: B = exp(-E''/kT). One state:
   * B = [exp(-E''/kT) - exp(-E'/kT)] dE 1e-4. At 0 kelvin B = 1. A second temperature adds its part
   * with its weight.
   */
  setTemperature(temperature) {
    if (temperature === this.temperature) return;
    this.temperature = temperature;
    const isListed = this.listed && temperature === this.meta.temperature;
    this.base = isListed ? this.listed : this.intensitiesAt(temperature);
    this.showBands(this.isShown);
  }

  intensitiesAt(temperature) {
    const { meta, lower, upper, strength, weight, lowerEnergy, upperEnergy } = this;
    const factorsAt = (T) => {
      const kT = T * meta.energy_per_kelvin;
      const begin = boltzmannFactors(lowerEnergy, kT);
      return { begin, end: meta.two_states ? null : begin };
    };
    const second = temperature > 0 && meta.temperature2 > 0 ? factorsAt(meta.temperature2) : null;
    const first = temperature > 0 ? factorsAt(temperature) : null;
    const intensities = new Float32Array(this.size);
    for (let i = 0; i < this.size; ++i) {
      const l = lower[i];
      const u = upper[i];
      let B = 1;
      if (first) {
        B = first.begin[l] - (first.end ? first.end[u] : 0);
        if (second) B += meta.weight2 * (second.begin[l] - (second.end ? second.end[u] : 0));
        if (first.end) {
          const isBelow = lowerEnergy[l] < 0 || upperEnergy[u] < 0;
          B = isBelow ? 0 : B * (upperEnergy[u] - lowerEnergy[l]) * 1e-4;
        }
      }
      intensities[i] = strength[i] * weight[l] * B;
    }
    return intensities;
  }

  /** Chooses the band types that are drawn: the others have no intensity. */
  showBands(isShown) {
    this.isShown = [...isShown];
    this.intensity = isShown.every(Boolean)
      ? this.base
      : this.base.map((value, i) => (isShown[this.band[i]] ? value : 0));
    this.highest = new Pyramid(this.intensity);
  }

  get first() {
    return this.size > 0 ? this.position[0] : 0;
  }

  get last() {
    return this.size > 0 ? this.position[this.size - 1] : 1;
  }

  /** Indices [begin, end) of the lines between two frequencies. */
  range(from, to) {
    const begin = lowerBound(this.position, from);
    return [begin, lowerBound(this.position, to, begin)];
  }

  /** The strongest line between two frequencies, -1 for none. */
  strongest(from, to) {
    return this.highest.best(...this.range(from, to));
  }

  /** The `most` strongest of [begin, end) that have some intensity, in ascending frequency. */
  strongestOf(begin, end, most) {
    const found = [];
    const partOf = (from, to) => ({ from, to, best: this.highest.best(from, to) });
    const heightOf = ({ best }) => (best < 0 ? 0 : this.intensity[best]);
    const parts = [partOf(begin, end)]; // what is left of the range
    while (found.length < most) {
      let k = 0;
      for (let n = 1; n < parts.length; ++n) if (heightOf(parts[n]) > heightOf(parts[k])) k = n;
      const { from, to, best } = parts[k];
      if (!(heightOf(parts[k]) > 0)) break;
      found.push(best);
      parts.splice(k, 1, partOf(from, best), partOf(best + 1, to));
    }
    return found.sort((a, b) => a - b);
  }

  /** E'' above the lowest level of all. */
  lowerEnergyOf(i) {
    return this.lowerEnergy[this.lower[i]] - this.meta.lowest;
  }

  /** "5 2 4 - 6 1 5". */
  nameOf(i) {
    return `${levelText(this.upper[i])} - ${levelText(this.lower[i])}`;
  }

  /** The six quantum numbers J' Ka' Kc' J'' Ka'' Kc''. */
  quantaOf(i) {
    return [...labelOf(this.upper[i]), ...labelOf(this.lower[i])];
  }

  keyOf(upper, lower) {
    return upper * this.lowerEnergy.length + lower;
  }

  /** Line with these quantum numbers, -1 for none. */
  find(quanta) {
    const upper = indexOf(quanta.slice(0, 3));
    const lower = indexOf(quanta.slice(3, 6));
    if (upper < 0 || lower < 0 || lower >= this.lowerEnergy.length) return -1;
    if (!this.keys) {
      this.keys = new Map();
      for (let i = 0; i < this.size; ++i)
        this.keys.set(this.keyOf(this.upper[i], this.lower[i]), i);
    }
    return this.keys.get(this.keyOf(upper, lower)) ?? -1;
  }
}
