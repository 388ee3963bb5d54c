#include "organize/geo/reverse_geocode.h"

#include <gtest/gtest.h>

#include <string>

#include "organize/geo/geo_bytes.h"
#include "support/simulated_machine.h"

namespace {

using namespace geo_bytes;
using quill_box::organize::forget_geo_tables;
using quill_box::organize::geo_place;
using quill_box::organize::reverse_geocode;

const std::wstring countries_path = LR"(C:\Program Files\Quill Box\Content\GeoData\countries.bin)";
const std::wstring cities_path = LR"(C:\Program Files\Quill Box\Content\GeoData\cities.bin)";

class reverse_geocode_test : public testing::Test {
 protected:
  reverse_geocode_test() { forget_geo_tables(); }
  ~reverse_geocode_test() override { forget_geo_tables(); }

  support::scoped_machine machine;
  const std::string countries = countries_file({country("C\xc3\xb4te", {square(0, 0, 10, 10)})});
  const std::string cities = cities_file({city(5, 5, "Citt\xc3\xa0", "\xc3\x85land")});
};

TEST_F(reverse_geocode_test, names_city_state_and_country) {
  machine.write_file(countries_path, countries);
  machine.write_file(cities_path, cities);
  EXPECT_EQ(reverse_geocode(5.1, 5.1), (geo_place{L"Citt\u00e0", L"\u00c5land", L"C\u00f4te"}));
  EXPECT_EQ(reverse_geocode(8, 8), (geo_place{L"", L"", L"C\u00f4te"}));
  EXPECT_EQ(reverse_geocode(-20, 0), geo_place());
}

TEST_F(reverse_geocode_test, a_city_near_the_coast_counts_also_out_at_sea) {
  machine.write_file(countries_path, countries_file({country("C", {square(0, 0, 5, 5)})}));
  machine.write_file(cities_path, cities);
  EXPECT_EQ(reverse_geocode(5.1, 5.1), (geo_place{L"Citt\u00e0", L"\u00c5land", L""}));
}

TEST_F(reverse_geocode_test, without_files_everything_is_empty) {
  EXPECT_EQ(reverse_geocode(5, 5), geo_place());
  EXPECT_TRUE(machine.log_lines().empty());
}

TEST_F(reverse_geocode_test, either_file_serves_without_the_other) {
  machine.write_file(cities_path, cities);
  EXPECT_EQ(reverse_geocode(5, 5), (geo_place{L"Citt\u00e0", L"\u00c5land", L""}));
  forget_geo_tables();
  machine.write_file(cities_path, "foreign");
  machine.write_file(countries_path, countries);
  EXPECT_EQ(reverse_geocode(5, 5), (geo_place{L"", L"", L"C\u00f4te"}));
}

TEST_F(reverse_geocode_test, a_file_that_appears_later_is_not_seen) {
  EXPECT_EQ(reverse_geocode(5, 5), geo_place());
  machine.write_file(cities_path, cities);
  EXPECT_EQ(reverse_geocode(5, 5), geo_place());
}

TEST_F(reverse_geocode_test, the_files_are_read_once) {
  machine.write_file(countries_path, countries);
  machine.write_file(cities_path, cities);
  static_cast<void>(reverse_geocode(5, 5));
  const std::size_t opened = machine.calls.count("open");
  static_cast<void>(reverse_geocode(6, 6));
  EXPECT_EQ(opened, 2U);
  EXPECT_EQ(machine.calls.count("open"), opened);
}

}  // namespace
