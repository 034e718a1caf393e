// Observed minus calculated of the measured lines.

// Weights of the parts of a blend: as given, else by intensity, else equal.
function weightsOf(feature, lines, table) {
  const given = feature.transitions.map((t) => t.weight);
  if (given.every((w) => w > 0)) return given;
  const heights = lines.map((i) => table.base[i]);
  return heights.some((h) => h > 0) ? heights : lines.map(() => 1);
}

/**
 * One entry for each feature all of whose transitions are calculated lines:
 * {feature, line, lines, position, value, uncertainty, isNew}, with `line` the heaviest of `lines`,
 * `position` the weighted mean of theirs and `value` observed minus that.
 */
export function deviationsOf(features, table, twoStates) {
  const usual = twoStates ? '1,0' : '0,0';
  const deviations = [];
  for (const feature of features) {
    const lines = feature.transitions.map((t) =>
      t.states.join() === usual ? table.find(t.quanta) : -1,
    );
    if (lines.includes(-1)) continue;
    const weights = weightsOf(feature, lines, table);
    const all = weights.reduce((sum, w) => sum + w, 0);
    const position = lines.reduce((sum, i, k) => sum + table.position[i] * weights[k], 0) / all;
    const line = lines[weights.indexOf(Math.max(...weights))];
    const { frequency, uncertainty, isNew } = feature;
    deviations.push({
      feature,
      line,
      lines,
      position,
      value: frequency - position,
      uncertainty,
      isNew,
    });
  }
  return deviations;
}

/**
 * The observed value of each line, by its index: {frequency, uncertainty, isBlend}. Of a line that
 * was measured several times the mean with weights 1/uncertainty^2.
 */
export function observedOf(deviations) {
  const sums = new Map();
  for (const { feature, lines, uncertainty } of deviations) {
    const weight = uncertainty > 0 ? 1 / uncertainty ** 2 : 1e-40;
    for (const line of lines) {
      const sum = sums.get(line) ?? { weight: 0, weighted: 0, isBlend: false };
      sum.weight += weight;
      sum.weighted += weight * feature.frequency;
      sum.isBlend = sum.isBlend || lines.length > 1;
      sums.set(line, sum);
    }
  }
  const observed = new Map();
  for (const [line, { weight, weighted, isBlend }] of sums) {
    const uncertainty = weight > 1e-38 ? 1 / Math.sqrt(weight) : 0;
    observed.set(line, { frequency: weighted / weight, uncertainty, isBlend });
  }
  return observed;
}
