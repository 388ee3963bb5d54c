// The cities, and which of them is nearest to a point.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "organize/geo/byte_reader.h"

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

  city_points() = default;
  /// From the content of the file: no cities in a foreign one, and of one that is cut short what is there.
  explicit city_points(byte_reader&& reader);
  explicit city_points(std::string_view content) : city_points(byte_reader(content)) {}
  city_points(const city_points&) = delete;
  city_points& operator=(const city_points&) = delete;

  [[nodiscard]] std::size_t size() const { return size_; }

  /// The nearest city within 50 km, the first in the file of those at the same distance; two empty names for none.
  /// Bit for bit the scan over all cities, with those left out that are too far north, south, east or west.
  [[nodiscard]] city nearest(double latitude, double longitude) const;

 private:
  struct place {
    double longitude;
    double latitude;
    std::uint32_t names;  ///< where they start in names_: the larger, the later in the file
  };
  void add(double latitude, double longitude);
  void add_name(std::string_view name);
  void build_index();
  [[nodiscard]] std::span<const place> places_in(std::size_t row, std::size_t first_column,
                                                 std::size_t last_column) const;
  [[nodiscard]] city names_at(std::uint32_t start) const;

  std::size_t size_ = 0;
  std::string names_;          ///< name and state of each city as in the file: a 16-bit length, UTF-8
  std::vector<place> places_;  ///< cell by cell
  /// Cells of half a degree, row by row from the south, in each row from the west; one more than there are.
  std::vector<std::uint32_t> cell_starts_;
};

}  // namespace quill_box::organize
