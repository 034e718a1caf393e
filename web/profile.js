// Line shapes with a height of 1 in the centre, as functions of the distance from it.

const LN2 = Math.LN2;
const ROOT_LN2 = Math.sqrt(LN2);
const ROOT_PI = Math.sqrt(Math.PI);

/** exp(-4 ln2 (x / fwhm)^2). */
export function gauss(x, fwhm) {
  const u = x / fwhm;
  return Math.exp(-4 * LN2 * u * u);
}

/** 1 / (1 + 4 (x / fwhm)^2). */
export function lorentz(x, fwhm) {
  const u = x / fwhm;
  return 1 / (1 + 4 * u * u);
}

// Coefficients of the expansion of w(z) in powers of (L + iz) / (L - iz), N = 32 terms.
// Source: J. A. C. Weideman, SIAM J. Numer. Anal. 31, 1497 (1994).
const TERMS = 32;
const L = Math.sqrt(TERMS / Math.SQRT2);
const COEFFICIENTS = (() => {
  const M = 2 * TERMS;
  const a = new Float64Array(TERMS);
  for (let n = 1; n <= TERMS; ++n) {
    let sum = 0;
    for (let k = -M + 1; k < M; ++k) {
      const theta = (k * Math.PI) / M;
      const t = L * Math.tan(theta / 2);
      sum += Math.exp(-t * t) * (L * L + t * t) * Math.cos(n * theta);
    }
    a[n - 1] = sum / (2 * M);
  }
  return a;
})();

/** Real part of w(x + iy) = exp(-z^2) erfc(-iz), y >= 0; absolute error below 1e-11. */
export function faddeevaReal(x, y) {
  // Z = (L + iz) / (L - iz) with L - iz = (L + y) - ix
  const re = L + y;
  const norm = re * re + x * x;
  const numRe = L - y;
  const zRe = (numRe * re - x * x) / norm;
  const zIm = (x * re + numRe * x) / norm;
  let pRe = 0;
  let pIm = 0;
  for (let n = TERMS - 1; n >= 0; --n) {
    const t = pRe * zRe - pIm * zIm + COEFFICIENTS[n];
    pIm = pRe * zIm + pIm * zRe;
    pRe = t;
  }
  // w = 2 p / (L - iz)^2 + 1 / (sqrt(pi) (L - iz))
  const sqRe = re * re - x * x;
  const sqIm = -2 * re * x;
  return (2 * (pRe * sqRe + pIm * sqIm)) / (norm * norm) + re / (ROOT_PI * norm);
}

/** Voigt profile: the convolution of a Gaussian and a Lorentzian of these widths. */
export function voigt(x, gaussian, lorentzian) {
  if (!(gaussian > 0)) return lorentz(x, lorentzian);
  if (!(lorentzian > 0)) return gauss(x, gaussian);
  const unit = (2 * ROOT_LN2) / gaussian;
  const y = (lorentzian / 2) * unit;
  return faddeevaReal(Math.abs(x) * unit, y) / faddeevaReal(0, y);
}

// Where shapes become invisible: 1e-6 of the height, of Lorentzian wings 2.5e-5.
const GAUSS_REACH = 2.3;
const LORENTZ_REACH = 100;

/**
 * A line shape {kind, width, lorentzian}: its value at a distance, the distance beyond which it is
 * left out, and the narrower of its widths.
 */
export class Shape {
  constructor(kind, width, lorentzian = 0) {
    this.kind = kind;
    this.width = width;
    this.lorentzian = lorentzian;
  }

  at(x) {
    if (this.kind === 'lorentz') return lorentz(x, this.width);
    if (this.kind === 'voigt') return voigt(x, this.width, this.lorentzian);
    return gauss(x, this.width);
  }

  get reach() {
    const ofGauss = GAUSS_REACH * this.width;
    if (this.kind === 'lorentz') return LORENTZ_REACH * this.width;
    if (this.kind === 'voigt') return ofGauss + LORENTZ_REACH * this.lorentzian;
    return ofGauss;
  }

  /** Width of the whole at half height; of a Voigt profile by Olivero and Longbothum (1977). */
  get fwhm() {
    if (this.kind !== 'voigt') return this.width;
    const l = this.lorentzian;
    return 0.5346 * l + Math.sqrt(0.2166 * l * l + this.width * this.width);
  }
}
