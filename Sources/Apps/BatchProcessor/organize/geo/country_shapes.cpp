#include "organize/geo/country_shapes.h"

#include <algorithm>
#include <limits>
#include <span>

namespace quill_box::organize {

namespace {

constexpr std::string_view magic = "QZXC";
constexpr std::size_t edges_in_a_stretch = 64;

}  // namespace

country_shapes::country_shapes(byte_reader&& reader) {
  if (reader.bytes(magic.size()) != magic) return;
  static_cast<void>(reader.number<std::uint32_t>());  // the version, which changes nothing here
  const auto count = reader.number<std::uint32_t>();
  // A file cut short may have two points more than it holds.
  points_.reserve(reader.rest() / sizeof(point) + 2);
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
  if (count == 0) return;
  const auto start = static_cast<std::uint32_t>(points_.size());
  const auto there = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, reader.rest() / sizeof(point)));
  points_.resize(start + there);
  reader.copy_to(std::as_writable_bytes(std::span(points_).subspan(start)));
  if (there < count) {
    // The first point that isn't there whole, and a zero one for all others: edges between equal points never count.
    const auto longitude = reader.number<double>();
    points_.push_back({longitude, reader.number<double>()});
    if (there + 1 < count) points_.push_back({0, 0});
  }
  add_ring(start);
}

void country_shapes::add_ring(std::uint32_t start) {
  // What is no number counts in neither: an edge to it is never a crossing.
  constexpr latitudes nothing = {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
  const auto end = static_cast<std::uint32_t>(points_.size());
  ring next = {end - 1, static_cast<std::uint32_t>(stretches_.size()), 0, nothing};
  double before = points_.back().latitude;
  for (std::uint32_t first = start; first < end; first += edges_in_a_stretch) {
    const std::uint32_t last = std::min<std::uint32_t>(end, first + edges_in_a_stretch);
    latitudes range = nothing;
    range.take_in(before);
    for (std::uint32_t i = first; i < last; ++i)
      range.take_in(points_[i].latitude);
    before = points_[last - 1].latitude;
    stretches_.push_back({first, last, range});
    next.range.take_in(range.lowest);
    next.range.take_in(range.highest);
  }
  next.last_stretch = static_cast<std::uint32_t>(stretches_.size());
  rings_.push_back(next);
}

bool country_shapes::is_in_ring(const ring& outline, double latitude, double longitude) const {
  bool inside = false;
  const point* before = &points_[outline.last_point];
  for (std::uint32_t number = outline.first_stretch; number < outline.last_stretch; ++number) {
    const stretch& part = stretches_[number];
    const point* const last = &points_[part.last - 1];
    if (part.range.part_at(latitude)) {
      const point* j = before;
      for (const point* i = &points_[part.first]; i <= last; j = i++) {
        if ((i->latitude > latitude) == (j->latitude > latitude)) continue;
        const double t =
            (j->longitude - i->longitude) * (latitude - i->latitude) / (j->latitude - i->latitude) + i->longitude;
        if (longitude < t) inside = !inside;
      }
    }
    before = last;
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
