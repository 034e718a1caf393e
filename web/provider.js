// Where lines come from. A provider has one method,
//
//     async linesOf(model) -> LineTable
//
// which takes the model ({temperature, ...}) and gives the lines of it. The one of the page knows
// the constants that the page was made with and follows the temperature alone; one that calculates
// may follow every constant.

import { LineTable } from './lines.js';
import { readArray } from './data.js';

export class EmbeddedProvider {
  constructor(document, meta) {
    const lowerEnergy = readArray(document, 'lower-energy');
    this.table = new LineTable(meta, {
      lowerEnergy,
      upperEnergy: readArray(document, 'upper-energy') ?? lowerEnergy,
      lower: readArray(document, 'line-lower'),
      upper: readArray(document, 'line-upper'),
      strength: readArray(document, 'line-strength'),
      listed: readArray(document, 'line-intensity'),
      band: readArray(document, 'line-band'),
      position: readArray(document, 'line-position'),
      sd: readArray(document, 'line-sd'),
    });
  }

  async linesOf(model) {
    this.table.setTemperature(model.temperature);
    return this.table;
  }
}
