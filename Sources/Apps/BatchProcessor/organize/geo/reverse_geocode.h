// Names for a position, from the two geo files beside the executable.
#pragma once

#include <string>

#include "organize/geo/city_points.h"
#include "organize/geo/country_shapes.h"

namespace quill_box::organize {

/// Any may be empty.
struct geo_place {
  std::wstring city;
  std::wstring state;
  std::wstring country;

  bool operator==(const geo_place&) const = default;
};

struct geo_tables {
  country_shapes countries;
  city_points cities;
};

/// Read from Content/GeoData on first use and kept to the end of the process. A file that is missing or foreign gives
/// an empty table.
[[nodiscard]] const geo_tables& geo_tables_instance();

/// Degrees, north and east positive. The country whose outline holds the point, and the nearest city within 50 km,
/// whatever its country. Never fails.
[[nodiscard]] geo_place reverse_geocode(double latitude, double longitude);

/// Has the next geo_tables_instance() read the files again. For tests, each of which has a machine of its own.
void forget_geo_tables();

}  // namespace quill_box::organize
