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

constexpr double cells_in_a_degree = 2;
constexpr std::size_t rows = 360;
constexpr std::size_t columns = 720;

// What is beyond the last cell belongs to it.
std::size_t cell_at(double degrees, std::size_t cells) {
  return static_cast<std::size_t>(
      std::clamp(std::floor(degrees * cells_in_a_degree), 0.0, static_cast<double>(cells - 1)));
}

std::size_t row_of(double latitude) { return cell_at(latitude + 90, rows); }
std::size_t column_of(double longitude) { return cell_at(longitude + 180, columns); }

// How many degrees of longitude the reach is at most, for cities within the reach of the latitude.
double longitude_limit(double latitude) {
  const double furthest = std::abs(latitude) + reach_in_degrees;
  if (furthest > last_latitude_with_a_limit) return std::numeric_limits<double>::infinity();
  return reach_in_degrees / std::cos(furthest * radians) * 1.001;
}

}  // namespace

city_points::city_points(byte_reader&& reader) {
  if (reader.bytes(magic.size()) != magic) return;
  const bool has_states = reader.number<std::uint32_t>() >= first_version_with_states;
  const auto count = reader.number<std::uint32_t>();
  constexpr std::size_t smallest_record = 2 * sizeof(double) + sizeof(std::uint16_t);
  places_.reserve(std::min<std::uint64_t>(count, reader.rest() / smallest_record + 1));
  for (; size_ < count && !reader.is_past_end(); ++size_) {
    const auto latitude = reader.number<double>();
    add(latitude, reader.number<double>());
    add_name(reader.string());
    add_name(has_states ? reader.string() : std::string_view());
  }
  // A file cut short has only promised what follows: cities without a name at 0, 0. One stands for all of them.
  if (size_ < count) {
    add(0, 0);
    add_name({});
    add_name({});
    ++size_;
  }
  build_index();
}

void city_points::add(double latitude, double longitude) {
  // What is nowhere is near to nothing.
  if (!std::isfinite(latitude) || !std::isfinite(longitude)) return;
  places_.push_back({longitude, latitude, static_cast<std::uint32_t>(names_.size())});
}

void city_points::add_name(std::string_view name) {
  const auto length = static_cast<std::uint16_t>(name.size());
  names_.push_back(static_cast<char>(length & 0xff));
  names_.push_back(static_cast<char>(length >> 8));
  names_.append(name);
}

city_points::city city_points::names_at(std::uint32_t start) const {
  byte_reader reader(std::string_view(names_).substr(start));
  const std::string_view name = reader.string();
  return {name, reader.string()};
}

void city_points::build_index() {
  const auto cell_of = [](const place& one) { return row_of(one.latitude) * columns + column_of(one.longitude); };
  cell_starts_.resize(rows * columns + 1);
  for (const place& one : places_)
    ++cell_starts_[cell_of(one)];
  // Now the ends; each place that is put in its cell from the end on moves that towards the start.
  std::partial_sum(cell_starts_.begin(), cell_starts_.end(), cell_starts_.begin());
  std::vector<place> sorted(places_.size());
  for (const place& one : places_)
    sorted[--cell_starts_[cell_of(one)]] = one;
  places_.swap(sorted);
}

std::span<const city_points::place> city_points::places_in(std::size_t row, std::size_t first_column,
                                                           std::size_t last_column) const {
  const std::uint32_t start = cell_starts_[row * columns + first_column];
  return std::span(places_).subspan(start, cell_starts_[row * columns + last_column + 1] - start);
}

city_points::city city_points::nearest(double latitude, double longitude) const {
  if (places_.empty() || !std::isfinite(latitude) || !std::isfinite(longitude)) return {};
  const double limit = longitude_limit(latitude);
  const std::size_t first_column = column_of(longitude - limit);
  const std::size_t last_column = column_of(longitude + limit);
  const std::size_t last_row = row_of(latitude + reach_in_degrees);
  double best = reach;
  std::optional<std::uint32_t> found;
  for (std::size_t row = row_of(latitude - reach_in_degrees); row <= last_row; ++row) {
    for (const place& one : places_in(row, first_column, last_column)) {
      if (std::abs(one.longitude - longitude) > limit) continue;
      const double d = distance(latitude, longitude, one.latitude, one.longitude);
      const bool is_earlier_at_the_same = found && d == best && one.names < *found;
      if (d < best || is_earlier_at_the_same) {
        best = d;
        found = one.names;
      }
    }
  }
  return found ? names_at(*found) : city{};
}

}  // namespace quill_box::organize
