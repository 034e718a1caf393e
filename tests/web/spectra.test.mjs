// Measured spectra of every form on the page, and what is no spectrum.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { randomBytes } from 'node:crypto';
import * as t from './support.mjs';

const folder = new t.Folder();
let browser;

const INPUT =
  'kiv = 1\nunit = "MHz"\n[lower]\nA = 9010.0\nB = 5005.0\nC = 2996.0\n[moment]\nmu = [1.0, 1.0, 0.0]\n[spectrum]\nJ_max = 8\ntemperature = 5.0\n';
const PEAKS = [
  [15500.25, 1],
  [15530.5, 0.4],
];
const points = t.spectrumOf(PEAKS, 15400, 15650, 0.5, 4);
const MHZ_PER_WAVENUMBER = 29979.2458;
const scaled = (factor) => points.map(([x, y]) => [x * factor, y]);
const exact = (rows, separator = ' ') => rows.map(([x, y]) => `${x}${separator}${y}\n`).join('');

before(async () => {
  browser = await t.openBrowser();
  folder.write('rotor.toml', INPUT);
  folder.write(
    'waves.toml',
    INPUT.replace('"MHz"', '"cm-1"')
      .replace('9010.0', String(9010 / MHZ_PER_WAVENUMBER))
      .replace('5005.0', String(5005 / MHZ_PER_WAVENUMBER))
      .replace('2996.0', String(2996 / MHZ_PER_WAVENUMBER)),
  );
});

after(async () => {
  await browser.close();
  folder.remove();
});

const forms = {
  blanks: exact(points),
  commas: exact(points, ','),
  tabs: exact(points, '\t'),
  semicolons: exact(points, ';'),
  descending: exact([...points].reverse()),
  comments: `# a comment <b>\n; another\n\n${exact(points).replace('\n', ' # behind\n')}# end\n`,
  'line ends': exact(points).replace(/\n/g, '\r\n'),
  'a header': `frequency (MHz),signal\n${exact(points, ',')}`,
  GHz: `# frequency/GHz signal\n${exact(scaled(1e-3))}`,
  'cm-1': `wavenumber/cm-1 signal\n${exact(scaled(1 / MHZ_PER_WAVENUMBER))}`,
  'uneven points': exact(points.filter((_, k) => k % 7 !== 3)),
};

test('every form of a spectrum is drawn at its place, its peaks refined by a parabola', async () => {
  const files = Object.entries(forms).map(([, text], k) => folder.write(`s${k}.txt`, text));
  const page = await t.openPage(browser, folder.view('rotor.toml', '--spectrum', ...files));
  await t.show(page, 15400, 15650);
  for (const [k, form] of Object.keys(forms).entries()) {
    await page.selectOption('#active', String(k));
    for (const [frequency, height] of PEAKS) {
      const found = await page.evaluate(
        ([n, f]) => {
          const spectrum = window.kiv.spectra[n];
          const peak = spectrum.peakIn(f - 3, f + 3);
          return [peak.frequency, spectrum.y[peak.index] * spectrum.factor];
        },
        [k, frequency],
      );
      assert.ok(Math.abs(found[0] - frequency) < 0.03, `${form}: ${found[0]}`);
      assert.ok(Math.abs(found[1] - height) < 0.03, `${form}: height ${found[1]}`);
    }
  }
  assert.equal(await page.locator('#active option').count(), files.length);
  assert.deepEqual(page.complaints, []);
  await page.close();
});

test('spectra in MHz, GHz and cm-1 beside an input in cm-1', async () => {
  const named = {
    'm.txt': `frequency/MHz\n${forms.blanks}`,
    'g.txt': forms.GHz,
    'w.txt': exact(scaled(1 / MHZ_PER_WAVENUMBER)),
  };
  const files = Object.entries(named).map(([name, text]) => folder.write(name, text));
  const page = await t.openPage(browser, folder.view('waves.toml', '--spectrum', ...files));
  for (let k = 0; k < 3; ++k) {
    const [x] = await page.evaluate((n) => [window.kiv.spectra[n].peakIn(0, 1e9).frequency], k);
    assert.ok(Math.abs(x * MHZ_PER_WAVENUMBER - PEAKS[0][0]) < 0.03, `${files[k]}: ${x}`);
  }
  await page.close();
});

test('scale, shift, baseline, fit of the scale, and the address that keeps them', async () => {
  const rows = folder
    .exported('rotor.toml')
    .map((row) => [Number(row.frequency), Number(row.intensity)]);
  const spectrum = t.spectrumOf(rows, 14000, 18000, 0.5, 6).map(([x, y]) => [x, 40 * y + 7]);
  const page = await t.openPage(
    browser,
    folder.view('rotor.toml', '--spectrum', folder.write('own.txt', exact(spectrum))),
  );
  await page.selectOption('#shape', 'lorentz');
  await page.fill('#width', '6');
  await page.fill('#scale', '1');
  await page.click('#fit-scale');
  assert.ok(Math.abs(Number(await page.inputValue('#offset')) - 7) < 0.05);
  const factor = await page.evaluate(
    () => window.kiv.spectra[0].scale / window.kiv.spectra[0].factor,
  );
  assert.ok(Math.abs(factor * 40 - 1) < 0.01, `${factor}`);
  await page.fill('#shift', '12.5');
  await page.selectOption('#mode', 'mirror');
  await t.settle(page);
  await page.reload();
  await page.waitForSelector('html[data-ready]');
  assert.equal(await page.inputValue('#shift'), '12.5');
  assert.equal(await page.inputValue('#mode'), 'mirror');
  const x = await page.evaluate(() =>
    window.kiv.spectra[0].range(15000, 15001).map((i) => window.kiv.spectra[0].x[i]),
  );
  assert.ok(x[0] >= 14987.5 && x[0] < 14988.5, 'drawn 12.5 MHz higher');
  await page.uncheck('#visible');
  await t.nextFrame(page);
  assert.equal(await page.evaluate(() => window.kiv.frame.visible.length), 0);
  assert.deepEqual(page.complaints, []);
  await page.close();
});

test('what is no spectrum: a message with its place, and no page', () => {
  const hostile = {
    'nan.txt': ['100 1\n101 nan\n102 1\n', 3, /nan\.txt:2:5: error/],
    'inf.txt': ['100 1\n101 1e999\n102 1\n', 3, /inf\.txt:2:5: error/],
    'empty.txt': ['', 3, /empty\.txt:1:1: error/],
    'comment.txt': ['# nothing\n', 3, /comment\.txt:\d+:1: error/],
    'binary.txt': [
      Buffer.concat([Buffer.from([0, 255, 1]), randomBytes(4000)]),
      3,
      /binary\.txt:\d+:\d+: error/,
    ],
    'one.txt': ['1\n2\n3\n', 3, /one\.txt:1:\d+: error/],
    'mixed.txt': ['1 1\n3 1\n2 1\n', 3, /mixed\.txt:3:1: error/],
    'missing.txt': [null, 5, /cannot read missing\.txt/],
  };
  for (const [name, [text, status, words]] of Object.entries(hostile)) {
    if (text !== null) folder.write(name, text);
    const ended = folder.kiv('view', 'rotor.toml', '--spectrum', name, '-o', 'none.html');
    assert.equal(ended.status, status, `${name}: ${ended.err}`);
    assert.match(ended.err, words);
    assert.ok(!/[\0-\x08\x0b-\x1f]/.test(ended.err), 'no control characters');
    assert.throws(() => folder.read('none.html'));
  }
});

test('huge numbers and markup are data like any other', async () => {
  folder.write('wild.txt', '-1e300 1\n0 -1e300\n15500 1e300\n15501 5e299\n1e300 0\n');
  folder.write('flat.txt', '15000 1\n15001 1\n15002 1\n');
  const markup =
    '</script><script>alert(1)</script><img src=x onerror=alert(2)>\\u2028&amp;{{script}}$&';
  folder.write(
    'lines.csv',
    `J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty,comment\n1,0,1,0,0,0,8001.5,0.05,"${markup.replace(/"/g, '""')}"\n`,
  );
  folder.write(
    'wild.toml',
    `${INPUT.replace('kiv = 1\n', () => `kiv = 1\ntitle = '${markup}'\n`)}[fit]\nlines = "lines.csv"\ncycles = 0\n`,
  );
  folder.write('<img src=x onerror=alert(3)>.txt', '15000 1\n15001 2\n15002 1\n');
  const url = folder.view(
    'wild.toml',
    '--spectrum',
    'wild.txt',
    'flat.txt',
    '<img src=x onerror=alert(3)>.txt',
  );
  const page = await t.openPage(browser, url);
  assert.equal(await page.title(), markup);
  assert.equal(await page.textContent('#title'), markup);
  assert.equal(await page.locator('img').count(), 0);
  assert.equal(
    await page.locator('#active option').nth(2).textContent(),
    '<img src=x onerror=alert(3)>.txt',
  );
  await t.show(page, 15000, 16000);
  for (const address of [
    '#x=1e308,1.7e308',
    '#x=-1e300,1e300',
    '#s0=1e300,1e300,-1e300,1',
    '#g=1e300',
    '#T=1e308',
    '#w=1e300&shape=voigt',
    '#sel=9.9.9.9.9.9,..,1',
    '#<script>alert(4)</script>',
  ]) {
    await page.evaluate((hash) => {
      window.location.hash = hash;
    }, address);
    await t.nextFrame(page);
    await t.settle(page);
  }
  const [download] = await Promise.all([page.waitForEvent('download'), page.click('#save-lines')]);
  await download.saveAs(folder.name('lines.csv'));
  assert.ok(folder.read('lines.csv').includes(markup.replace(/"/g, '""')));
  assert.equal(folder.kiv('check', 'lines.csv').status, 0);
  assert.deepEqual(page.complaints, []);
  await page.close();
});
