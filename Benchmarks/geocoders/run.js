// Looks the points of a file up, one "latitude longitude" a line. Prints what it took on average in microseconds, and how
// many points ended in an exception: both stumble over remote places.
//   node run.js city-reverse-geocoder|offline-geocode-city POINTS
import { readFileSync } from 'node:fs'
import { createRequire } from 'node:module'

const looks_up = {
  'city-reverse-geocoder': async () => createRequire(import.meta.url)('city-reverse-geocoder'),
  'offline-geocode-city': async () => (await import('offline-geocode-city')).getNearestCity,
}

const [name, file] = process.argv.slice(2)
const points = readFileSync(file, 'utf8').trim().split('\n').map(line => line.split(' ').map(Number))
const look_up = await looks_up[name]()
look_up(48.8567, 2.3508) // some of them load their data now
const begin = process.hrtime.bigint()
let failed = 0
for (const [latitude, longitude] of points) {
  try {
    look_up(latitude, longitude)
  } catch {
    ++failed
  }
}
const microseconds = Number(process.hrtime.bigint() - begin) / 1000
console.log((microseconds / points.length).toFixed(2), failed)
