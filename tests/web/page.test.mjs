// The page in a browser: what it shows against `kiv export csv`, moving, searching, keeping a view.
import assert from 'node:assert/strict';
import { statSync } from 'node:fs';
import { after, before, test } from 'node:test';
import { join } from 'node:path';
import * as t from './support.mjs';

const folder = new t.Folder();
let browser;

before(async () => {
  browser = await t.openBrowser();
  t.copyExample(folder, 'so2/so2.toml', 'so2/fit.toml', 'so2/so2.csv', 'so2/so2.in', 'so2/so2.asn');
  t.copyExample(
    folder,
    '7-azaindole/7-azaindole.toml',
    '7-azaindole/tilted.toml',
    'h2coh_plus/h2coh_plus.toml',
    'h2coh_plus/h2coh_plus.csv',
  );
});

after(async () => {
  await browser.close();
  folder.remove();
});

// What the text of a line says, by name.
function saidOf(text) {
  const [, quanta] = text.match(/^([\d ]+ - [\d ]+),/);
  const numberBehind = (word) => text.match(new RegExp(`${word} (-?[\\d.e+-]+)`))?.[1];
  return {
    quanta: quanta.split(/[ -]+/),
    band: text.match(/, ([abc]) type/)[1],
    frequency: text.match(/type, (-?[\d.]+)/)[1],
    uncertainty: text.match(/± ([\d.e-]+)/)?.[1],
    intensity: numberBehind('(?:intensity|strength)'),
    strength: numberBehind('Sμ²'),
    lower: numberBehind('E″'),
    deviation: numberBehind('o−c'),
  };
}

for (const [file, digits] of [
  ['so2.toml', 4],
  ['fit.toml', 4],
  ['7-azaindole.toml', 4],
  ['tilted.toml', 4],
  ['h2coh_plus.toml', 4],
  ['so2.in', 4],
  ['wavenumbers.toml', 7],
]) {
  test(`hover says what export csv says: ${file}`, async () => {
    if (file === 'wavenumbers.toml') {
      folder.write(
        file,
        'kiv = 1\nunit = "cm-1"\n[lower]\nA = 2.02736\nB = 0.344174\nC = 0.293530\n[upper]\nA = 2.0\nB = 0.342\nC = 0.291\norigin = 1361.76\n[moment]\nmu = [0.3, 1.0, 0.2]\n[spectrum]\nJ_max = 20\ntemperature = 80.0\n',
      );
    }
    const rows = folder.exported(file);
    const page = await t.openPage(browser, folder.view(file, '-o', 'page.html'));
    assert.equal(await page.evaluate(() => window.kiv.table.size), rows.length);
    const strong = rows
      .map((row, k) => [Number(row.intensity), k])
      .sort((a, b) => b[0] - a[0])
      .slice(0, 400);
    const observed = rows
      .map((row, k) => [row.observed, k])
      .filter(([o]) => o)
      .slice(0, 6);
    const chosen = [...strong.filter((_, n) => n % 25 === 0), ...observed].map(([, k]) => rows[k]);
    for (const row of chosen) {
      const frequency = Number(row.frequency);
      const neighbour = Math.min(
        ...rows.map((other) =>
          other === row ? Infinity : Math.abs(Number(other.frequency) - frequency),
        ),
      );
      if (!(neighbour > 1e-6)) continue; // a doublet that no pointer parts
      const half = Math.min(neighbour * 10, 1e-4 * frequency);
      await t.show(page, frequency - half, frequency + half);
      const { x, y } = await t.placeOf(page, frequency);
      await page.mouse.move(x + 1, y);
      const said = saidOf(await t.hoverOf(page));
      assert.deepEqual(
        said.quanta,
        t.QUANTA.map((q) => row[q]),
        row.frequency,
      );
      assert.equal(said.band, row.band);
      assert.equal(said.frequency, frequency.toFixed(digits));
      assert.equal(said.lower, Number(row.E_lo).toFixed(digits));
      assert.equal(Number(said.intensity), Number(row.intensity));
      assert.equal(Number(said.strength), Number(row.strength));
      assert.equal(
        said.deviation,
        row.observed ? Number(row.obs_minus_calc).toFixed(digits) : undefined,
      );
      if (row.uncertainty)
        assert.ok(Math.abs(Number(said.uncertainty) / Number(row.uncertainty) - 1) < 1e-6);
      else assert.equal(said.uncertainty, undefined);
    }
    assert.deepEqual(page.complaints, []);
    await page.close();
  });
}

test('the SO2 page is small, and asks for nothing', async () => {
  folder.view('so2.toml');
  assert.ok(statSync(folder.name('so2.html')).size < 700000);
  assert.ok(!/(?:src|href)="(?!data:)/.test(folder.read('so2.html')));
  const page = await t.openPage(browser, folder.view('so2.toml'));
  const policy = await page.getAttribute('meta[http-equiv]', 'content');
  assert.match(policy, /default-src 'none'/);
  const isBlocked = await page.evaluate(() =>
    fetch('http://127.0.0.1:1/').then(
      () => false,
      () => true,
    ),
  );
  assert.ok(isBlocked);
  await page.close();
});

test('wheel, drag, keys and double click move and zoom', async () => {
  const page = await t.openPage(browser, folder.view('so2.toml'));
  const all = await t.windowOf(page);
  const { x, y } = await t
    .placeOf(page, 500000)
    .then((place) => ({ x: Math.round(place.x), y: Math.round(place.y) }));
  const frequencyAt = (px) =>
    page.evaluate(
      (p) => window.kiv.frame.frequencyAt(p - window.kiv.canvas.getBoundingClientRect().left),
      px,
    );
  const at = await frequencyAt(x);
  await page.mouse.move(x, y);
  await page.mouse.wheel(0, -400);
  await t.nextFrame(page);
  let [from, to] = await t.windowOf(page);
  assert.ok(Math.abs((to - from) / (all[1] - all[0]) / Math.exp(-0.8) - 1) < 1e-9);
  assert.ok(
    Math.abs((await t.placeOf(page, at)).x - x) < 0.01,
    'what is under the pointer stays there',
  );
  await page.mouse.down();
  await page.mouse.move(x + 120, y, { steps: 5 });
  await page.mouse.up();
  await t.nextFrame(page);
  assert.ok(Math.abs((await t.placeOf(page, at)).x - x - 120) < 0.01, 'dragged along');
  assert.equal(await page.locator('#selection li').count(), 0, 'a drag is no click');
  await page.keyboard.down('Shift');
  await page.mouse.move(x - 60, y);
  await page.mouse.down();
  const ends = [await frequencyAt(x - 60), await frequencyAt(x + 90)];
  await page.mouse.move(x + 90, y, { steps: 4 });
  await page.mouse.up();
  await page.keyboard.up('Shift');
  await t.nextFrame(page);
  [from, to] = await t.windowOf(page);
  assert.ok(
    Math.abs(from - ends[0]) + Math.abs(to - ends[1]) < 1e-6 * (to - from),
    'zoomed to the part',
  );
  const keys = [
    ['ArrowRight', 0.1, 1],
    ['ArrowLeft', -0.1, 1],
    ['PageDown', 0.9, 1],
    ['+', 0, 1 / 1.5],
    ['-', 0, 1.5],
  ];
  for (const [key, moved, factor] of keys) {
    await page.evaluate(() => window.kiv.light(-1));
    const [a, b] = await t.windowOf(page);
    await page.keyboard.press(key);
    const [c, d] = await t.windowOf(page);
    assert.ok(Math.abs((d - c) / (b - a) - factor) < 1e-9, key);
    assert.ok(Math.abs(((c + d) / 2 - (a + b) / 2) / (b - a) - moved) < 1e-9, key);
  }
  await t.nextFrame(page); // the last key's
  const top = await page.evaluate(() => window.kiv.frame.top);
  await page.keyboard.press('ArrowUp');
  await t.nextFrame(page);
  assert.ok(Math.abs(top / (await page.evaluate(() => window.kiv.frame.top)) - 1.25) < 1e-9);
  await page.mouse.dblclick(x, y);
  assert.deepEqual(await t.windowOf(page), all);
  for (let n = 0; n < 60; ++n) await page.keyboard.press('+');
  await t.settle(page);
  [from, to] = await t.windowOf(page);
  assert.ok(to > from, 'there is an end to zooming');
  assert.deepEqual(page.complaints, []);
  await page.close();
});

test('the temperature slider gives the intensities of export csv at that temperature', async () => {
  for (const [file, temperatures] of [
    ['so2.toml', [0, 77.3]],
    ['7-azaindole.toml', [2.5, 1000]],
  ]) {
    const text = folder
      .read(file)
      .replace(/min_intensity = .*\n/, '')
      .replace(/J_max = .*\n/, 'J_max = 20\n');
    folder.write('warm.toml', text);
    const page = await t.openPage(browser, folder.view('warm.toml'));
    for (const T of temperatures) {
      folder.write(
        'other.toml',
        text.replace(/temperature = .*\n/, `temperature = ${T.toFixed(1)}\n`),
      );
      const rows = folder.exported('other.toml');
      const strongest = Math.max(...rows.map((row) => Number(row.intensity)));
      await page.fill('#temperature', String(T));
      await t.settle(page);
      const strong = rows.filter((row) => Number(row.intensity) > 1e-6 * strongest);
      const quanta = strong.map((row) => t.QUANTA.map((q) => Number(row[q])));
      const shown = await page.evaluate(
        (all) => all.map((q) => window.kiv.table.base[window.kiv.table.find(q)]),
        quanta,
      );
      strong.forEach((row, k) =>
        assert.ok(Math.abs(shown[k] / Number(row.intensity) - 1) < 1e-6, `${T} K ${quanta[k]}`),
      );
    }
    await page.focus('#temperature-slider');
    await page.keyboard.press('Home');
    assert.equal(
      await page.evaluate(() => window.kiv.state.temperature),
      1,
      'the slider begins at 1 K',
    );
    assert.deepEqual(page.complaints, []);
    await page.close();
  }
});

test('search centres a line; once more the next one', async () => {
  const page = await t.openPage(browser, folder.view('so2.toml'));
  await t.show(page, 300000, 310000);
  await page.keyboard.press('/');
  await page.keyboard.type('5 2 4 - 6 1 5');
  await page.keyboard.press('Enter');
  const [from, to] = await t.windowOf(page);
  const row = folder
    .exported('so2.toml')
    .find((r) => t.QUANTA.map((q) => r[q]).join(' ') === '5 2 4 6 1 5');
  assert.ok(Math.abs((from + to) / 2 - Number(row.frequency)) < 1e-6);
  assert.match(await t.hoverOf(page), /^5 2 4 - 6 1 5, /);
  await page.fill('#quanta', '8 2');
  const found = [];
  for (let n = 0; n < 3; ++n) {
    await page.press('#quanta', 'Enter');
    found.push((await t.hoverOf(page)).split(',')[0]);
  }
  assert.equal(new Set(found).size, 3);
  for (const name of found) assert.match(name, /(^| - )8 2 /);
  await page.fill('#quanta', '99 1 99 98 0 98');
  await page.press('#quanta', 'Enter');
  assert.match(await t.messageOf(page), /No line has the quantum numbers 99 1 99/);
  await page.fill('#quanta', 'x');
  await page.press('#quanta', 'Enter');
  assert.match(await t.messageOf(page), /whole numbers/);
  await page.close();
});

test('lines in view: the strongest, with what export csv says', async () => {
  const page = await t.openPage(browser, folder.view('so2.toml'));
  await t.show(page, 313000, 314000);
  await t.settle(page);
  const rows = folder
    .exported('so2.toml')
    .filter((r) => r.frequency >= 313000 && r.frequency < 314000);
  const cells = await t.cellsOf(page, 'lines');
  assert.deepEqual(
    cells.map((c) => c[0]),
    rows.map((r) => `${r.J_up} ${r.Ka_up} ${r.Kc_up} - ${r.J_lo} ${r.Ka_lo} ${r.Kc_lo}`),
  );
  assert.deepEqual(
    cells.map((c) => c[2]),
    rows.map((r) => Number(r.frequency).toFixed(4)),
  );
  await page.evaluate(() => window.kiv.showAll());
  await t.settle(page);
  assert.equal((await t.cellsOf(page, 'lines')).length, 200);
  assert.match(await page.textContent('#lines-note'), /200 strongest of 9977 lines/);
  await page.close();
});

test('the address keeps the view, through a reload and a new prediction', async () => {
  const url = folder.view('so2.toml');
  const page = await t.openPage(browser, url);
  await t.show(page, 312000, 316000);
  await page.selectOption('#shape', 'voigt');
  await page.fill('#width', '25');
  await page.fill('#temperature', '150');
  await t.settle(page);
  const { hash } = new URL(page.url());
  folder.write('so2.toml', folder.read('so2.toml').replace('A = 60778.5522', 'A = 60779.0'));
  folder.view('so2.toml');
  await page.reload();
  await page.waitForSelector('html[data-ready]');
  assert.deepEqual(await t.windowOf(page), [312000, 316000]);
  assert.equal(await page.inputValue('#shape'), 'voigt');
  assert.equal(await page.inputValue('#width'), '25');
  assert.equal(await page.inputValue('#temperature'), '150');
  assert.equal(await page.evaluate(() => window.kiv.table.temperature), 150);
  const other = await t.openPage(browser, url + hash);
  assert.deepEqual(await t.windowOf(other), [312000, 316000]);
  await other.evaluate(() => {
    window.location.hash = '#x=1000,2000';
  });
  await t.settle(other);
  assert.deepEqual(await t.windowOf(other), [1000, 2000]);
  t.copyExample(folder, 'so2/so2.toml');
  await page.close();
  await other.close();
});

// Share of the canvas whose pixels satisfy a rule.
const shareOf = (page, rule) =>
  page.evaluate((text) => {
    const { canvas, context } = window.kiv;
    const { data } = context.getImageData(0, 0, canvas.width, canvas.height);
    const holds = new Function('r', 'g', 'b', `return ${text}`);
    let count = 0;
    for (let i = 0; i < data.length; i += 4)
      count += holds(data[i], data[i + 1], data[i + 2]) ? 1 : 0;
    return count / (data.length / 4);
  }, rule);

test('both colour schemes, every size and density', async () => {
  const url = folder.view('so2.toml');
  const plain = folder.read('so2.html').replace(/<meta http-equiv[^>]*>/, '');
  folder.write('free.html', plain); // so that the test may make a function
  const free = url.replace('so2.html', 'free.html');
  for (const [colorScheme, ground] of [
    ['light', 'r > 240 && g > 240 && b > 240'],
    ['dark', 'r < 40 && g < 40 && b < 40'],
  ]) {
    const deviceScaleFactor = colorScheme === 'light' ? 1 : 2;
    const page = await t.openPage(browser, free, { colorScheme, deviceScaleFactor });
    assert.ok((await shareOf(page, ground)) > 0.7, colorScheme);
    assert.equal(
      await page.evaluate(() => window.kiv.canvas.width / window.kiv.canvas.clientWidth),
      deviceScaleFactor,
    );
    await page.emulateMedia({ colorScheme: colorScheme === 'light' ? 'dark' : 'light' });
    await t.nextFrame(page);
    assert.ok((await shareOf(page, ground)) < 0.1, 'follows the system');
    for (const [width, height] of [
      [360, 640],
      [1900, 1000],
      [700, 300],
    ]) {
      await page.setViewportSize({ width, height });
      await t.nextFrame(page);
      const [canvas, frame, scroll] = await page.evaluate(() => [
        window.kiv.canvas.clientWidth,
        window.kiv.frame.layout.width,
        document.documentElement.scrollWidth,
      ]);
      assert.equal(frame, canvas);
      assert.ok(scroll <= width, `${width}: nothing beyond the right edge`);
    }
    assert.deepEqual(page.complaints, []);
    await page.close();
  }
});

test('by keyboard alone, and every control has a name', async () => {
  const page = await t.openPage(
    browser,
    folder.view('so2.toml', '--spectrum', folder.write('s.txt', '313000 0\n313500 1\n314000 0\n')),
  );
  const session = await page.context().newCDPSession(page);
  const { nodes } = await session.send('Accessibility.getFullAXTree');
  const controls = nodes.filter(
    (n) =>
      !n.ignored &&
      /^(button|checkbox|combobox|ComboBoxSelect|slider|spinbutton|searchbox|textbox|application|Canvas)$/i.test(
        n.role?.value ?? '',
      ),
  );
  assert.ok(controls.length > 25);
  for (const node of controls)
    assert.ok(node.name?.value?.trim(), `${node.role.value} without a name`);
  const reached = new Set();
  for (let n = 0; n < 60; ++n) {
    await page.keyboard.press('Tab');
    reached.add(await page.evaluate(() => document.activeElement.id));
  }
  for (const id of [
    'sticks',
    'temperature',
    'temperature-slider',
    'shape',
    'width',
    'mode',
    'scale',
    'shift',
    'picture',
    'quanta',
    'save-lines',
  ])
    assert.ok(reached.has(id), id);
  await page.focus('#picture');
  const lit = [];
  for (let n = 0; n < 3; ++n) {
    await page.keyboard.press('n');
    lit.push(await page.evaluate(() => window.kiv.lit));
  }
  assert.ok(lit[0] < lit[1] && lit[1] < lit[2] && lit[0] >= 0);
  await page.keyboard.press('p');
  assert.equal(await page.evaluate(() => window.kiv.lit), lit[1]);
  await page.keyboard.press('?');
  assert.ok(await page.isVisible('#help'));
  await page.keyboard.press('Escape');
  assert.ok(!(await page.isVisible('#help')));
  await page.close();
});

test('pictures and paper', async () => {
  const page = await t.openPage(browser, folder.view('so2.toml'), { colorScheme: 'dark' });
  const saved = async (button) => {
    const [download] = await Promise.all([page.waitForEvent('download'), page.click(button)]);
    await download.saveAs(folder.name(download.suggestedFilename()));
    return download.suggestedFilename();
  };
  assert.equal(await saved('#save-svg'), 'so2.svg');
  const svg = folder.read('so2.svg');
  assert.match(svg, /^<svg xmlns/);
  assert.ok(!/NaN|undefined|Infinity/.test(svg));
  assert.ok(svg.includes('Frequency / MHz'));
  const drawn = await page.evaluate(
    (text) =>
      new DOMParser().parseFromString(text, 'image/svg+xml').querySelector('parsererror') === null,
    svg,
  );
  assert.ok(drawn, 'well-formed');
  assert.equal(await saved('#save-png'), 'so2.png');
  assert.equal(folder.read('so2.png').slice(1, 4), 'PNG');
  await page.evaluate(() => window.dispatchEvent(new Event('beforeprint')));
  assert.equal(
    await page.evaluate(() => window.kiv.readColors().ground),
    '#ffffff',
    'paper is white',
  );
  await page.evaluate(() => window.dispatchEvent(new Event('afterprint')));
  assert.notEqual(await page.evaluate(() => window.kiv.readColors().ground), '#ffffff');
  assert.deepEqual(page.complaints, []);
  await page.close();
});
