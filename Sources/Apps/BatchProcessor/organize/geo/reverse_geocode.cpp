#include "organize/geo/reverse_geocode.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>

#include "files/content_folder.h"
#include "organize/geo/byte_reader.h"
#include "platform/machine.h"
#include "text/conversions.h"
#include "text/paths.h"

namespace quill_box::organize {

namespace {

// Far beyond any geo data that ships.
constexpr std::uint64_t largest_file = std::uint64_t{1} << 30;

// Empty where the file can't be opened.
template <class Table>
Table table_from(std::wstring_view name) {
  const std::wstring path = paths::join(paths::join(files::content_folder(), L"GeoData"), name);
  const auto file = platform::current().files.open(path, {platform::access::read, platform::share::all});
  if (!file) return Table();
  const auto size = (*file)->size();
  if (!size || *size > largest_file) return Table();
  return Table(byte_reader(**file, *size));
}

std::mutex tables_lock;
std::unique_ptr<const geo_tables> tables;

}  // namespace

const geo_tables& geo_tables_instance() {
  const std::lock_guard guard(tables_lock);
  if (!tables) {
    tables.reset(new geo_tables{table_from<country_shapes>(L"countries.bin"), table_from<city_points>(L"cities.bin")});
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
