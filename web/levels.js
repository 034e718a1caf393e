// Quantum numbers of levels. Level J*J + rank; the ranks of a J are J(0,J), J(1,J), J(1,J-1), ...

/** J, Ka, Kc of the level with this index. */
export function labelOf(index) {
  let J = Math.floor(Math.sqrt(index));
  while (J * J > index) --J;
  while ((J + 1) * (J + 1) <= index) ++J;
  const rank = index - J * J;
  const Ka = (rank + 1) >> 1;
  return [J, Ka, J + Ka - rank];
}

/** Index of the level J, Ka, Kc; -1 when these name none. */
export function indexOf([J, Ka, Kc]) {
  const sum = Ka + Kc;
  const isLevel = Ka >= 0 && Kc >= 0 && Ka <= J && Kc <= J && (sum === J || sum === J + 1);
  return isLevel ? J * J + J + Ka - Kc : -1;
}

/** Place of the spin weight of a level: Ka Kc even-even, even-odd, odd-odd, odd-even. */
export function spinClassOf(index) {
  const [, Ka, Kc] = labelOf(index);
  return Ka % 2 === 0 ? Kc % 2 : 3 - (Kc % 2);
}

/** "5 2 4". */
export function levelText(index) {
  return labelOf(index).join(' ');
}
