// Sticks convolved with a line shape, on the points of a uniform grid.

import { lowerBound } from './pyramid.js';

// The most products of lines and points that are summed one by one within a frame.
const MOST_PRODUCTS = 400000;

/** In-place complex Fourier transform; the length is a power of 2. */
export class Fourier {
  constructor(length) {
    this.length = length;
    this.cos = new Float64Array(length / 2);
    this.sin = new Float64Array(length / 2);
    for (let i = 0; i < length / 2; ++i) {
      this.cos[i] = Math.cos((2 * Math.PI * i) / length);
      this.sin[i] = Math.sin((2 * Math.PI * i) / length);
    }
  }

  transform(re, im) {
    const { length, cos, sin } = this;
    for (let i = 1, j = 0; i < length; ++i) {
      let bit = length >> 1;
      for (; j & bit; bit >>= 1) j ^= bit;
      j ^= bit;
      if (i < j) {
        [re[i], re[j]] = [re[j], re[i]];
        [im[i], im[j]] = [im[j], im[i]];
      }
    }
    for (let half = 1; half < length; half <<= 1) {
      const step = length / (2 * half);
      for (let start = 0; start < length; start += 2 * half) {
        for (let k = 0; k < half; ++k) {
          const a = start + k;
          const b = a + half;
          const c = cos[k * step];
          const s = sin[k * step];
          const tRe = re[b] * c + im[b] * s;
          const tIm = im[b] * c - re[b] * s;
          re[b] = re[a] - tRe;
          im[b] = im[a] - tIm;
          re[a] += tRe;
          im[a] += tIm;
        }
      }
    }
  }
}

let lastFourier = null;
function fourierOf(length) {
  if (!lastFourier || lastFourier.length !== length) lastFourier = new Fourier(length);
  return lastFourier;
}

/** Sums every line at every point within reach. */
export function sumDirectly(grid, lines, first, end, shape) {
  const { start, step, count } = grid;
  const out = new Float64Array(count);
  const { position, intensity } = lines;
  for (let i = first; i < end; ++i) {
    const height = intensity[i];
    if (height === 0) continue;
    const at = position[i];
    const from = Math.max(0, Math.ceil((at - shape.reach - start) / step));
    const to = Math.min(count - 1, Math.floor((at + shape.reach - start) / step));
    for (let k = from; k <= to; ++k) out[k] += height * shape.at(start + k * step - at);
  }
  return out;
}

/**
 * Moves every line to the points next to it and convolves these: two thirds of a step apart at
 * most, where a width has eight steps within 1 % of the height.
 */
export function sumOnGrid(grid, lines, first, end, shape) {
  const { start, step, count } = grid;
  const pad = Math.min(Math.ceil(shape.reach / step), count);
  let length = 1;
  while (length < count + 2 * pad) length <<= 1;
  const re = new Float64Array(length);
  const im = new Float64Array(length);
  const { position, intensity } = lines;
  const isFine = shape.fwhm > 2 * step; // else a line is sharper than the grid and stays one point
  for (let i = first; i < end; ++i) {
    const place = (position[i] - start) / step + pad;
    const left = Math.floor(place);
    if (left < 0 || left >= count + 2 * pad - 1) continue;
    const part = place - left;
    if (isFine) {
      re[left] += (1 - part) * intensity[i];
      re[left + 1] += part * intensity[i];
    } else {
      re[part < 0.5 ? left : left + 1] += intensity[i];
    }
  }
  // the shape as the imaginary part: being even, it has a real transform
  for (let k = 0; k <= pad && k < length / 2; ++k) {
    const value = shape.at(k * step);
    im[k] = value;
    if (k > 0) im[length - k] = value;
  }
  const fourier = fourierOf(length);
  fourier.transform(re, im);
  const outRe = new Float64Array(length);
  const outIm = new Float64Array(length);
  for (let k = 0; k < length; ++k) {
    const m = (length - k) & (length - 1);
    const lineRe = (re[k] + re[m]) / 2;
    const lineIm = (im[k] - im[m]) / 2;
    const shapeRe = (im[k] + im[m]) / 2;
    outRe[k] = lineRe * shapeRe;
    outIm[k] = -lineIm * shapeRe; // conjugate: forward again instead of backward
  }
  fourier.transform(outRe, outIm);
  return outRe.subarray(pad, pad + count).map((value) => Math.max(0, value / length));
}

/** Intensity over the points start + k step, k < count; lines have their height as intensity. */
export function convolve(grid, lines, shape) {
  const from = grid.start - shape.reach;
  const to = grid.start + (grid.count - 1) * grid.step + shape.reach;
  const first = lowerBound(lines.position, from);
  const end = lowerBound(lines.position, to, first);
  const reached = Math.min(grid.count, (2 * shape.reach) / grid.step + 1);
  const isCheap = (end - first) * reached <= MOST_PRODUCTS;
  return (isCheap ? sumDirectly : sumOnGrid)(grid, lines, first, end, shape);
}

/** Points for each pixel of a shape that is several pixels wide, and of one that is narrower. */
export const SMOOTH_PARTS = 2;
const MOST_PARTS = 16;
const POINTS_PER_WIDTH = 8;

/** The grid for a window that is `pixels` wide: fine enough for the shape, if it can be seen. */
export function gridFor(from, to, pixels, shape) {
  const pixel = (to - from) / pixels;
  const needed = Math.ceil((POINTS_PER_WIDTH * pixel) / shape.fwhm);
  const parts = Math.min(MOST_PARTS, Math.max(SMOOTH_PARTS, needed));
  return { start: from, step: pixel / parts, count: pixels * parts + 1, parts };
}
