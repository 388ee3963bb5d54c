// The geo data that ship with the program: their format, and whether they say what people would say.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "organize/geo/city_points.h"
#include "organize/geo/country_shapes.h"
#include "organize/geo/well_known_points.h"

namespace {

using quill_box::organize::city_points;
using quill_box::organize::country_shapes;

std::string shipped(const std::string& name) {
  std::ifstream file(std::string(SHIPPED_CONTENT) + "/GeoData/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

const country_shapes& countries() {
  static const country_shapes loaded(shipped("countries.bin"));
  return loaded;
}

const city_points& cities() {
  static const city_points loaded(shipped("cities.bin"));
  return loaded;
}

TEST(geo_data, have_the_whole_world) {
  EXPECT_GT(countries().size(), 240U);
  EXPECT_GT(cities().size(), 100'000U);
}

TEST(geo_data, name_well_known_places_as_people_do) {
  int right_cities = 0;
  int right_countries = 0;
  std::string wrong;
  for (const geo_test::well_known_point& point : geo_test::well_known_points) {
    const std::string city(cities().nearest(point.latitude, point.longitude).name);
    const std::string country(countries().country_at(point.latitude, point.longitude));
    right_cities += city == point.city ? 1 : 0;
    right_countries += country == point.country ? 1 : 0;
    if (city != point.city || country != point.country) {
      wrong += std::string(point.place) + ": " + city + ", " + country + "\n";
    }
  }
  EXPECT_GE(right_cities, 90) << wrong;
  EXPECT_GE(right_countries, 98) << wrong;
}

TEST(geo_data, cities_have_their_states) {
  EXPECT_EQ(cities().nearest(37.7749, -122.4194).state, "California");
  EXPECT_EQ(cities().nearest(48.1374, 11.5755).state, "Bavaria");
}

TEST(geo_data, a_photo_from_the_shore_has_its_country) {
  EXPECT_EQ(countries().country_at(36.3932, 25.4500), "Greece");       // a boat off Santorini
  EXPECT_EQ(countries().country_at(-33.8200, 151.3300), "Australia");  // off Sydney's beaches
  EXPECT_EQ(countries().country_at(0, -30), "");                       // the Atlantic
}

}  // namespace
