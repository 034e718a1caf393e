// Mouse, pen and touch on the picture: the wheel zooms, dragging moves, a click selects or assigns.

import { assign, isOnMeasured, peakAround, pickLines } from './picking.js';

const CLICK = 4; // pixels that a click may move
const LINE_HEIGHT = 30; // pixels of a wheel that counts in lines

function placeOf(event, canvas) {
  const box = canvas.getBoundingClientRect();
  return [event.clientX - box.left, event.clientY - box.top];
}

function hover(app, x, y) {
  const isMeasured = app.selection.length > 0 && isOnMeasured(app, y);
  if (isMeasured) app.showPeak(peakAround(app, x));
  else if (app.peak) app.showPeak(null);
  app.light(app.frame.nearestLine(x));
}

function click(app, x, y, isAdding) {
  if (!isAdding && isOnMeasured(app, y)) {
    const peak = peakAround(app, x);
    if (peak) assign(app, peak.frequency);
    else app.say('There are no measured points here.');
    return;
  }
  const line = app.frame.nearestLine(x);
  if (line >= 0) pickLines(app, line, isAdding);
}

export function listenToPointer(app) {
  const { canvas } = app;
  const fingers = new Map(); // of touches, by their id
  let pinch = 0;

  const spread = () => {
    const [a, b] = [...fingers.values()];
    return [Math.max(10, Math.abs(a - b)), (a + b) / 2];
  };

  canvas.addEventListener('pointerdown', (event) => {
    if (event.button !== 0) return;
    const [x, y] = placeOf(event, canvas);
    fingers.set(event.pointerId, x);
    canvas.setPointerCapture(event.pointerId);
    if (fingers.size === 2) [pinch] = spread();
    app.drag = { from: x, to: x, y, last: x, isZoom: event.shiftKey, isMoved: fingers.size > 1 };
  });

  canvas.addEventListener('pointermove', (event) => {
    const [x, y] = placeOf(event, canvas);
    const { drag } = app;
    if (!drag) {
      hover(app, x, y);
      return;
    }
    if (fingers.has(event.pointerId)) fingers.set(event.pointerId, x);
    if (fingers.size === 2) {
      const [now, middle] = spread();
      app.zoom(pinch / now, app.frame.frequencyAt(middle));
      pinch = now;
      return;
    }
    if (Math.abs(x - drag.from) > CLICK || Math.abs(y - drag.y) > CLICK) drag.isMoved = true;
    if (!drag.isMoved) return;
    drag.to = x;
    if (drag.isZoom) app.askFrame();
    else app.move((drag.last - x) / app.frame.layout.plot.w);
    drag.last = x;
  });

  const end = (event) => {
    const { drag } = app;
    fingers.delete(event.pointerId);
    if (!drag || fingers.size > 0) return;
    app.drag = null;
    const [x, y] = placeOf(event, canvas);
    if (event.type === 'pointercancel') return;
    if (!drag.isMoved) {
      click(app, x, y, event.shiftKey || event.ctrlKey || event.metaKey);
    } else if (drag.isZoom && Math.abs(drag.to - drag.from) > CLICK) {
      const ends = [drag.from, drag.to]
        .map((at) => app.frame.frequencyAt(at))
        .sort((a, b) => a - b);
      app.change({ from: ends[0], to: ends[1] });
    }
    app.askFrame();
  };
  canvas.addEventListener('pointerup', end);
  canvas.addEventListener('pointercancel', end);
  canvas.addEventListener('pointerleave', () => {
    if (!app.drag && app.peak) app.showPeak(null);
  });

  canvas.addEventListener('dblclick', () => {
    app.select([]);
    app.showAll();
  });

  canvas.addEventListener(
    'wheel',
    (event) => {
      event.preventDefault();
      const scale = event.deltaMode === 0 ? 1 : LINE_HEIGHT;
      const [dx, dy] = [event.deltaX * scale, event.deltaY * scale];
      const [x] = placeOf(event, canvas);
      const { plot } = app.frame.layout;
      if (event.shiftKey || Math.abs(dx) > Math.abs(dy)) {
        app.move((dx || dy) / plot.w);
      } else if (x < plot.x) {
        app.change({ gain: app.state.gain * Math.exp(-dy * 0.002) });
      } else {
        app.zoom(Math.exp(dy * 0.002), app.frame.frequencyAt(x));
      }
    },
    { passive: false },
  );
}
