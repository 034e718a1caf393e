// What the user has chosen, and its form in the address, so that a view can be bookmarked:
//
//     #x=4026.5,7635905&T=300&shape=voigt&w=10&sel=1.1.1.2.0.2

const SHAPES = ['none', 'gauss', 'lorentz', 'voigt'];
export const MODES = ['overlay', 'above', 'mirror'];
export const MHZ_PER_WAVENUMBER = 29979.2458;

const numberWord = (text) =>
  text.trim() !== '' && Number.isFinite(Number(text)) ? Number(text) : undefined;
const positive = (text) => (numberWord(text) > 0 ? Number(text) : undefined);
const notNegative = (text) => (numberWord(text) >= 0 ? Number(text) : undefined);
const oneOf = (words) => (text) => (words.includes(text) ? text : undefined);
const yes = (text) => ({ 1: true, 0: false })[text];
const written = (value) => (value === true ? '1' : value === false ? '0' : String(value));

// Name in the address, name here, reading of a text (undefined: not usable).
const ENTRIES = [
  ['g', 'gain', positive],
  ['hold', 'held', positive],
  ['T', 'temperature', notNegative],
  ['shape', 'shape', oneOf(SHAPES)],
  ['w', 'width', positive],
  ['wl', 'lorentzian', positive],
  ['wu', 'widthUnit', oneOf(['MHz', 'cm-1'])],
  ['sticks', 'sticks', yes],
  ['bands', 'bands', (text) => (/^a?b?c?$/.test(text) ? text : undefined)],
  ['mode', 'mode', oneOf(MODES)],
  ['m', 'active', notNegative],
  ['sel', 'selected', (text) => (/^[\d.,]*$/.test(text) ? text : undefined)],
  ['u', 'uncertainty', positive],
];

const SPECTRUM_ENTRIES = ['scale', 'shift', 'offset'];

/** The part of the address behind #: what differs from `defaults`. */
export function fragmentOf(state, spectra, defaults) {
  const words = [`x=${state.from},${state.to}`];
  for (const [name, key] of ENTRIES) {
    if (state[key] !== defaults[key] && state[key] !== null) {
      words.push(`${name}=${encodeURIComponent(written(state[key]))}`);
    }
  }
  spectra.forEach((spectrum, k) => {
    const numbers = SPECTRUM_ENTRIES.map((entry) => spectrum[entry]);
    words.push(`s${k}=${[...numbers, spectrum.isVisible ? 1 : 0].join(',')}`);
  });
  return words.join('&');
}

/** What a fragment says; words that say nothing usable are passed over. */
export function readFragment(fragment) {
  const state = {};
  const spectra = [];
  for (const word of fragment.replace(/^#/, '').split('&')) {
    const equal = word.indexOf('=');
    if (equal < 0) continue;
    const name = word.slice(0, equal);
    let text = word.slice(equal + 1);
    try {
      text = decodeURIComponent(text);
    } catch {
      continue;
    }
    const entry = ENTRIES.find((row) => row[0] === name);
    const numbers = text.split(',').map(numberWord);
    if (entry) {
      const value = entry[2](text);
      if (value !== undefined) state[entry[1]] = value;
    } else if (name === 'x' && numbers.length === 2 && numbers[0] < numbers[1]) {
      [state.from, state.to] = numbers;
    } else if (/^s\d{1,3}$/.test(name) && numbers.length === 4 && !numbers.includes(undefined)) {
      const [scale, shift, offset, visible] = numbers;
      spectra[Number(name.slice(1))] = { scale, shift, offset, isVisible: visible !== 0 };
    }
  }
  return { state, spectra };
}

/** A window moved and stretched so that it can be drawn: not narrower than numbers can tell. */
export function soundWindow(from, to) {
  const centre = (from + to) / 2;
  const least = Math.max(1e-6, Math.abs(centre) * 1e-11);
  const half = Math.min(1e15, Math.max(least, (to - from) / 2));
  return [centre - half, centre + half];
}

/** A round number for the width of lines: a two thousandth of the window, at least 1e-6. */
export function usualWidth(from, to) {
  const width = Math.max((to - from) / 2000, 1e-6);
  return Number(width.toPrecision(1));
}
