// The modules of the page without a browser: line shapes against closed forms, drawing aids against
// slow ways of doing the same.
import assert from 'node:assert/strict';
import test from 'node:test';
import { Assignment, csvOf, roundedFrequency } from '../../web/assignment.js';
import { grouped, scaleLabel, ticksFor } from '../../web/axes.js';
import { convolve, gridFor, sumDirectly, sumOnGrid } from '../../web/convolution.js';
import { indexOf, labelOf, spinClassOf } from '../../web/levels.js';
import { Measured, topOfParabola } from '../../web/measured.js';
import { Shape, faddeevaReal, gauss, lorentz, voigt } from '../../web/profile.js';
import { Pyramid, lowerBound } from '../../web/pyramid.js';
import { quantaIn } from '../../web/search.js';
import { fragmentOf, readFragment, soundWindow } from '../../web/state.js';

// The same numbers on every run.
function randomNumbers(seed) {
  let state = seed;
  return () => {
    state = (state * 1664525 + 1013904223) % 4294967296;
    return state / 4294967296;
  };
}

const near = (actual, expected, tolerance, what = '') =>
  assert.ok(Math.abs(actual - expected) <= tolerance, `${what} ${actual} is not ${expected}`);

function integral(f, from, to, steps) {
  const h = (to - from) / steps;
  let sum = (f(from) + f(to)) / 2;
  for (let k = 1; k < steps; ++k) sum += f(from + k * h);
  return sum * h;
}

test('line shapes: height, half width, area', () => {
  for (const fwhm of [1e-3, 1, 250]) {
    for (const shape of [gauss, lorentz, (x, w) => voigt(x, w, 0), (x, w) => voigt(x, 0, w)]) {
      near(shape(0, fwhm), 1, 1e-12);
      near(shape(fwhm / 2, fwhm), 0.5, 1e-12);
      near(shape(-fwhm / 2, fwhm), 0.5, 1e-12);
    }
    const ofGauss = integral((x) => gauss(x, fwhm), -6 * fwhm, 6 * fwhm, 2000);
    near(ofGauss / fwhm, Math.sqrt(Math.PI / Math.LN2) / 2, 1e-10);
    const reach = 1000;
    const ofLorentz = integral((x) => lorentz(x, fwhm), -reach * fwhm, reach * fwhm, 400000);
    near(ofLorentz / fwhm, Math.atan(2 * reach), 1e-6);
  }
});

test('w(z): values that are known in closed form', () => {
  // w(iy) = exp(y^2) erfc(y) has the continued fraction 1/sqrt(pi) / (y + (1/2)/(y + 1/(y + ...)))
  const onAxis = (y) => {
    let tail = y;
    for (let k = 4000; k >= 1; --k) tail = y + k / 2 / tail;
    return 1 / (Math.sqrt(Math.PI) * tail);
  };
  for (const y of [0.5, 1, 2, 5, 30]) near(faddeevaReal(0, y) / onAxis(y), 1, 1e-10, `y ${y}`);
  for (const x of [0, 0.3, 1, 2, 4]) near(faddeevaReal(x, 0), Math.exp(-x * x), 1e-11, `x ${x}`);
  for (const x of [50, 1000]) near(faddeevaReal(x, 3) * Math.sqrt(Math.PI) * (x * x + 9), 3, 0.01);
});

test('Voigt profile against the convolution of its parts', () => {
  for (const [g, l] of [
    [1, 1],
    [1, 0.05],
    [0.3, 2],
    [5, 0.5],
  ]) {
    const product = (x) => integral((t) => gauss(t, g) * lorentz(x - t, l), -5 * g, 5 * g, 8000);
    const centre = product(0);
    for (const x of [0.2, 0.7, 1.5, 4, 12])
      near(voigt(x, g, l), product(x) / centre, 2e-8, `${g} ${l} ${x}`);
    const shape = new Shape('voigt', g, l);
    near(shape.at(shape.fwhm / 2), 0.5, 2e-4, 'width at half height');
  }
});

test('sums on a grid are those of single lines', () => {
  const random = randomNumbers(7);
  const position = Float64Array.from({ length: 3000 }, () => 1000 * random()).sort();
  const intensity = Float32Array.from(position, () => random() ** 3);
  const lines = { position, intensity };
  for (const shape of [new Shape('gauss', 4), new Shape('lorentz', 3), new Shape('voigt', 3, 2)]) {
    const grid = gridFor(200, 800, 400, shape);
    const slow = Float64Array.from({ length: grid.count }, (_, k) => {
      const x = grid.start + k * grid.step;
      return position.reduce((sum, p, i) => sum + intensity[i] * shape.at(x - p), 0);
    });
    const highest = Math.max(...slow);
    const end = position.length;
    sumDirectly(grid, lines, 0, end, shape).forEach((v, k) =>
      near(v / highest, slow[k] / highest, 3e-3, shape.kind),
    );
    sumOnGrid(grid, lines, 0, end, shape).forEach((v, k) =>
      near(v / highest, slow[k] / highest, 2e-2, shape.kind),
    );
  }
  const sharp = new Shape('gauss', 1e-4); // far below a pixel: still every line has its height
  const grid = gridFor(0, 1000, 500, sharp);
  const single = { position: Float64Array.of(321.123), intensity: Float32Array.of(2.5) };
  near(Math.max(...sumOnGrid(grid, single, 0, 1, sharp)), 2.5, 1e-9);
  assert.equal(
    convolve(gridFor(0, 10, 50, sharp), single, sharp).every((v) => v === 0),
    true,
    'out of reach',
  );
});

test('pyramid: the first largest and smallest of any range', () => {
  const random = randomNumbers(3);
  const values = Float32Array.from({ length: 5000 }, () => Math.floor(50 * random()));
  for (const sign of [1, -1]) {
    const pyramid = new Pyramid(values, sign);
    for (let n = 0; n < 2000; ++n) {
      const first = Math.floor(5000 * random());
      const end = Math.min(5000, first + Math.floor((n % 2 ? 5000 : 80) * random()));
      let best = first < end ? first : -1;
      for (let i = first; i < end; ++i) if (sign * values[i] > sign * values[best]) best = i;
      assert.equal(pyramid.best(first, end), best, `${sign} [${first}, ${end})`);
    }
  }
  const sorted = Float64Array.of(1, 2, 2, 3);
  assert.deepEqual(
    [0, 1, 2, 2.5, 4].map((x) => lowerBound(sorted, x)),
    [0, 0, 1, 3, 4],
  );
});

test("levels: labels and indices are each other's", () => {
  assert.deepEqual([0, 1, 2, 3, 4].map(labelOf), [
    [0, 0, 0],
    [1, 0, 1],
    [1, 1, 1],
    [1, 1, 0],
    [2, 0, 2],
  ]);
  for (let index = 0; index < 3000; ++index) {
    const [J, Ka, Kc] = labelOf(index);
    assert.equal(indexOf([J, Ka, Kc]), index);
    assert.ok(Ka + Kc === J || Ka + Kc === J + 1);
  }
  for (const none of [
    [1, 0, 0],
    [1, 2, 0],
    [2, 1, 3],
    [0, 0, 1],
    [-1, 0, 0],
  ])
    assert.equal(indexOf(none), -1);
  assert.deepEqual(
    [
      [2, 0, 2],
      [1, 0, 1],
      [1, 1, 1],
      [1, 1, 0],
    ].map((q) => spinClassOf(indexOf(q))),
    [0, 1, 2, 3],
  );
});

test('ticks: enough, not too many, with labels that tell them apart', () => {
  const random = randomNumbers(11);
  const label = (v, step) => grouped(v, Math.max(0, Math.ceil(-Math.log10(step) - 1e-9)));
  for (let n = 0; n < 500; ++n) {
    const from = (random() - 0.3) * 10 ** Math.floor(8 * random());
    const width = Math.max(Math.abs(from) * 1e-9, 1e-4) * 10 ** (9 * random());
    const { major, step } = ticksFor(from, from + width, 900, label, (text) => 7 * text.length);
    assert.ok(major.length >= 2 && major.length <= 20, `${from} ${width}: ${major.length}`);
    assert.equal(new Set(major.map((tick) => tick.text)).size, major.length);
    for (const { value, text } of major) {
      near(
        Number(text.replace(/\u2009/g, '').replace('\u2212', '-')),
        value,
        1e-6 * step + 1e-9 * Math.abs(value),
      );
      assert.ok(value >= from - 1e-6 * step && value <= from + width + 1e-6 * step);
    }
    assert.ok((major[1].value - major[0].value) / (width / 900) > 7 * major[1].text.length);
  }
  assert.equal(grouped(-1234567.5, 2), '\u22121\u2009234\u2009567.50');
  assert.equal(grouped(-0.001, 1), '0.0');
  assert.equal(scaleLabel(2e-7, 1e-7, 3e-7), '2e\u22127');
});

test('peaks: the top of a parabola, uneven points, dips', () => {
  const top = (x, at) =>
    topOfParabola(
      x,
      x.map((t) => 5 - 3 * (t - at) ** 2),
    );
  near(top([1, 2, 3], 2.3), 2.3, 1e-12);
  near(top([1, 2.5, 3], 2.2), 2.2, 1e-12);
  assert.equal(topOfParabola([1, 2, 3], [1, 1, 1]), 2);
  assert.equal(topOfParabola([1, 1, 2], [0, 4, 1]), 1, 'points of equal frequency');
  const x = Float64Array.from({ length: 400 }, (_, i) => 100 + 0.5 * i);
  const of = (sign) =>
    new Measured(
      { name: '' },
      x,
      Float32Array.from(x, (f) => sign * (lorentz(f - 180.2, 6) + 0.4 * lorentz(f - 240.7, 6))),
    );
  const peaks = of(1);
  near(peaks.peakIn(176, 184).frequency, 180.2, 0.02);
  near(peaks.nextPeak(181, 1, 0.1).frequency, 240.7, 0.02);
  near(peaks.nextPeak(240, -1, 0.1).frequency, 180.2, 0.02);
  assert.equal(peaks.nextPeak(245, 1, 0.1), null);
  assert.equal(peaks.peakIn(900, 910), null);
  peaks.shift = 10; // drawn elsewhere, but still the frequency of the file
  near(peaks.peakIn(186, 194).frequency, 180.2, 0.02);
  const dips = of(-1);
  dips.scale = -1;
  near(dips.peakIn(176, 184).frequency, 180.2, 0.02);
});

const feature = (frequency, quanta, more = {}) => ({
  frequency,
  uncertainty: 0.01,
  transitions: [{ quanta, states: [0, 0] }],
  ...more,
});

test('line file: columns as needed, equal neighbours parted, blends together', () => {
  const [a, b] = [
    [1, 0, 1, 0, 0, 0],
    [2, 0, 2, 1, 0, 1],
  ];
  assert.equal(
    csvOf([feature(10.5, a)], false),
    'J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty\n1,0,1,0,0,0,10.5,0.01\n',
  );
  const same = csvOf([feature(7, a), feature(7, b), feature(9, a)], false)
    .trim()
    .split('\n')
    .slice(1);
  assert.deepEqual(
    same.map((row) => row.split(',')[6]),
    ['7', '9', '7'],
  );
  const blend = {
    frequency: 3,
    uncertainty: 0,
    transitions: [
      { quanta: a, states: [1, 0], weight: 2 },
      { quanta: b, states: [0, 0], comment: 'say "x", y' },
    ],
  };
  const rows = csvOf([blend], true).trim().split('\n');
  assert.equal(rows[0].split('uncertainty')[1], ',v_up,v_lo,weight,comment');
  assert.deepEqual(rows.slice(1), ['1,0,1,0,0,0,3,,1,0,2,', '2,0,2,1,0,1,3,,0,0,,"say ""x"", y"']);
  assert.equal(roundedFrequency(12345.678912345, 0.01), 12345.6789);
  assert.equal(roundedFrequency(12345.678912345, 500), 12346);
});

test('assignments: undo, redo, kept by the browser, nothing twice', () => {
  const kept = new Map();
  const storage = {
    getItem: (k) => kept.get(k) ?? null,
    setItem: (k, v) => kept.set(k, v),
    removeItem: (k) => kept.delete(k),
  };
  const inFile = feature(10, [1, 0, 1, 0, 0, 0]);
  const list = new Assignment([inFile], storage, 'k');
  list.add(feature(20, [2, 0, 2, 1, 0, 1]));
  list.remove(list.features[0]);
  assert.deepEqual(
    list.features.map((f) => f.frequency),
    [20],
  );
  const again = new Assignment([inFile], storage, 'k');
  assert.deepEqual(
    again.features.map((f) => f.frequency),
    [20],
  );
  assert.equal(list.undo() && list.undo() && !list.undo(), true);
  assert.deepEqual(
    list.features.map((f) => f.frequency),
    [10],
  );
  assert.equal(kept.size, 0, 'nothing of it is left');
  assert.equal(list.redo() && list.redo() && !list.redo(), true);
  const saved = new Assignment([feature(20, [2, 0, 2, 1, 0, 1])], storage, 'k');
  assert.equal(saved.features.length, 1, 'what was saved is in the file now');
  for (const broken of [
    '{',
    '[]',
    '{"added":[{"frequency":"x"}],"removed":[]}',
    '{"added":[null],"removed":[]}',
  ]) {
    kept.set('k', broken);
    assert.equal(new Assignment([inFile], storage, 'k').features.length, 1, broken);
  }
});

test('addresses: a state comes back, nonsense does nothing', () => {
  const defaults = {
    gain: 1,
    held: null,
    temperature: 300,
    shape: 'gauss',
    width: 2,
    lorentzian: 2,
    widthUnit: 'MHz',
    sticks: true,
    bands: 'abc',
    mode: 'overlay',
    active: 0,
    selected: '',
    uncertainty: 0.1,
  };
  const state = {
    ...defaults,
    from: 0.1 + 0.2,
    to: 1e7 / 3,
    temperature: 12.5,
    shape: 'voigt',
    sticks: false,
    bands: '',
    mode: 'mirror',
    selected: '1.0.1.0.0.0,2.0.2.1.0.1',
    held: 3.25,
  };
  const spectra = [{ scale: -0.25, shift: 1.5, offset: 1e-3, isVisible: false }];
  const read = readFragment(`#${fragmentOf(state, spectra, defaults)}`);
  assert.deepEqual({ ...defaults, ...read.state }, state);
  assert.deepEqual(read.spectra, spectra);
  for (const nonsense of [
    '#',
    '#x',
    '#x=2,1',
    '#x=a,b',
    '#T=-3',
    '#T=NaN',
    '#shape=%E0%A4%A',
    '#s0=1,2',
    '#w=1e999',
    '#__proto__=1',
    '#s99999=1,1,1,1',
  ]) {
    assert.deepEqual(readFragment(nonsense), { state: {}, spectra: [] }, nonsense);
  }
  const [from, to] = soundWindow(1e6, 1e6);
  assert.ok(to > from && to - from < 1e-3);
});

test('quantum numbers as people type them', () => {
  for (const text of [
    '5 2 4 6 1 5',
    '5 2 4 - 6 1 5',
    '5,2,4,6,1,5',
    '5(2,4) <- 6(1,5)',
    '5_2_4 – 6_1_5',
  ]) {
    assert.deepEqual(quantaIn(text), [5, 2, 4, 6, 1, 5], text);
  }
  assert.deepEqual(quantaIn('5 2'), [5, 2]);
  for (const none of ['', 'a', '1 2 3 4 5 6 7', '1.5', '1e3'])
    assert.equal(quantaIn(none), null, none);
});
