// What the picture is drawn with: the same few strokes on a canvas or as a text in SVG.

const FONT_FAMILY = 'system-ui, sans-serif';

function number(value) {
  return Number(value.toFixed(2)).toString();
}

export class CanvasPainter {
  /** `ratio` device pixels make one pixel of the page. */
  constructor(context, width, height, ratio) {
    this.context = context;
    this.width = width;
    this.height = height;
    this.ratio = ratio;
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
  }

  /** Everything from here to the next region stays within this one. */
  region(x, y, width, height) {
    this.context.save();
    this.context.beginPath();
    this.context.rect(x, y, width, height);
    this.context.clip();
  }

  endRegion() {
    this.context.restore();
  }

  fill(x, y, width, height, color) {
    this.context.fillStyle = color;
    this.context.fillRect(x, y, width, height);
  }

  /** Upright strokes: x y0 y1 each, `width` wide, at least a pixel of the device high. */
  columns(strokes, color, width) {
    const { context, ratio } = this;
    const wide = Math.max(1, Math.round(width * ratio)) / ratio;
    context.fillStyle = color;
    for (let i = 0; i < strokes.length; i += 3) {
      const left = Math.round((strokes[i] - wide / 2) * ratio) / ratio;
      const top = Math.min(strokes[i + 1], strokes[i + 2]);
      context.fillRect(
        left,
        top,
        wide,
        Math.max(1 / ratio, Math.abs(strokes[i + 2] - strokes[i + 1])),
      );
    }
  }

  /** Separate strokes: x0 y0 x1 y1 each. */
  segments(points, color, width) {
    const { context } = this;
    context.strokeStyle = color;
    context.lineWidth = width;
    context.beginPath();
    for (let i = 0; i < points.length; i += 4) {
      context.moveTo(points[i], points[i + 1]);
      context.lineTo(points[i + 2], points[i + 3]);
    }
    context.stroke();
  }

  /** One line through x y x y ... */
  path(points, color, width) {
    const { context } = this;
    context.strokeStyle = color;
    context.lineWidth = width;
    context.lineJoin = 'round';
    context.beginPath();
    for (let i = 0; i < points.length; i += 2) context.lineTo(points[i], points[i + 1]);
    context.stroke();
  }

  circle(x, y, radius, color, isFilled) {
    const { context } = this;
    context.beginPath();
    context.arc(x, y, radius, 0, 2 * Math.PI);
    context.fillStyle = context.strokeStyle = color;
    context.lineWidth = 1.5;
    if (isFilled) context.fill();
    else context.stroke();
  }

  /** `align` is left, center or right; `turn` stands it upright. */
  text(x, y, text, color, { align = 'left', size = 12, turn = false } = {}) {
    const { context } = this;
    context.save();
    context.translate(x, y);
    if (turn) context.rotate(-Math.PI / 2);
    context.font = `${size}px ${FONT_FAMILY}`;
    context.fillStyle = color;
    context.textAlign = align;
    context.textBaseline = 'middle';
    context.fillText(text, 0, 0);
    context.restore();
  }

  textWidth(text, size = 12) {
    this.context.font = `${size}px ${FONT_FAMILY}`;
    return this.context.measureText(text).width;
  }
}

function escaped(text) {
  const names = { '&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;' };
  return text.replace(/[&<>"]/g, (c) => names[c]);
}

const SVG_ANCHORS = { left: 'start', center: 'middle', right: 'end' };

export class SvgPainter {
  /** `measure` is a painter that knows the widths of texts. */
  constructor(width, height, measure) {
    this.width = width;
    this.height = height;
    this.ratio = 1;
    this.measure = measure;
    this.parts = [];
    this.regions = 0;
  }

  region(x, y, width, height) {
    const id = `region${++this.regions}`;
    const at = `x="${number(x)}" y="${number(y)}"`;
    const size = `${at} width="${number(width)}" height="${number(height)}"`;
    this.parts.push(`<clipPath id="${id}"><rect ${size}/></clipPath><g clip-path="url(#${id})">`);
  }

  endRegion() {
    this.parts.push('</g>');
  }

  fill(x, y, width, height, color) {
    const size = `width="${number(width)}" height="${number(height)}"`;
    this.parts.push(`<rect x="${number(x)}" y="${number(y)}" ${size} fill="${color}"/>`);
  }

  stroke(d, color, width) {
    const style = `fill="none" stroke="${color}" stroke-width="${number(width)}"`;
    if (d) this.parts.push(`<path d="${d}" ${style} stroke-linejoin="round"/>`);
  }

  columns(strokes, color, width) {
    let d = '';
    for (let i = 0; i < strokes.length; i += 3) {
      const [x, y0, y1] = [0, 1, 2].map((k) => number(strokes[i + k]));
      d += `M${x} ${y0}V${y1}`;
    }
    this.stroke(d, color, width);
  }

  segments(points, color, width) {
    let d = '';
    for (let i = 0; i < points.length; i += 4) {
      const [x0, y0, x1, y1] = [0, 1, 2, 3].map((k) => number(points[i + k]));
      d += `M${x0} ${y0}L${x1} ${y1}`;
    }
    this.stroke(d, color, width);
  }

  path(points, color, width) {
    let d = '';
    for (let i = 0; i < points.length; i += 2) {
      d += `${i === 0 ? 'M' : 'L'}${number(points[i])} ${number(points[i + 1])}`;
    }
    this.stroke(d, color, width);
  }

  circle(x, y, radius, color, isFilled) {
    const paint = isFilled ? `fill="${color}"` : `fill="none" stroke="${color}" stroke-width="1.5"`;
    this.parts.push(`<circle cx="${number(x)}" cy="${number(y)}" r="${radius}" ${paint}/>`);
  }

  text(x, y, text, color, { align = 'left', size = 12, turn = false } = {}) {
    const at = `translate(${number(x)} ${number(y)})${turn ? ' rotate(-90)' : ''}`;
    const look = `font-size="${size}" fill="${color}" text-anchor="${SVG_ANCHORS[align]}"`;
    this.parts.push(
      `<text transform="${at}" ${look} dominant-baseline="central">${escaped(text)}</text>`,
    );
  }

  textWidth(text, size = 12) {
    return this.measure.textWidth(text, size);
  }

  toString() {
    const size = `width="${this.width}" height="${this.height}"`;
    return (
      `<svg xmlns="http://www.w3.org/2000/svg" ${size} viewBox="0 0 ${this.width} ${this.height}" ` +
      `font-family="${FONT_FAMILY}">\n${this.parts.join('\n')}\n</svg>\n`
    );
  }
}
