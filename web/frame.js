// What a frame shows, put together before it is drawn: where the parts of the picture lie, the curve,
// the height of the intensities, and which line is near a place.

import { convolve, gridFor } from './convolution.js';
import { Shape } from './profile.js';
import { MHZ_PER_WAVENUMBER } from './state.js';

const UNIT_NAMES = { MHz: 'MHz', 'cm-1': 'cm\u207b\u00b9' };

export function unitName(unit) {
  return UNIT_NAMES[unit] ?? unit;
}

/** Places of the parts in pixels of the page; `base` is where intensity 0 lies, `up` its sign. */
export function layoutOf(width, height, { mode, hasMeasured, hasStrip }) {
  const left = width < 500 ? 54 : 70;
  const [right, top, bottom, gap] = [14, 10, 44, 8];
  const stripHeight = hasStrip ? Math.min(110, Math.max(56, height * 0.17)) : 0;
  const w = Math.max(10, width - left - right);
  const h = Math.max(10, height - top - bottom - (hasStrip ? stripHeight + gap : 0));
  const half = h / 2;
  const whole = { base: top + h, height: h, up: -1 };
  const upper = { base: top + half, height: half, up: -1 };
  const panels = {
    overlay: { lines: whole, measured: whole },
    above: { lines: upper, measured: { base: top + h, height: half, up: -1 } },
    mirror: { lines: { base: top + half, height: half, up: 1 }, measured: upper },
  };
  const strip = hasStrip ? { x: left, y: top + h + gap, w, h: stripHeight } : null;
  return {
    width,
    height,
    plot: { x: left, y: top, w, h },
    strip,
    axisY: strip ? strip.y + strip.h : top + h,
    ...(hasMeasured ? panels[mode] : panels.overlay),
  };
}

/** The line shape that a state asks for, in the unit of the page; null without one. */
export function shapeOf(state, unit) {
  if (state.shape === 'none') return null;
  const factor =
    state.widthUnit === unit ? 1 : unit === 'MHz' ? MHZ_PER_WAVENUMBER : 1 / MHZ_PER_WAVENUMBER;
  return new Shape(state.shape, state.width * factor, state.lorentzian * factor);
}

/** Everything that a frame shows is put together from the state once, before it is drawn. */
export class Frame {
  constructor(app, width, height, ratio) {
    const { state, table, spectra, meta } = app;
    this.app = app;
    this.state = state;
    this.table = table;
    this.visible = spectra.filter((spectrum) => spectrum.isVisible);
    this.layout = layoutOf(width, height, {
      mode: state.mode,
      hasMeasured: this.visible.length > 0,
      hasStrip: app.deviations.length > 0,
    });
    this.pixels = Math.max(1, Math.round(this.layout.plot.w * ratio)); // columns of the device
    const shape = shapeOf(state, meta.unit);
    this.grid = shape && gridFor(state.from, state.to, this.pixels, shape);
    this.curve = shape && convolve(this.grid, table, shape);
    this.top = this.topOf();
  }

  // Height of the panel in intensity.
  topOf() {
    const { state, table, curve } = this;
    let top = state.held;
    if (!(top > 0)) {
      const strongest = table.strongest(state.from, state.to);
      top = strongest >= 0 ? table.intensity[strongest] : 0;
      if (curve) for (const value of curve) if (value > top) top = value;
    }
    return ((top > 0 ? top : 1) * 1.06) / state.gain;
  }

  xOf(frequency) {
    const { plot } = this.layout;
    return plot.x + ((frequency - this.state.from) / (this.state.to - this.state.from)) * plot.w;
  }

  frequencyAt(x) {
    const { plot } = this.layout;
    return this.state.from + ((x - plot.x) / plot.w) * (this.state.to - this.state.from);
  }

  yOf(panel, value) {
    const y = panel.base + (panel.up * value * panel.height) / this.top;
    return Math.min(1e5, Math.max(-1e5, y));
  }

  /** The least intensity of a stick that is a pixel high. */
  get leastVisible() {
    return this.top / this.layout.lines.height;
  }

  /** The nearest stick that can be seen around x, -1 for none. */
  nearestLine(x, reach = 9) {
    const { table } = this;
    for (let d = 0; d <= reach; ++d) {
      let best = -1;
      for (const side of d === 0 ? [0] : [-d, d]) {
        const i = table.strongest(
          this.frequencyAt(x + side - 0.5),
          this.frequencyAt(x + side + 0.5),
        );
        if (i >= 0 && (best < 0 || table.intensity[i] > table.intensity[best])) best = i;
      }
      if (best >= 0 && table.intensity[best] >= 0.5 * this.leastVisible) return best;
    }
    return -1;
  }
}
