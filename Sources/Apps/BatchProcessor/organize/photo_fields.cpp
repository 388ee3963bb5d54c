#include "organize/photo_fields.h"

#include <optional>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "metadata/file_metadata_store.h"
#include "organize/geo/reverse_geocode.h"
#include "platform/machine.h"
#include "platform/property_keys.h"
#include "text/format.h"
#include "text/letter_case.h"
#include "text/paths.h"

namespace quill_box::organize {

using metadata::file_metadata_store;
using metadata::people_region;
using platform::file_time;
using platform::property_key;

namespace {

// A path that begins with a slash is none of a file system that has streams.
std::wstring_view without_stream(std::wstring_view path) {
  const std::wstring_view root = paths::root(path);
  if (root.empty() || root.front() == L'/') return path;
  const std::wstring_view name = paths::file_name(path);
  const std::size_t colon = name.find(L':');
  return colon == std::wstring_view::npos ? path : path.substr(0, path.size() - name.size() + colon);
}

template <class T>
std::optional<T> value_of(const file_metadata_store& store, const property_key& key) {
  auto value = store.get_value(key);
  T* held = value ? std::get_if<T>(&*value) : nullptr;
  return held != nullptr ? std::optional<T>(std::move(*held)) : std::nullopt;
}

std::optional<std::wstring> local_day(file_time time) {
  const auto local = platform::current().clock.to_local_with_current_bias(time);
  if (!local) return std::nullopt;
  return text::format(L"{:04}-{:02}-{:02}", local->year, local->month, local->day);
}

std::optional<std::wstring> day_taken(const file_metadata_store& store) {
  const auto taken = value_of<platform::time_value>(store, platform::date_taken_key);
  return taken ? local_day(taken->time) : std::nullopt;
}

std::wstring day_created(const std::wstring& path) {
  const auto facts = platform::current().files.facts(path);
  return facts ? local_day(facts->created).value_or(L"") : L"";
}

struct axis_keys {
  property_key decimal;
  property_key parts;
  property_key reference;
};
constexpr axis_keys latitude_keys = {platform::latitude_decimal_key, platform::latitude_key,
                                     platform::latitude_ref_key};
constexpr axis_keys longitude_keys = {platform::longitude_decimal_key, platform::longitude_key,
                                      platform::longitude_ref_key};

std::optional<double> decimal_from_parts(const file_metadata_store& store, const axis_keys& keys) {
  const auto parts = value_of<std::vector<double>>(store, keys.parts);
  const auto reference = value_of<std::wstring>(store, keys.reference);
  if (!parts || parts->size() < 3 || !reference) return std::nullopt;
  const double degrees = (*parts)[1] / 60.0 + (*parts)[0] + (*parts)[2] / 3600.0;
  const bool is_negative = text::equal_ignoring_case(*reference, L"S") || text::equal_ignoring_case(*reference, L"W");
  return is_negative ? -degrees : degrees;
}

void set_place(photo_fields& fields, const file_metadata_store& store) {
  std::optional<double> latitude = value_of<double>(store, latitude_keys.decimal);
  std::optional<double> longitude = value_of<double>(store, longitude_keys.decimal);
  if (!latitude) latitude = decimal_from_parts(store, latitude_keys);
  if (!longitude) longitude = decimal_from_parts(store, longitude_keys);
  if (!latitude || !longitude) return;
  geo_place place = reverse_geocode(*latitude, *longitude);
  for (const std::wstring& part : {place.city, place.state, place.country}) {
    if (part.empty()) continue;
    if (!fields.location.empty()) fields.location += L", ";
    fields.location += part;
  }
  fields.city = std::move(place.city);
  fields.state = std::move(place.state);
  fields.country = std::move(place.country);
}

std::wstring people_on(const std::wstring& path) {
  std::vector<std::wstring> names;
  for (people_region& region : file_metadata_store(path).get_people_regions()) {
    if (!region.name.empty()) names.push_back(std::move(region.name));
  }
  return join_people(names);
}

}  // namespace

photo_fields read_photo_fields(const std::wstring& path) {
  photo_fields fields;
  const std::wstring_view named = without_stream(path);
  fields.stem = paths::stem(named);
  fields.extension = paths::extension(named);
  file_metadata_store store;
  const bool is_open = store.open_for_read(path, metadata::read_speed::fast);
  const std::optional<std::wstring> taken = is_open ? day_taken(store) : std::nullopt;
  fields.date = taken ? *taken : day_created(path);
  if (is_open) set_place(fields, store);
  fields.people = people_on(path);
  return fields;
}

}  // namespace quill_box::organize
