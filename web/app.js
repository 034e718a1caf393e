// The page as one object: what is shown, what was chosen, and what follows from a change.

import { Frame } from './frame.js';
import { drawFrame } from './scene.js';
import { CanvasPainter } from './painter.js';
import { fragmentOf, soundWindow } from './state.js';

const SETTLED = 160; // milliseconds without a change until lists and address follow

export class App {
  /** `parts`: meta, provider, table, spectra, assignment, state, defaults, whole window. */
  constructor(parts, canvas) {
    Object.assign(this, parts);
    this.canvas = canvas;
    this.context = canvas.getContext('2d', { alpha: false });
    this.lit = -1; // the line under the pointer or reached by keys
    this.selection = []; // [{line, isTicked}], to be assigned
    this.peak = null; // of a measured spectrum: {frequency, height, spectrum}
    this.drag = null;
    this.colors = null;
    this.deviations = []; // of the measured lines, see deviationsOf
    this.observed = new Map(); // of single lines, see observedOf
    this.listeners = [];
    this.timer = 0;
    this.isAsked = false; // the browser calls for a frame
    this.isStale = true; // and it is not drawn yet
  }

  /** `listener(reason)` hears of every change: 'view', 'lit', 'selection', 'list', 'settled'. */
  listen(listener) {
    this.listeners.push(listener);
  }

  tell(reason) {
    for (const listener of this.listeners) listener(reason);
  }

  /** Changes the state; everything else follows. */
  change(patch) {
    const old = this.state.temperature;
    Object.assign(this.state, patch);
    if (patch.from !== undefined || patch.to !== undefined) {
      [this.state.from, this.state.to] = soundWindow(this.state.from, this.state.to);
    }
    if (this.state.temperature !== old) {
      this.provider.linesOf({ temperature: this.state.temperature }).then(() => this.refresh());
    }
    if (patch.bands !== undefined) {
      this.table.showBands(['a', 'b', 'c'].map((band) => patch.bands.includes(band)));
    }
    this.refresh();
    this.tell('view');
  }

  refresh() {
    this.askFrame();
    clearTimeout(this.timer);
    this.timer = setTimeout(() => this.settle(), SETTLED);
  }

  settle() {
    this.tell('settled');
    const fragment = fragmentOf(this.state, this.spectra, this.defaults);
    if (`#${fragment}` !== window.location.hash) {
      window.history.replaceState(null, '', `#${fragment}`);
    }
  }

  askFrame() {
    this.isStale = true;
    if (this.isAsked) return;
    this.isAsked = true;
    requestAnimationFrame(() => {
      this.isAsked = false;
      if (this.isStale) this.draw();
    });
  }

  /** The frame for the canvas as large as it is now. */
  fitFrame() {
    const { canvas } = this;
    const ratio = window.devicePixelRatio || 1;
    const width = Math.max(50, canvas.clientWidth);
    const height = Math.max(50, canvas.clientHeight);
    const [w, h] = [Math.round(width * ratio), Math.round(height * ratio)];
    if (canvas.width !== w || canvas.height !== h) [canvas.width, canvas.height] = [w, h];
    this.frame = new Frame(this, width, height, ratio);
    this.painter = new CanvasPainter(this.context, width, height, ratio);
  }

  draw() {
    this.isStale = false;
    this.fitFrame();
    drawFrame(this.painter, this.frame, this.readColors());
  }

  readColors() {
    if (!this.colors) {
      const style = getComputedStyle(document.documentElement);
      const colorOf = (name) => style.getPropertyValue(`--${name}`).trim();
      const names = [
        'ground',
        'text',
        'axis',
        'grid',
        'a',
        'b',
        'c',
        'curve',
        'lit',
        'assigned',
        'peak',
        'veil',
      ];
      this.colors = Object.fromEntries(names.map((name) => [name, colorOf(name)]));
      this.colors.measured = ['measured', 'measured-2', 'measured-3'].map(colorOf);
    }
    return this.colors;
  }

  /** After a change of the colour scheme. */
  recolor() {
    this.colors = null;
    this.askFrame();
  }

  showAll() {
    const [from, to] = this.whole;
    this.change({ from, to, gain: 1 });
  }

  /** Narrows the window by `factor` around a frequency that stays where it is. */
  zoom(factor, around = (this.state.from + this.state.to) / 2) {
    const { from, to } = this.state;
    this.change({ from: around - (around - from) * factor, to: around + (to - around) * factor });
  }

  /** Moves the window by parts of its width. */
  move(parts) {
    const step = parts * (this.state.to - this.state.from);
    this.change({ from: this.state.from + step, to: this.state.to + step });
  }

  /** Moves the window so that a frequency is in its middle. */
  centre(frequency) {
    const half = (this.state.to - this.state.from) / 2;
    this.change({ from: frequency - half, to: frequency + half });
  }

  light(line) {
    if (line === this.lit) return;
    this.lit = line;
    this.askFrame();
    this.tell('lit');
  }

  select(selection) {
    this.selection = selection;
    this.peak = null;
    this.state.selected = selection
      .map(({ line }) => this.table.quantaOf(line).join('.'))
      .join(',');
    this.refresh();
    this.tell('selection');
  }

  showPeak(peak) {
    this.peak = peak;
    this.askFrame();
    this.tell('peak');
  }

  get activeSpectrum() {
    const spectrum = this.spectra[this.state.active];
    return spectrum?.isVisible ? spectrum : null;
  }

  say(text) {
    document.getElementById('message').textContent = text;
  }
}
