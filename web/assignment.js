// The list of measured lines: what the input's line file has and what was assigned on the page,
// with undo and redo, kept by the browser under the name of the input, written as a .csv line file.
//
// A feature is {frequency, uncertainty, transitions, isNew}; a transition
// {quanta: [J', Ka', Kc', J'', Ka'', Kc''], states: [v', v''], weight, comment}.

function identityOf(feature) {
  const lines = feature.transitions.map((t) => [...t.states, ...t.quanta].join('.'));
  return `${feature.frequency}|${lines.sort().join('|')}`;
}

// Browsers keep no secrets and may keep nothing at all.
function recall(storage, key) {
  try {
    const kept = JSON.parse(storage.getItem(key) ?? 'null');
    if (kept && Array.isArray(kept.added) && Array.isArray(kept.removed)) return kept;
  } catch {
    // as if there were nothing
  }
  return { added: [], removed: [] };
}

function isFeature(feature) {
  const isNumber = (x) => typeof x === 'number' && Number.isFinite(x);
  return (
    isNumber(feature?.frequency) &&
    isNumber(feature.uncertainty) &&
    Array.isArray(feature.transitions) &&
    feature.transitions.length > 0 &&
    feature.transitions.every(
      (t) => t.quanta?.length === 6 && t.states?.length === 2 && t.quanta.every(Number.isInteger),
    )
  );
}

export class Assignment {
  /** `fileFeatures` are those of the line file; `storage` is the local storage or null. */
  constructor(fileFeatures, storage, key) {
    this.file = fileFeatures.map((feature) => ({ ...feature, isNew: false }));
    this.storage = storage;
    this.key = key;
    const kept = storage ? recall(storage, key) : { added: [], removed: [] };
    const known = new Set(this.file.map(identityOf));
    const removed = new Set(kept.removed);
    const added = kept.added.filter((f) => isFeature(f) && !known.has(identityOf(f)));
    this.features = [
      ...this.file.filter((feature) => !removed.has(identityOf(feature))),
      ...added.map((feature) => ({ ...feature, isNew: true })),
    ];
    this.past = [];
    this.future = [];
    this.onChange = () => {};
  }

  replace(features) {
    this.past.push(this.features);
    this.future = [];
    this.features = features;
    this.keep();
  }

  add(feature) {
    this.replace([...this.features, { ...feature, isNew: true }]);
  }

  remove(feature) {
    this.replace(this.features.filter((other) => other !== feature));
  }

  get canUndo() {
    return this.past.length > 0;
  }

  get canRedo() {
    return this.future.length > 0;
  }

  undo() {
    if (!this.canUndo) return false;
    this.future.push(this.features);
    this.features = this.past.pop();
    this.keep();
    return true;
  }

  redo() {
    if (!this.canRedo) return false;
    this.past.push(this.features);
    this.features = this.future.pop();
    this.keep();
    return true;
  }

  keep() {
    const present = new Set(this.features);
    const added = this.features.filter((feature) => feature.isNew);
    const removed = this.file.filter((feature) => !present.has(feature)).map(identityOf);
    try {
      if (added.length + removed.length === 0) this.storage?.removeItem(this.key);
      else this.storage?.setItem(this.key, JSON.stringify({ added, removed }));
    } catch {
      // the list is still on the page
    }
    this.onChange();
  }
}

/** Digits that a frequency of this uncertainty deserves, and two more. */
export function roundedFrequency(frequency, uncertainty) {
  if (!(uncertainty > 0)) return frequency;
  const decimals = Math.ceil(2 - Math.log10(uncertainty));
  return Number(frequency.toFixed(Math.min(12, Math.max(0, decimals))));
}

// Features in an order in which no neighbours of equal frequency would be read as one blend; those
// for which there is no such place stand at the end.
function parted(features) {
  const order = [];
  const waiting = [];
  const clash = (a, b) => a !== undefined && b !== undefined && a.frequency === b.frequency;
  for (const feature of features) {
    if (clash(order[order.length - 1], feature)) waiting.push(feature);
    else order.push(feature);
  }
  for (const feature of waiting) {
    let place = 0;
    while (place <= order.length) {
      if (!clash(order[place - 1], feature) && !clash(order[place], feature)) break;
      ++place;
    }
    order.splice(place, 0, feature);
  }
  return order;
}

function csvWord(text) {
  const oneLine = text.replace(/[\r\n]+/g, ' ').trim();
  return /[",;#\t]/.test(oneLine) ? `"${oneLine.replace(/"/g, '""')}"` : oneLine;
}

/** The line file: quanta, frequency, uncertainty; v, weight and comment where there are any. */
export function csvOf(features, twoStates) {
  const all = features.flatMap((feature) => feature.transitions);
  const usual = twoStates ? '1,0' : '0,0';
  const columns = ['J_up', 'Ka_up', 'Kc_up', 'J_lo', 'Ka_lo', 'Kc_lo', 'frequency', 'uncertainty'];
  const hasStates = all.some((t) => t.states.join() !== usual);
  const hasWeights = all.some((t) => t.weight !== undefined);
  const hasComments = all.some((t) => t.comment);
  if (hasStates) columns.push('v_up', 'v_lo');
  if (hasWeights) columns.push('weight');
  if (hasComments) columns.push('comment');
  const rows = [columns.join(',')];
  for (const feature of parted(features)) {
    for (const t of feature.transitions) {
      const words = [...t.quanta, feature.frequency, feature.uncertainty || ''];
      if (hasStates) words.push(...t.states);
      if (hasWeights) words.push(t.weight ?? '');
      if (hasComments) words.push(csvWord(t.comment ?? ''));
      rows.push(words.join(','));
    }
  }
  return `${rows.join('\n')}\n`;
}
