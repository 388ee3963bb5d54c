// Writes countries.bin and cities.bin into the program's Content/GeoData. Run by a person when the data are renewed:
//
//     cd Tools/geo_data && npm ci && npm run build
import { writeFileSync } from 'node:fs';

import { cities_file } from './cities.js';
import { countries_file } from './countries.js';

const folder = new URL('../../Sources/Apps/BatchProcessor/Content/GeoData/', import.meta.url);
for (const [name, content] of [['countries.bin', countries_file()], ['cities.bin', cities_file()]]) {
  writeFileSync(new URL(name, folder), content);
  console.log(`${name}: ${content.length} bytes`);
}
