// The outlines of the countries, and which of them holds a point.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "organize/geo/byte_reader.h"

namespace quill_box::organize {

/// countries.bin, all numbers little-endian, packed:
///
///   "QZXC", version (32 bits, not used), country count (32 bits), and for each country
///     name            16-bit length, UTF-8
///     bounding box    doubles in degrees: western, southern, eastern, northern edge
///     ring count      32 bits, and for each ring
///       point count   32 bits
///       points        doubles: longitude, latitude
///
/// A ring is closed by itself. A country's rings combine by exclusive or: a lake is a ring within a ring.
class country_shapes {
 public:
  country_shapes() = default;
  /// From the content of the file: no countries in a foreign one, and of one that is cut short what is there.
  explicit country_shapes(byte_reader&& reader);
  explicit country_shapes(std::string_view content) : country_shapes(byte_reader(content)) {}

  [[nodiscard]] std::size_t size() const { return countries_.size(); }

  /// The name of the first country in the file that holds the point; empty for none. Bit for bit the even-odd rule
  /// over all edges in their order, with the edges left out that can't count.
  [[nodiscard]] std::string_view country_at(double latitude, double longitude) const;

 private:
  struct point {
    double longitude;
    double latitude;
  };
  struct latitudes {
    double lowest;
    double highest;
    void take_in(double latitude) {
      lowest = std::min(lowest, latitude);
      highest = std::max(highest, latitude);
    }
    /// Whether an edge within can have its ends on both sides.
    [[nodiscard]] bool part_at(double latitude) const { return lowest <= latitude && latitude < highest; }
  };
  /// The edges to each of the points first to last - 1 from the one before it.
  struct stretch {
    std::uint32_t first;
    std::uint32_t last;
    latitudes range;
  };
  struct ring {
    std::uint32_t last_point;  ///< the one before the first
    std::uint32_t first_stretch;
    std::uint32_t last_stretch;
    latitudes range;
  };
  struct country {
    std::string name;
    double min_longitude;
    double min_latitude;
    double max_longitude;
    double max_latitude;
    std::uint32_t first_ring;
    std::uint32_t last_ring;
  };

  void read_country(byte_reader& reader);
  void read_ring(byte_reader& reader);
  void add_ring(std::uint32_t start);
  [[nodiscard]] bool is_in_ring(const ring& outline, double latitude, double longitude) const;
  [[nodiscard]] bool is_in(const country& land, double latitude, double longitude) const;

  std::vector<point> points_;  ///< of all rings
  std::vector<stretch> stretches_;
  std::vector<ring> rings_;
  std::vector<country> countries_;
};

}  // namespace quill_box::organize
