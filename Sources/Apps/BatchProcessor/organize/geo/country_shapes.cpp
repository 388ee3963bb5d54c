#include "organize/geo/country_shapes.h"

#include <algorithm>
#include <limits>

namespace quill_box::organize {

namespace {

constexpr std::string_view magic = "QZXC";
constexpr std::size_t edges_in_a_stretch = 64;
constexpr std::size_t bytes_of_a_point = 2 * sizeof(double);

}  // namespace

country_shapes::country_shapes(std::string_view content) {
  byte_reader reader(content);
  if (reader.bytes(magic.size()) != magic) return;
  static_cast<void>(reader.number<std::uint32_t>());  // the version, which changes nothing here
  const auto count = reader.number<std::uint32_t>();
  points_.reserve(content.size() / bytes_of_a_point + 1);
  // Records that a file cut short only promises have no rings: no point is in them.
  for (std::uint32_t i = 0; i < count && !reader.is_past_end(); ++i)
    read_country(reader);
}

void country_shapes::read_country(byte_reader& reader) {
  country next = {};
  next.name = reader.string();
  next.min_longitude = reader.number<double>();
  next.min_latitude = reader.number<double>();
  next.max_longitude = reader.number<double>();
  next.max_latitude = reader.number<double>();
  const auto count = reader.number<std::uint32_t>();
  next.first_ring = static_cast<std::uint32_t>(rings_.size());
  for (std::uint32_t i = 0; i < count && !reader.is_past_end(); ++i)
    read_ring(reader);
  next.last_ring = static_cast<std::uint32_t>(rings_.size());
  countries_.push_back(std::move(next));
}

void country_shapes::read_ring(byte_reader& reader) {
  const auto count = reader.number<std::uint32_t>();
  const auto there = static_cast<std::uint32_t>(std::min<std::size_t>(count, reader.rest() / bytes_of_a_point));
  if (count == 0) return;
  const auto start = static_cast<std::uint32_t>(points_.size());
  points_.push_back({});
  for (std::uint32_t i = 0; i < there; ++i) {
    const auto longitude = reader.number<double>();
    points_.push_back({longitude, reader.number<double>()});
  }
  if (there < count) {
    // The first point that isn't there whole, and a zero one for all others: edges between equal points never count.
    const auto longitude = reader.number<double>();
    points_.push_back({longitude, reader.number<double>()});
    if (there + 1 < count) points_.push_back({0, 0});
  }
  points_[start] = points_.back();

  // What is no number counts in neither: an edge to it is never a crossing.
  constexpr latitudes nothing = {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
  const auto end = static_cast<std::uint32_t>(points_.size() - 1);
  ring next = {static_cast<std::uint32_t>(stretches_.size()), 0, nothing};
  for (std::uint32_t first = start; first < end; first += edges_in_a_stretch) {
    const std::uint32_t last = std::min<std::uint32_t>(end, first + edges_in_a_stretch);
    latitudes range = nothing;
    for (std::uint32_t i = first; i <= last; ++i) {
      range.lowest = std::min(range.lowest, points_[i].latitude);
      range.highest = std::max(range.highest, points_[i].latitude);
    }
    stretches_.push_back({first, last, range});
    next.range.lowest = std::min(next.range.lowest, range.lowest);
    next.range.highest = std::max(next.range.highest, range.highest);
  }
  next.last_stretch = static_cast<std::uint32_t>(stretches_.size());
  rings_.push_back(next);
}

bool country_shapes::is_in_ring(const ring& outline, double latitude, double longitude) const {
  bool inside = false;
  for (std::uint32_t number = outline.first_stretch; number < outline.last_stretch; ++number) {
    const stretch& part = stretches_[number];
    if (!part.range.part_at(latitude)) continue;
    for (std::uint32_t edge = part.first; edge < part.last; ++edge) {
      const point& j = points_[edge];
      const point& i = points_[edge + 1];
      if ((i.latitude > latitude) == (j.latitude > latitude)) continue;
      const double t = (j.longitude - i.longitude) * (latitude - i.latitude) / (j.latitude - i.latitude) + i.longitude;
      if (longitude < t) inside = !inside;
    }
  }
  return inside;
}

bool country_shapes::is_in(const country& land, double latitude, double longitude) const {
  if (longitude < land.min_longitude || longitude > land.max_longitude) return false;
  if (latitude < land.min_latitude || latitude > land.max_latitude) return false;
  bool inside = false;
  for (std::uint32_t number = land.first_ring; number < land.last_ring; ++number) {
    const ring& outline = rings_[number];
    if (outline.range.part_at(latitude) && is_in_ring(outline, latitude, longitude)) inside = !inside;
  }
  return inside;
}

std::string_view country_shapes::country_at(double latitude, double longitude) const {
  const auto found = std::find_if(countries_.begin(), countries_.end(),
                                  [=, this](const country& land) { return is_in(land, latitude, longitude); });
  return found == countries_.end() ? std::string_view() : found->name;
}

}  // namespace quill_box::organize
