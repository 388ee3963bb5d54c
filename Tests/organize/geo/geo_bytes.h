// Geo files for tests, byte by byte.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace geo_bytes {

template <class Number>
std::string number(Number value) {
  std::string bytes(sizeof value, '\0');
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

inline std::string text(std::string_view utf8) { return number(static_cast<std::uint16_t>(utf8.size())).append(utf8); }

/// Longitude and latitude.
using outline = std::vector<std::pair<double, double>>;

inline outline square(double west, double south, double east, double north) {
  return {{west, south}, {east, south}, {east, north}, {west, north}};
}

/// With the box of all rings.
inline std::string country(std::string_view name, const std::vector<outline>& rings) {
  double box[4] = {180, 90, -180, -90};
  std::string shape = number(static_cast<std::uint32_t>(rings.size()));
  for (const outline& ring : rings) {
    shape += number(static_cast<std::uint32_t>(ring.size()));
    for (const auto& [longitude, latitude] : ring) {
      shape += number(longitude) + number(latitude);
      box[0] = std::min(box[0], longitude);
      box[1] = std::min(box[1], latitude);
      box[2] = std::max(box[2], longitude);
      box[3] = std::max(box[3], latitude);
    }
  }
  return text(name) + number(box[0]) + number(box[1]) + number(box[2]) + number(box[3]) + shape;
}

inline std::string file(std::string_view magic, std::uint32_t version, const std::vector<std::string>& records) {
  std::string bytes = std::string(magic) + number(version) + number(static_cast<std::uint32_t>(records.size()));
  for (const std::string& record : records)
    bytes += record;
  return bytes;
}

inline std::string countries_file(const std::vector<std::string>& countries) { return file("QZXC", 1, countries); }

inline std::string city(double latitude, double longitude, std::string_view name, std::string_view state) {
  return number(latitude) + number(longitude) + text(name) + text(state);
}

inline std::string cities_file(const std::vector<std::string>& cities) { return file("QZXT", 2, cities); }

}  // namespace geo_bytes
