// The outlines of the countries (Natural Earth, 1:10 million), and behind them a strip of sea along each coast.
//
// The outlines are coarser than a pier or a beach, so that many a photo from the shore lies in the sea by them. The
// strip gives such a photo its country: cells of a tenth of a degree that a coast crosses and those next to them, as
// records of their own at the end of the file, where they are asked only when no outline holds the point.
import { createRequire } from 'node:module';
import { feature } from 'topojson-client';

import { doubles, text, u32 } from './binary.js';
import { short_names } from './country_names.js';

const cells_in_a_degree = 10;

function rings_of(geometry) {
  if (!geometry) return [];
  return (geometry.type === 'Polygon' ? [geometry.coordinates] : geometry.coordinates).flat();
}

function record(name, rings) {
  const box = [Infinity, Infinity, -Infinity, -Infinity];
  for (const [longitude, latitude] of rings.flat()) {
    box[0] = Math.min(box[0], longitude);
    box[1] = Math.min(box[1], latitude);
    box[2] = Math.max(box[2], longitude);
    box[3] = Math.max(box[3], latitude);
  }
  return Buffer.concat([text(name), doubles(box), u32(rings.length),
                        ...rings.flatMap(ring => [u32(ring.length), doubles(ring.flat())])]);
}

const columns = 360 * cells_in_a_degree;
const rows = 180 * cells_in_a_degree;
const column_of = longitude => Math.min(columns - 1, Math.max(0, Math.floor((longitude + 180) * cells_in_a_degree)));
const row_of = latitude => Math.min(rows - 1, Math.max(0, Math.floor((latitude + 90) * cells_in_a_degree)));

// The country of each cell that an outline crosses, by row * columns + column. Where two cross it the first stays.
function crossed_cells(countries) {
  const cells = new Map();
  for (const { name, rings } of countries) {
    for (const ring of rings) {
      for (let i = 1; i < ring.length; ++i) {
        const [x0, y0] = ring[i - 1], [x1, y1] = ring[i];
        const steps = Math.ceil(Math.max(Math.abs(x1 - x0), Math.abs(y1 - y0)) * cells_in_a_degree * 2) + 1;
        for (let step = 0; step <= steps; ++step) {
          const cell = row_of(y0 + (y1 - y0) * step / steps) * columns + column_of(x0 + (x1 - x0) * step / steps);
          if (!cells.has(cell)) cells.set(cell, name);
        }
      }
    }
  }
  return cells;
}

function with_neighbours(cells) {
  const wider = new Map(cells);
  for (const [cell, name] of cells) {
    const row = Math.floor(cell / columns), column = cell % columns;
    for (let r = Math.max(0, row - 1); r <= Math.min(rows - 1, row + 1); ++r) {
      for (let c = Math.max(0, column - 1); c <= Math.min(columns - 1, column + 1); ++c) {
        if (!wider.has(r * columns + c)) wider.set(r * columns + c, name);
      }
    }
  }
  return wider;
}

// Cells in one row beside each other become one ring. Rings of one country never overlap: they would cancel out.
function strips(cells) {
  const by_name = new Map();
  const sorted = [...cells.keys()].sort((a, b) => a - b);
  for (let i = 0; i < sorted.length;) {
    const name = cells.get(sorted[i]);
    let end = i + 1;
    while (end < sorted.length && sorted[end] === sorted[end - 1] + 1 && sorted[end] % columns !== 0 &&
           cells.get(sorted[end]) === name) ++end;
    const west = sorted[i] % columns / cells_in_a_degree - 180;
    const east = (sorted[end - 1] % columns + 1) / cells_in_a_degree - 180;
    const south = Math.floor(sorted[i] / columns) / cells_in_a_degree - 90;
    const north = south + 1 / cells_in_a_degree;
    if (!by_name.has(name)) by_name.set(name, []);
    by_name.get(name).push([[west, south], [east, south], [east, north], [west, north]]);
    i = end;
  }
  return by_name;
}

export function countries_file() {
  const world = createRequire(import.meta.url)('world-atlas/countries-10m.json');
  const countries = feature(world, world.objects.countries).features.map(({ properties, geometry }) => ({
    name: short_names[properties.name] ?? properties.name,
    // The first point comes again at the end of each ring, which the format doesn't need.
    rings: rings_of(geometry).map(ring => ring.slice(0, -1)),
    closed_rings: rings_of(geometry),
  }));
  const records = countries.map(({ name, rings }) => record(name, rings));
  const shore = with_neighbours(crossed_cells(countries.map(one => ({ name: one.name, rings: one.closed_rings }))));
  for (const [name, rings] of strips(shore)) records.push(record(name, rings));
  return Buffer.concat([Buffer.from('QZXC'), u32(1), u32(records.length), ...records]);
}
