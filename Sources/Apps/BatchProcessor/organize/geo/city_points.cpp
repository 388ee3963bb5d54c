#include "organize/geo/city_points.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>
#include <utility>

#include "organize/geo/byte_reader.h"

namespace quill_box::organize {

namespace {

constexpr std::string_view magic = "QZXT";
constexpr std::uint32_t first_version_with_states = 2;
constexpr double radians = 0.017453292519943295;  // in a degree
constexpr double earth_radius = 6371.0;           // km
constexpr double reach = 50.0;                    // km
// The reach in degrees of latitude, and more than any rounding takes away.
constexpr double reach_in_degrees = reach / earth_radius / radians * 1.001;
// Nearer to the poles the degrees of longitude get too narrow for a limit to spare much.
constexpr double last_latitude_with_a_limit = 85.0;

double distance(double latitude, double longitude, double city_latitude, double city_longitude) {
  const double a = (city_latitude + latitude) * 0.5 * radians;
  const double c = std::cos(a);
  const double x = c * ((city_longitude - longitude) * radians);
  const double y = (city_latitude - latitude) * radians;
  return std::sqrt(y * y + x * x) * earth_radius;
}

std::size_t band_of(double latitude, std::size_t bands) {
  const double band = std::floor((latitude + 90.0) * 2.0);
  return static_cast<std::size_t>(std::clamp(band, 0.0, static_cast<double>(bands - 1)));
}

// How many degrees of longitude the reach is at most, for cities within the reach of the latitude.
double longitude_limit(double latitude) {
  const double furthest = std::abs(latitude) + reach_in_degrees;
  if (furthest > last_latitude_with_a_limit) return std::numeric_limits<double>::infinity();
  return reach_in_degrees / std::cos(furthest * radians) * 1.001;
}

}  // namespace

city_points::city_points(std::string content) : content_(std::move(content)) {
  byte_reader reader(content_);
  if (reader.bytes(magic.size()) != magic) return;
  const bool has_states = reader.number<std::uint32_t>() >= first_version_with_states;
  const auto count = reader.number<std::uint32_t>();
  constexpr std::size_t smallest_record = 2 * sizeof(double) + sizeof(std::uint16_t);
  cities_.reserve(std::min<std::size_t>(count, reader.rest() / smallest_record + 1));
  places_.reserve(cities_.capacity());
  for (std::uint32_t i = 0; i < count; ++i) {
    const auto latitude = reader.number<double>();
    const auto longitude = reader.number<double>();
    const std::string_view name = reader.string();
    add(latitude, longitude, {name, has_states ? reader.string() : std::string_view()});
    if (!reader.is_past_end()) continue;
    // A file cut short has only promised what follows: cities without a name at 0, 0. One stands for all of them.
    if (i + 1 < count) add(0, 0, {});
    break;
  }
  build_index();
}

void city_points::add(double latitude, double longitude, city names) {
  // What is nowhere is near to nothing.
  if (std::isfinite(latitude) && std::isfinite(longitude)) {
    places_.push_back({longitude, latitude, static_cast<std::uint32_t>(cities_.size())});
  }
  cities_.push_back(names);
}

void city_points::build_index() {
  std::vector<place> sorted(places_.size());
  for (const place& one : places_)
    ++band_starts_[band_of(one.latitude, bands) + 1];
  std::partial_sum(band_starts_.begin(), band_starts_.end(), band_starts_.begin());
  std::array<std::uint32_t, bands + 1> next = band_starts_;
  for (const place& one : places_)
    sorted[next[band_of(one.latitude, bands)]++] = one;
  places_.swap(sorted);
  for (std::size_t band = 0; band < bands; ++band) {
    std::sort(places_.begin() + band_starts_[band], places_.begin() + band_starts_[band + 1]);
  }
}

city_points::city city_points::nearest(double latitude, double longitude) const {
  if (!std::isfinite(latitude) || !std::isfinite(longitude)) return {};
  const double limit = longitude_limit(latitude);
  const std::size_t first_band = band_of(latitude - reach_in_degrees, bands);
  const std::size_t last_band = band_of(latitude + reach_in_degrees, bands);
  double best = reach;
  std::optional<std::uint32_t> found;
  for (std::size_t band = first_band; band <= last_band; ++band) {
    const auto end = places_.begin() + band_starts_[band + 1];
    const auto begin = std::lower_bound(places_.begin() + band_starts_[band], end, place{longitude - limit, 0, 0});
    for (auto one = begin; one != end && one->longitude <= longitude + limit; ++one) {
      const double d = distance(latitude, longitude, one->latitude, one->longitude);
      const bool is_earlier_at_the_same = found && d == best && one->number < *found;
      if (d < best || is_earlier_at_the_same) {
        best = d;
        found = one->number;
      }
    }
  }
  return found ? cities_[*found] : city{};
}

}  // namespace quill_box::organize
