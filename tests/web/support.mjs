// What the tests of the page share: pages made by the program, the browser, rows of tables.
import { execFileSync, spawnSync } from 'node:child_process';
import { existsSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath, pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

const here = dirname(fileURLToPath(import.meta.url));
export const root = resolve(here, '../..');
export const examples = join(root, 'examples');
const program = process.env.KIV_PROGRAM ?? join(root, 'build/ci/bin/kiv');

/** A folder of one test file, which is gone at its end. */
export class Folder {
  constructor() {
    this.path = mkdtempSync(join(tmpdir(), 'kiv-web-'));
  }

  name(file) {
    return join(this.path, file);
  }

  write(file, content) {
    writeFileSync(this.name(file), content);
    return this.name(file);
  }

  read(file) {
    return readFileSync(this.name(file), 'utf8');
  }

  remove() {
    rmSync(this.path, { recursive: true, force: true });
  }

  /** Runs the program here: {status, out, err}. */
  kiv(...words) {
    const ended = spawnSync(program, words, {
      cwd: this.path,
      encoding: 'utf8',
      maxBuffer: 1 << 30,
    });
    return { status: ended.status, out: ended.stdout, err: ended.stderr };
  }

  /** Makes a page; its address. */
  view(...words) {
    const { status, err } = this.kiv('view', ...words);
    if (status !== 0) throw new Error(`kiv view ${words.join(' ')}: ${status} ${err}`);
    const output = words.indexOf('-o');
    const page = output >= 0 ? words[output + 1] : words[0].replace(/\.[^.]*$/, '.html');
    return pathToFileURL(resolve(this.path, page)).href;
  }

  /** The rows of `kiv export csv` as objects of texts. */
  exported(...words) {
    const rows = execFileSync(program, ['export', 'csv', ...words], {
      cwd: this.path,
      encoding: 'utf8',
      maxBuffer: 1 << 30,
    });
    return rowsOf(rows);
  }
}

/** Rows of a text with commas and a header, as objects. */
export function rowsOf(text) {
  const [head, ...rows] = text
    .trim()
    .split('\n')
    .map((row) => row.split(','));
  return rows.map((row) => Object.fromEntries(head.map((name, k) => [name, row[k]])));
}

export const QUANTA = ['J_up', 'Ka_up', 'Kc_up', 'J_lo', 'Ka_lo', 'Kc_lo'];

/** Copies of the examples' files under their own names. */
export function copyExample(folder, ...files) {
  for (const file of files)
    folder.write(file.split('/').at(-1), readFileSync(join(examples, file)));
}

export function openBrowser() {
  const known = ['/usr/lib/chromium/chromium', '/usr/bin/chromium'].find((path) =>
    existsSync(path),
  );
  return chromium.launch({ executablePath: known ?? 'chromium', args: ['--no-sandbox'] });
}

/**
 * Opens a page and waits until it is ready. Whatever goes wrong in it, and every request but the one
 * for the file itself, is in `page.complaints`.
 */
export async function openPage(browser, url, options = {}) {
  const context =
    options.context ??
    (await browser.newContext({ viewport: { width: 1280, height: 800 }, ...options }));
  const page = await context.newPage();
  page.complaints = [];
  page.on('pageerror', (error) => page.complaints.push(String(error.stack)));
  page.on(
    'console',
    (message) => message.type() === 'error' && page.complaints.push(message.text()),
  );
  page.on('dialog', (dialog) => {
    page.complaints.push(`dialog ${dialog.message()}`);
    dialog.dismiss();
  });
  page.on('request', (request) => {
    const address = request.url();
    if (address.split('#')[0] !== url.split('#')[0] && !/^(data|blob):/.test(address))
      page.complaints.push(`request ${address}`);
  });
  await page.goto(url);
  await page.waitForSelector('html[data-ready]', { timeout: 30000 });
  return page;
}

/** Waits until lists and address have followed the last change. */
export async function settle(page) {
  await page.waitForTimeout(260);
}

export const windowOf = (page) => page.evaluate(() => [window.kiv.state.from, window.kiv.state.to]);
export const messageOf = (page) => page.textContent('#message');
export const hoverOf = (page) => page.textContent('#hover');
export const cellsOf = (page, table) =>
  page.$$eval(`#${table} tbody tr`, (rows) =>
    rows.map((row) => [...row.cells].map((cell) => cell.textContent)),
  );

/** Where a frequency (with a height of the panel from 0 to 1) lies on the screen. */
export async function placeOf(page, frequency, height = 0.5, panel = 'lines') {
  return page.evaluate(
    ([f, h, name]) => {
      const { frame, canvas } = window.kiv;
      const box = canvas.getBoundingClientRect();
      const { base, up, height: all } = frame.layout[name];
      return { x: box.left + frame.xOf(f), y: box.top + base + up * h * all };
    },
    [frequency, height, panel],
  );
}

/** Shows a part of the spectrum. */
export async function show(page, from, to) {
  await page.evaluate(([a, b]) => window.kiv.change({ from: a, to: b }), [from, to]);
  await nextFrame(page);
}

export async function nextFrame(page) {
  await page.evaluate(
    () => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))),
  );
}

/** Clicks at a frequency. */
export async function clickAt(page, frequency, height, panel, modifiers = []) {
  const { x, y } = await placeOf(page, frequency, height, panel);
  await page.mouse.move(x, y);
  for (const key of modifiers) await page.keyboard.down(key);
  await page.mouse.click(x, y);
  for (const key of modifiers) await page.keyboard.up(key);
  await nextFrame(page);
}

/** A spectrum of Lorentzian lines [[frequency, height]] as [[x, y]]. */
export function spectrumOf(lines, from, to, step, fwhm) {
  const points = [];
  for (let k = 0; from + k * step <= to + 1e-9; ++k) {
    const x = from + k * step;
    points.push([x, lines.reduce((sum, [f, h]) => sum + h / (1 + 4 * ((x - f) / fwhm) ** 2), 0)]);
  }
  return points;
}

/** Two columns. */
export function textOf(points, separator = ' ') {
  return points.map(([x, y]) => `${x.toFixed(6)}${separator}${y.toPrecision(8)}\n`).join('');
}
