// The cities, and which of them is nearest to a point.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quill_box::organize {

/// cities.bin, all numbers little-endian, packed:
///
///   "QZXT", version (32 bits), city count (32 bits), and for each city
///     latitude, longitude   doubles in degrees
///     name                  16-bit length, UTF-8
///     state                 the same; from version 2 on
class city_points {
 public:
  struct city {
    std::string_view name;
    std::string_view state;
  };

  /// From the content of the file: no cities in a foreign one, and of one that is cut short what is there.
  explicit city_points(std::string content = {});
  city_points(const city_points&) = delete;
  city_points& operator=(const city_points&) = delete;

  [[nodiscard]] std::size_t size() const { return cities_.size(); }

  /// The nearest city within 50 km, the first in the file of those at the same distance; two empty names for none.
  /// Bit for bit the scan over all cities, with those left out that are too far north, south, east or west.
  [[nodiscard]] city nearest(double latitude, double longitude) const;

 private:
  struct place {
    double longitude;
    double latitude;
    std::uint32_t number;  ///< in the file
    bool operator<(const place& other) const { return longitude < other.longitude; }
  };
  static constexpr std::size_t bands = 360;  ///< of half a degree of latitude each, from the south

  void add(double latitude, double longitude, city names);
  void build_index();

  std::string content_;
  std::vector<city> cities_;   ///< views of content_
  std::vector<place> places_;  ///< band by band, west to east in each
  std::array<std::uint32_t, bands + 1> band_starts_ = {};
};

}  // namespace quill_box::organize
