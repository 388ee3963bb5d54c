#include "organize/geo/reverse_geocode.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>

#include "files/content_folder.h"
#include "files/file_functions.h"
#include "text/conversions.h"
#include "text/paths.h"

namespace quill_box::organize {

namespace {

// Far beyond any geo data that ships.
constexpr std::uint64_t largest_file = std::uint64_t{1} << 30;

std::string content_of(std::wstring_view name) {
  const std::wstring folder = paths::join(files::content_folder(), L"GeoData");
  return files::read_whole_file(paths::join(folder, name), largest_file).value_or("");
}

std::mutex tables_lock;
std::unique_ptr<const geo_tables> tables;

}  // namespace

const geo_tables& geo_tables_instance() {
  const std::lock_guard guard(tables_lock);
  if (!tables) {
    tables.reset(new geo_tables{country_shapes(content_of(L"countries.bin")), city_points(content_of(L"cities.bin"))});
  }
  return *tables;
}

geo_place reverse_geocode(double latitude, double longitude) {
  const geo_tables& known = geo_tables_instance();
  const city_points::city city = known.cities.nearest(latitude, longitude);
  return {text::wide_from_utf8(city.name), text::wide_from_utf8(city.state),
          text::wide_from_utf8(known.countries.country_at(latitude, longitude))};
}

void forget_geo_tables() {
  const std::lock_guard guard(tables_lock);
  tables.reset();
}

}  // namespace quill_box::organize
