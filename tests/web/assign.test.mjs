// From clicks to a fit: sticks, blends, peaks, the list, and what `check` and `report` make of it.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import * as t from './support.mjs';

const folder = new t.Folder();
let browser;

// A rotor whose true constants differ a little from those of the input.
const inputOf = (A, more = '') => `kiv = 1
title = "assignments"
[lower]
A = ${A}
B = 5005.0
C = 2996.0
${more}[moment]
mu = [1.0, 1.0, 0.0]
[spectrum]
J_max = 8
temperature = 5.0
`;
const FIT = 'fit = ["A", "B", "C"]\n';
const rotor = inputOf('9010.0');

before(async () => {
  browser = await t.openBrowser();
  folder.write('rotor.toml', rotor);
  // what is measured: the same lines with other constants
  folder.write(
    'truth.toml',
    rotor.replace('9010.0', '9006.0').replace('5005.0', '5006.5').replace('2996.0', '2997.0'),
  );
  const lines = folder
    .exported('truth.toml')
    .map((row) => [Number(row.frequency), Number(row.intensity)]);
  folder.write('measured.txt', t.textOf(t.spectrumOf(lines, 6000, 60000, 0.5, 3)));
});

after(async () => {
  await browser.close();
  folder.remove();
});

const truthOf = (name) => {
  const row = folder
    .exported('truth.toml')
    .find((r) => t.QUANTA.map((q) => r[q]).join(' ') === name);
  return Number(row.frequency);
};
const calculatedOf = (name) => {
  const row = folder
    .exported('rotor.toml')
    .find((r) => t.QUANTA.map((q) => r[q]).join(' ') === name);
  return Number(row.frequency);
};

const saveLines = async (page) => {
  const [download] = await Promise.all([page.waitForEvent('download'), page.click('#save-lines')]);
  await download.saveAs(folder.name(download.suggestedFilename()));
  return download.suggestedFilename();
};

test('click a stick, click its peak: a row that check takes and report fits', async () => {
  const page = await t.openPage(browser, folder.view('rotor.toml', '--spectrum', 'measured.txt'));
  await page.fill('#uncertainty', '0.02');
  const names = [
    '1 0 1 0 0 0',
    '1 1 1 0 0 0',
    '2 1 2 1 0 1',
    '2 0 2 1 0 1',
    '2 1 2 1 1 1',
    '3 1 2 2 1 1',
    '3 2 1 3 1 2',
  ];
  for (const mode of ['overlay', 'above', 'mirror']) {
    await page.selectOption('#mode', mode);
    const some = names.splice(0, mode === 'mirror' ? 9 : 2);
    for (const name of some) {
      const [calculated, truth] = [calculatedOf(name), truthOf(name)];
      await t.show(page, Math.min(calculated, truth) - 100, Math.max(calculated, truth) + 100);
      await t.clickAt(page, calculated, 0.3, 'lines');
      assert.equal(await page.locator('#selection li').count(), 1, name);
      await t.clickAt(page, truth, 0.3, 'measured');
      assert.match(await t.messageOf(page), /^Assigned /);
    }
  }
  assert.equal(await saveLines(page), 'rotor.csv');
  const rows = t.rowsOf(folder.read('rotor.csv'));
  assert.equal(rows.length, 7);
  for (const row of rows) {
    const name = t.QUANTA.map((q) => row[q]).join(' ');
    assert.ok(Math.abs(Number(row.frequency) - truthOf(name)) < 0.02, `${name} ${row.frequency}`);
    assert.equal(row.uncertainty, '0.02');
  }
  const checked = folder.kiv('check', 'rotor.csv');
  assert.equal(checked.status, 0);
  assert.equal(checked.err, '');
  folder.write('fit.toml', `${inputOf('9010.0', FIT)}[fit]\nlines = "rotor.csv"\n`);
  const report = folder.kiv('report', '--json', 'fit.toml');
  assert.equal(report.status, 0, report.err);
  const { fit } = JSON.parse(report.out);
  assert.equal(fit.used, 7);
  [9006, 5006.5, 2997].forEach((value, k) =>
    assert.ok(Math.abs(fit.parameters[k].value - value) < 0.02, fit.parameters[k].name),
  );
  assert.deepEqual(page.complaints, []);
  await page.close();
});

test('several sticks in one click are a blend; what is unticked stays out', async () => {
  const page = await t.openPage(browser, folder.view('rotor.toml'));
  // the members of an asymmetry doublet of high J are one stick
  const rows = folder.exported('rotor.toml');
  const strengthOf = (row) => Number(row.intensity);
  const pairs = rows
    .slice(1)
    .map((row, k) => [rows[k], row])
    .filter(([a, b]) => b.frequency - a.frequency < 20);
  const [a, b] = pairs.reduce((best, pair) =>
    Math.min(...pair.map(strengthOf)) > Math.min(...best.map(strengthOf)) ? pair : best,
  );
  const middle = (Number(a.frequency) + Number(b.frequency)) / 2;
  await t.show(page, middle - 4000, middle + 4000);
  await t.clickAt(page, Number(b.frequency), 0.05);
  const listed = await page.locator('#selection li').allTextContents();
  const nameOf = (row) =>
    `${row.J_up} ${row.Ka_up} ${row.Kc_up} - ${row.J_lo} ${row.Ka_lo} ${row.Kc_lo}`;
  assert.ok(
    listed.some((text) => text.includes(nameOf(a))) &&
      listed.some((text) => text.includes(nameOf(b))),
    listed.join('; '),
  );
  assert.match(await page.textContent('#selection-hint'), /blend: untick/);
  for (const text of listed) {
    if (!text.includes(nameOf(a)) && !text.includes(nameOf(b)))
      await page.getByText(text.trim()).click();
  }
  await page.fill('#frequency', String(middle));
  await page.click('#assign-button');
  await t.show(page, middle - 4000, middle + 4000);
  await t.clickAt(page, Number(b.frequency), 0.05);
  await page.locator('#selection').getByLabel(nameOf(a)).uncheck();
  for (const text of listed) {
    if (!text.includes(nameOf(a)) && !text.includes(nameOf(b)))
      await page.getByText(text.trim()).click();
  }
  await page.fill('#frequency', String(middle + 1));
  await page.press('#frequency', 'Enter');
  await saveLines(page);
  const saved = t.rowsOf(folder.read('rotor.csv'));
  assert.equal(saved.length, 3);
  assert.equal(saved[0].frequency, saved[1].frequency);
  assert.deepEqual(
    saved.map((row) => nameOf(row)),
    [nameOf(a), nameOf(b), nameOf(b)],
  );
  const { status, err } = folder.kiv('check', 'rotor.csv');
  assert.equal(status, 0);
  assert.ok(!/error/.test(err), err);
  const report = JSON.parse(
    folder.kiv(
      'report',
      '--json',
      folder.write(
        'blend.toml',
        `${inputOf('9010.0', 'fit = ["A"]\n')}[fit]\nlines = "rotor.csv"\n`,
      ),
    ).out,
  );
  assert.deepEqual(
    report.fit.residuals.map((r) => r.transitions.length),
    [2, 1],
  );
  // the strip has observed minus the mean with the intensities as weights
  const shown = await page.evaluate(() => window.kiv.deviations.map((d) => d.value));
  const [wa, wb] = [Number(a.intensity), Number(b.intensity)];
  const mean = (wa * Number(a.frequency) + wb * Number(b.frequency)) / (wa + wb);
  assert.ok(
    Math.abs(shown[0] - (Number(saved[0].frequency) - mean)) < 1e-6 * middle * 1e-3,
    `${shown[0]}`,
  );
  await page.close();
});

test('undo, redo, remove; a reload keeps them, a saved list is not doubled', async () => {
  folder.write(
    'old.csv',
    'J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty,comment\n1,0,1,0,0,0,8003.5,0.05,"a, ""b"""\n',
  );
  folder.write('list.toml', `${rotor}[fit]\nlines = "old.csv"\ncycles = 0\n`);
  const url = folder.view('list.toml');
  const page = await t.openPage(browser, url);
  const list = async () => (await t.cellsOf(page, 'list')).map((cells) => cells[1]);
  const add = async (name, frequency) => {
    await page.evaluate(
      ([q]) => window.kiv.select([{ line: window.kiv.table.find(q), isTicked: true }]),
      [name.split(' ').map(Number)],
    );
    await page.fill('#frequency', String(frequency));
    await page.click('#assign-button');
  };
  assert.deepEqual(await list(), ['8003.5']);
  await add('2 0 2 1 0 1', 15500);
  await add('1 1 1 0 0 0', 12003);
  assert.deepEqual(await list(), ['12003', '15500', '8003.5']);
  await page.click('#undo');
  assert.deepEqual(await list(), ['15500', '8003.5']);
  await page.keyboard.press('Control+z');
  assert.deepEqual(await list(), ['8003.5']);
  assert.equal(await page.isDisabled('#undo'), true);
  await page.keyboard.press('Control+y');
  await page.keyboard.press('Control+Shift+Z');
  assert.deepEqual(await list(), ['12003', '15500', '8003.5']);
  await page.getByLabel('Remove 1 0 1 - 0 0 0').click();
  assert.deepEqual(await list(), ['12003', '15500']);
  await page.reload();
  await page.waitForSelector('html[data-ready]');
  assert.deepEqual(await list(), ['12003', '15500']);
  assert.equal(await saveLines(page), 'old.csv');
  folder.view('list.toml');
  await page.reload();
  await page.waitForSelector('html[data-ready]');
  assert.deepEqual((await list()).sort(), ['12003', '15500']);
  folder.write('other.toml', rotor);
  const other = await t.openPage(browser, folder.view('other.toml'), { context: page.context() });
  assert.equal((await t.cellsOf(other, 'list')).length, 0, 'another input has its own list');
  await page.close();
  await other.close();
});

test('assigning by keys alone; the clipboard', async () => {
  const context = await browser.newContext({
    viewport: { width: 1280, height: 800 },
    permissions: ['clipboard-read', 'clipboard-write'],
  });
  const page = await t.openPage(
    browser,
    folder.view('rotor.toml', '--spectrum', 'measured.txt', '-o', 'keys.html'),
    { context },
  );
  await page.keyboard.press('/');
  await page.keyboard.type('2 1 2 1 0 1');
  await page.keyboard.press('Enter');
  await page.keyboard.press('Escape');
  await page.evaluate(
    (f) => window.kiv.change({ from: f - 60, to: f + 60 }),
    calculatedOf('2 1 2 1 0 1'),
  );
  await page.keyboard.press('/');
  await page.keyboard.press('Enter');
  await page.focus('#picture');
  await page.keyboard.press('Enter');
  assert.match(await page.textContent('#selection'), /2 1 2 - 1 0 1/);
  const truth = truthOf('2 1 2 1 0 1');
  await page.keyboard.press(truth > calculatedOf('2 1 2 1 0 1') ? '.' : ',');
  assert.match(await t.hoverOf(page), /peak at /);
  await page.keyboard.press('Enter');
  await page.click('#copy-lines');
  const copied = t.rowsOf(await page.evaluate(() => navigator.clipboard.readText()));
  assert.equal(copied.length, 1);
  assert.ok(Math.abs(Number(copied[0].frequency) - truth) < 0.05, copied[0].frequency);
  assert.deepEqual(page.complaints, []);
  await context.close();
});

test('of two states the lines of the file within a state stay in the list', async () => {
  folder.write(
    'band.csv',
    'J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty,v_up,v_lo\n1,0,1,0,0,0,1008000,0.5,1,0\n1,1,1,0,0,0,12006,0.5,0,0\n',
  );
  folder.write(
    'band.toml',
    `${rotor.replace('[moment]', '[upper]\nA = 8900.0\nB = 5000.0\nC = 2990.0\norigin = 1000000.0\n[moment]')}[fit]\nlines = "band.csv"\ncycles = 0\n`,
  );
  const page = await t.openPage(browser, folder.view('band.toml'));
  const cells = await t.cellsOf(page, 'list');
  assert.deepEqual(
    cells.map((c) => c[3] === 'no line'),
    [false, true],
  );
  await saveLines(page);
  assert.deepEqual(
    t.rowsOf(folder.read('band.csv')).map((r) => `${r.frequency} ${r.v_up}${r.v_lo}`),
    ['1008000 10', '12006 00'],
  );
  await page.close();
});
