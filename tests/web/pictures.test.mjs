// The pictures of docs/view.md, made each time; with KIV_PICTURES=1 they take the place of the old
// ones. The "measured" spectra are calculated ones with other widths and noise.
import assert from 'node:assert/strict';
import { copyFileSync, mkdirSync, statSync } from 'node:fs';
import { after, before, test } from 'node:test';
import { join } from 'node:path';
import * as t from './support.mjs';

const folder = new t.Folder();
const pictures = join(t.root, 'docs/pictures');
let browser;

function noisy(points, share) {
  const highest = Math.max(...points.map(([, y]) => y));
  let state = 1;
  return points.map(([x, y]) => {
    state = (state * 1664525 + 1013904223) % 4294967296;
    return [x, y + share * highest * (state / 4294967296 - 0.5)];
  });
}

function writeMeasured(name, input, { from, to, step, fwhm, noise, shift = 0 }) {
  const lines = folder
    .exported(input)
    .map((row) => [Number(row.frequency) + shift, Number(row.intensity)])
    .filter(([f]) => f > from - 50 * fwhm && f < to + 50 * fwhm);
  folder.write(name, t.textOf(noisy(t.spectrumOf(lines, from, to, step, fwhm), noise)));
}

before(async () => {
  browser = await t.openBrowser();
  t.copyExample(folder, 'so2/so2.toml', 'so2/so2.csv', '7-azaindole/7-azaindole.toml');
  writeMeasured('so2.txt', 'so2.toml', {
    from: 300000,
    to: 320000,
    step: 2,
    fwhm: 40,
    noise: 0.02,
  });
  writeMeasured('band.txt', '7-azaindole.toml', {
    from: 930000,
    to: 1070000,
    step: 10,
    fwhm: 150,
    noise: 0.02,
  });
});

after(async () => {
  await browser.close();
  folder.remove();
});

// name, input, spectrum, window, scheme, settings, what is done before the picture
const PICTURES = [
  [
    'rotation',
    'so2.toml',
    'so2.txt',
    [1160, 700],
    'light',
    'x=312000,316500&w=40&shape=lorentz&mode=mirror',
    async (page) => {
      const { x, y } = await t.placeOf(page, 313659.8574, 0.5);
      await page.mouse.move(x, y);
    },
  ],
  [
    'band',
    '7-azaindole.toml',
    'band.txt',
    [1160, 700],
    'dark',
    'x=965000,1035000&w=150&shape=lorentz&mode=above',
    async () => {},
  ],
  [
    'assign',
    'so2.toml',
    'so2.txt',
    [1160, 700],
    'light',
    'x=312400,314000&w=40&shape=lorentz',
    async (page) => {
      await t.clickAt(page, 313659.8574, 0.4);
      const { x, y } = await t.placeOf(page, 313659.8574, 0.6);
      await page.mouse.move(x + 3, y);
    },
  ],
  [
    'narrow',
    '7-azaindole.toml',
    'band.txt',
    [420, 800],
    'dark',
    'x=990000,1010000&w=150&shape=lorentz&mode=mirror',
    async () => {},
  ],
];

for (const [name, input, spectrum, [width, height], colorScheme, address, prepare] of PICTURES) {
  test(`picture: ${name}`, async () => {
    const url = `${folder.view(input, '--spectrum', spectrum, '-o', `${name}.html`)}#${address}`;
    const page = await t.openPage(browser, url, { colorScheme, viewport: { width, height } });
    if (input === 'so2.toml' || name === 'band') await page.click('#fit-scale');
    await prepare(page);
    await t.settle(page);
    const file = folder.name(`${name}.png`);
    await page.screenshot({ path: file });
    const { size } = statSync(file);
    assert.ok(size > 15000 && size < 200000, `${size} bytes`);
    if (process.env.KIV_PICTURES) {
      mkdirSync(pictures, { recursive: true });
      copyFileSync(file, join(pictures, `view-${name}.png`));
    }
    assert.deepEqual(page.complaints, []);
    await page.close();
  });
}
