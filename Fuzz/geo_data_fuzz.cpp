// The two geo files: a position (latitude and longitude as doubles), then any bytes as either file.
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "organize/geo/city_points.h"
#include "organize/geo/country_shapes.h"
#include "support/allocation_faults.h"

namespace {

// What the tables may take at a time for each byte of a file, and for an empty one: the cells of the cities' index.
constexpr std::size_t most_for_a_byte = 16;
constexpr std::size_t most_for_nothing = std::size_t{2} << 20;

void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quill_box::organize;
  std::array<double, 2> position = {};
  if (size < sizeof position) return 0;
  std::memcpy(position.data(), data, sizeof position);
  const auto [latitude, longitude] = position;
  const std::string_view content(reinterpret_cast<const char*>(data) + sizeof position, size - sizeof position);

  // A larger allocation fails, and with it the target: counts in a file may lie.
  const support::allocation_fault too_much(1, content.size() * most_for_a_byte + most_for_nothing);
  const country_shapes countries(content);
  const std::string_view country = countries.country_at(latitude, longitude);
  require(content.find(country) != std::string_view::npos);
  require(country.empty() || countries.size() > 0);

  const city_points cities(content);
  const city_points::city city = cities.nearest(latitude, longitude);
  require(content.find(city.name) != std::string_view::npos);
  require(content.find(city.state) != std::string_view::npos);
  require(city.name.empty() || (std::isfinite(latitude) && std::isfinite(longitude)));
  return 0;
}
