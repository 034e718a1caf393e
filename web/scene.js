// The picture: how each of its parts is drawn.

import { SMOOTH_PARTS } from './convolution.js';
import { BANDS } from './lines.js';
import { decimalsOf, grouped, niceStep, scaleLabel, ticksFor } from './axes.js';
import { unitName } from './frame.js';
import { lowerBound } from './pyramid.js';

function drawSticks(painter, frame, colors) {
  const { table, layout, state, pixels } = frame;
  const panel = layout.lines;
  const strokes = BANDS.map(() => []);
  const put = (i, x) => {
    const height = table.intensity[i];
    if (height > 0) strokes[table.band[i]].push(x, panel.base, frame.yOf(panel, height));
  };
  const [begin, end] = table.range(state.from, state.to);
  const isSparse = end - begin < 2 * pixels;
  if (isSparse) {
    for (let i = begin; i < end; ++i) put(i, frame.xOf(table.position[i]));
  } else {
    // of each column of the device the strongest, which covers the others
    const step = (state.to - state.from) / pixels;
    let next = begin;
    for (let column = 0; column < pixels; ++column) {
      const first = next;
      next = lowerBound(table.position, state.from + (column + 1) * step, first, end);
      if (next > first) {
        put(
          table.highest.best(first, next),
          layout.plot.x + ((column + 0.5) / pixels) * layout.plot.w,
        );
      }
    }
  }
  const width = Math.max(1, isSparse && end - begin < layout.plot.w / 4 ? 1.5 : 1 / painter.ratio);
  strokes.forEach((some, band) => painter.columns(some, colors[BANDS[band]], width));
}

// Where several points fall on one column, it is filled from the lowest to the highest, and on to
// its neighbour.
function columnsOf(frame, xAt, rangeOf, panel) {
  const strokes = [];
  let [lastLow, lastHigh] = [NaN, NaN];
  for (let column = 0; column < frame.pixels; ++column) {
    const [low, high] = rangeOf(column);
    if (low === undefined) continue;
    const from = low > lastHigh ? lastHigh : low;
    const to = high < lastLow ? lastLow : high;
    strokes.push(xAt(column), frame.yOf(panel, from), frame.yOf(panel, to));
    [lastLow, lastHigh] = [low, high];
  }
  return strokes;
}

function drawCurve(painter, frame, colors) {
  const { curve, grid, layout, pixels } = frame;
  if (!curve) return;
  const { plot } = layout;
  if (grid.parts <= SMOOTH_PARTS) {
    const points = [];
    for (let k = 0; k < grid.count; ++k) {
      points.push(plot.x + (k / (grid.count - 1)) * plot.w, frame.yOf(layout.lines, curve[k]));
    }
    painter.path(points, colors.curve, 1.2);
    return;
  }
  const rangeOf = (column) => {
    let low = Infinity;
    let high = -Infinity;
    for (let k = column * grid.parts; k <= (column + 1) * grid.parts; ++k) {
      if (curve[k] < low) low = curve[k];
      if (curve[k] > high) high = curve[k];
    }
    return [low, high];
  };
  const xAt = (column) => plot.x + ((column + 0.5) / pixels) * plot.w;
  painter.columns(columnsOf(frame, xAt, rangeOf, layout.lines), colors.curve, 1);
}

function drawMeasured(painter, frame, spectrum, color) {
  const { layout, state, pixels } = frame;
  const panel = layout.measured;
  const [begin, end] = spectrum.range(state.from, state.to);
  const first = Math.max(0, begin - 1);
  const last = Math.min(spectrum.x.length, end + 1);
  if (last - first <= 3 * pixels) {
    const points = [];
    for (let i = first; i < last; ++i) {
      points.push(
        frame.xOf(spectrum.x[i] + spectrum.shift),
        frame.yOf(panel, spectrum.heightOf(i)),
      );
    }
    painter.path(points, color, 1.2);
    return;
  }
  const step = (state.to - state.from) / pixels;
  let next = begin;
  const rangeOf = (column) => {
    const from = next;
    next = lowerBound(spectrum.x, state.from + (column + 1) * step - spectrum.shift, from, end);
    if (next <= from) return [];
    const low = spectrum.heightOf(spectrum.bottoms.best(from, next));
    const high = spectrum.heightOf(spectrum.tops.best(from, next));
    return [low, high];
  };
  const xAt = (column) => layout.plot.x + ((column + 0.5) / pixels) * layout.plot.w;
  painter.columns(columnsOf(frame, xAt, rangeOf, panel), color, 1);
}

// Assigned lines carry a dot, selected ones a ring, the nearest one a thicker stick and its name.
function drawMarks(painter, frame, colors) {
  const { app, table, layout, state } = frame;
  const panel = layout.lines;
  const isVisible = (i) => table.position[i] >= state.from && table.position[i] <= state.to;
  const tipOf = (i) => [frame.xOf(table.position[i]), frame.yOf(panel, table.intensity[i])];
  for (const { line } of app.deviations) {
    if (!isVisible(line)) continue;
    const [x, y] = tipOf(line);
    painter.circle(x, y + 5 * panel.up, 3, colors.assigned, true);
  }
  for (const { line, isTicked } of app.selection) {
    if (!isVisible(line)) continue;
    const [x, y] = tipOf(line);
    painter.segments([x, panel.base, x, y], colors.lit, 2.5);
    painter.circle(x, y + 5 * panel.up, 5, colors.lit, isTicked);
  }
  if (app.lit >= 0 && isVisible(app.lit)) {
    const [x, y] = tipOf(app.lit);
    painter.segments([x, panel.base, x, y], colors.lit, 3);
    const name = table.nameOf(app.lit);
    const isRight = x + painter.textWidth(name) + 12 > layout.plot.x + layout.plot.w;
    const at =
      panel.up < 0
        ? Math.max(layout.plot.y + 9, y - 9)
        : Math.min(layout.plot.y + layout.plot.h - 9, y + 9);
    painter.text(x + (isRight ? -7 : 7), at, name, colors.lit, {
      align: isRight ? 'right' : 'left',
    });
  }
  if (app.peak) {
    const x = frame.xOf(app.peak.frequency + app.peak.spectrum.shift);
    const y = frame.yOf(layout.measured, app.peak.height);
    painter.segments([x - 7, y, x + 7, y, x, y - 9, x, y + 9], colors.peak, 2);
  }
}

// Observed minus calculated of the assigned lines, on a scale of its own.
function drawStrip(painter, frame, colors) {
  const { app, layout, state } = frame;
  const { strip } = layout;
  if (!strip) return;
  const shown = app.deviations.filter(
    ({ position }) => position >= state.from && position <= state.to,
  );
  let most = 0;
  for (const { value } of shown) most = Math.max(most, Math.abs(value));
  most = most > 0 ? most * 1.25 : 1;
  const yOf = (value) => strip.y + strip.h / 2 - (value / most) * (strip.h / 2);
  const middle = yOf(0);
  painter.segments([strip.x, middle, strip.x + strip.w, middle], colors.grid, 1);
  painter.region(strip.x, strip.y, strip.w, strip.h);
  for (const { line, position, value, uncertainty, isNew } of shown) {
    const x = frame.xOf(position);
    const color = line === app.lit ? colors.lit : colors.assigned;
    if (uncertainty > 0) {
      const ends = [value - uncertainty, value + uncertainty].map((v) =>
        Math.min(strip.y + strip.h, Math.max(strip.y, yOf(v))),
      );
      painter.segments([x, ends[0], x, ends[1]], color, 1);
    }
    painter.circle(x, yOf(value), 3, color, !isNew);
  }
  painter.endRegion();
  const step = niceStep(most * 0.35);
  const ticks = [];
  for (const value of [-2 * step, -step, 0, step, 2 * step]) {
    if (Math.abs(value) > most) continue;
    ticks.push(strip.x - 4, yOf(value), strip.x, yOf(value));
    const text = grouped(value, decimalsOf(step));
    painter.text(strip.x - 7, yOf(value), text, colors.text, { align: 'right', size: 11 });
  }
  painter.segments(ticks, colors.axis, 1);
  painter.text(strip.x - (strip.x < 60 ? 46 : 58), middle, 'o \u2212 c', colors.text, {
    align: 'center',
    turn: true,
  });
}

function drawAxes(painter, frame, colors) {
  const { layout, state, app } = frame;
  const { plot, strip, axisY } = layout;
  const label = (value, step) => grouped(value, decimalsOf(step));
  const widthOf = (text) => painter.textWidth(text);
  const x = ticksFor(state.from, state.to, plot.w, label, widthOf);
  const rows = [plot, ...(strip ? [strip] : [])];
  const frames = rows.flatMap(({ x: l, y: t, w, h }) => [l, t, l, t + h, l, t + h, l + w, t + h]);
  const ticks = [];
  for (const { value, text } of x.major) {
    const at = frame.xOf(value);
    ticks.push(at, axisY, at, axisY + 6);
    const room = widthOf(text) / 2;
    const centre = Math.min(layout.width - room - 2, Math.max(room + 2, at));
    painter.text(centre, axisY + 15, text, colors.text, { align: 'center' });
  }
  for (const value of x.minor) ticks.push(frame.xOf(value), axisY, frame.xOf(value), axisY + 3);
  const title = `Frequency / ${unitName(app.meta.unit)}`;
  painter.text(plot.x + plot.w / 2, axisY + 33, title, colors.text, { align: 'center' });

  const panels =
    layout.lines === layout.measured ? [layout.lines] : [layout.lines, layout.measured];
  for (const panel of panels) {
    const isLines = panel === layout.lines;
    const y = ticksFor(
      0,
      frame.top,
      panel.height,
      (v, step) => scaleLabel(v, step, frame.top),
      () => 18,
    );
    for (const { value, text } of y.major) {
      const at = frame.yOf(panel, value);
      ticks.push(plot.x - 5, at, plot.x, at);
      if (value > 0 || isLines)
        painter.text(plot.x - 8, at, text, colors.text, { align: 'right', size: 11 });
    }
    if (panels.length > 1) {
      const name = isLines ? 'calculated' : 'measured';
      const at = panel.up < 0 ? panel.base - panel.height + 10 : panel.base + panel.height - 10;
      painter.text(plot.x + 8, at, name, colors.text, { size: 12 });
    }
  }
  const names = state.temperature > 0 ? 'Intensity' : 'S \u03bc\u00b2 / D\u00b2';
  if (plot.x > 60)
    painter.text(12, plot.y + plot.h / 2, names, colors.text, { align: 'center', turn: true });
  frames.push(plot.x, layout.lines.base, plot.x + plot.w, layout.lines.base);
  painter.segments([...frames, ...ticks], colors.axis, 1);
}

/** Draws a frame; `colors` are those of the scheme. */
export function drawFrame(painter, frame, colors) {
  const { plot } = frame.layout;
  const { app, state } = frame;
  painter.fill(0, 0, painter.width, painter.height, colors.ground);
  painter.region(plot.x, plot.y, plot.w, plot.h);
  app.spectra.forEach((spectrum, k) => {
    if (spectrum.isVisible)
      drawMeasured(painter, frame, spectrum, colors.measured[k % colors.measured.length]);
  });
  if (state.sticks) drawSticks(painter, frame, colors);
  drawCurve(painter, frame, colors);
  drawMarks(painter, frame, colors);
  if (app.drag?.isZoom) {
    const [from, to] = [app.drag.from, app.drag.to].sort((a, b) => a - b);
    painter.fill(from, plot.y, to - from, plot.h, colors.veil);
  }
  painter.endRegion();
  drawStrip(painter, frame, colors);
  drawAxes(painter, frame, colors);
}
