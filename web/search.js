// Search by quantum numbers.

/** Whole numbers of a text like "5 2 4 - 6 1 5"; null when there are none or other words. */
export function quantaIn(text) {
  const words = text
    .replace(/[-–,;<←|()_\u2212]+/g, ' ')
    .trim()
    .split(/\s+/);
  if (words.length === 0 || words.length > 6 || !words.every((w) => /^\d{1,3}$/.test(w)))
    return null;
  return words.map(Number);
}

/**
 * Index of the next line behind `after`, round the end, whose quantum numbers begin with `quanta`
 * (J' Ka' Kc' J'' Ka'' Kc''); of three numbers the lower level may have them as well. -1 for none.
 */
export function findLine(table, quanta, after = -1) {
  if (quanta.length === 6) return table.find(quanta);
  const begins = (numbers, offset) => quanta.every((q, i) => numbers[offset + i] === q);
  for (let step = 1; step <= table.size; ++step) {
    const i = (after + step + table.size) % table.size;
    const numbers = table.quantaOf(i);
    if (begins(numbers, 0) || (quanta.length <= 3 && begins(numbers, 3))) return i;
  }
  return -1;
}
