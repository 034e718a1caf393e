// What leaves the page: pictures, the line file, paper.

import { drawFrame } from './scene.js';
import { SvgPainter } from './painter.js';
import { csvOf } from './assignment.js';

function saveAs(name, blob) {
  const link = document.createElement('a');
  link.href = URL.createObjectURL(blob);
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}

/** The picture as a text in SVG. */
export function svgOf(app) {
  const { width, height } = app.painter;
  const painter = new SvgPainter(width, height, app.painter);
  drawFrame(painter, app.frame, app.readColors());
  return painter.toString();
}

async function copy(app, text) {
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    const area = document.createElement('textarea');
    area.value = text;
    document.body.append(area);
    area.select();
    document.execCommand('copy');
    area.remove();
  }
  app.say('The line list is in the clipboard.');
}

export function listenToSaving(app) {
  const { meta, canvas } = app;
  const on = (id, action) => document.getElementById(id).addEventListener('click', action);
  const lines = () => csvOf(app.assignment.features, meta.two_states);
  on('save-svg', () =>
    saveAs(`${meta.stem}.svg`, new Blob([svgOf(app)], { type: 'image/svg+xml' })),
  );
  on('save-png', () => {
    app.draw();
    canvas.toBlob((blob) => saveAs(`${meta.stem}.png`, blob), 'image/png');
  });
  on('save-lines', () => {
    saveAs(meta.line_file, new Blob([lines()], { type: 'text/csv' }));
    app.say(`Saved ${meta.line_file}: put it beside the input, then kiv run ${meta.input}`);
  });
  on('copy-lines', () => copy(app, lines()));

  // On paper everything is dark on white.
  const scheme = (isPrinted) => {
    document.documentElement.toggleAttribute('data-print', isPrinted);
    app.colors = null;
    app.draw();
  };
  window.addEventListener('beforeprint', () => scheme(true));
  window.addEventListener('afterprint', () => scheme(false));
}
