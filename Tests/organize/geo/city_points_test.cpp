#include "organize/geo/city_points.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "organize/geo/geo_bytes.h"

namespace {

using namespace geo_bytes;
using quill_box::organize::city_points;

// A degree of latitude has 111.19 km.
constexpr double degrees_of_km(double km) { return km / 111.19492664455873; }

std::string nearest(const city_points& cities, double latitude, double longitude) {
  const auto found = cities.nearest(latitude, longitude);
  return std::string(found.name) + "|" + std::string(found.state);
}

TEST(city_points, the_nearest_wins_whichever_comes_first) {
  const std::string far = city(degrees_of_km(49.9), 0, "Far", "F");
  const std::string near = city(-degrees_of_km(10), 0, "Near", "N");
  EXPECT_EQ(nearest(city_points(cities_file({far, near})), 0, 0), "Near|N");
  EXPECT_EQ(nearest(city_points(cities_file({near, far})), 0, 0), "Near|N");
  EXPECT_EQ(nearest(city_points(cities_file({far})), 0, 0), "Far|F");
}

TEST(city_points, none_within_50_km_is_none) {
  EXPECT_EQ(nearest(city_points(cities_file({city(degrees_of_km(50.001), 0, "C", "S")})), 0, 0), "|");
  EXPECT_EQ(nearest(city_points(cities_file({})), 0, 0), "|");
}

TEST(city_points, one_at_exactly_50_km_is_none) {
  const double D = 0.017453292519943295;
  const auto distance = [D](double degrees) { return std::sqrt((degrees * D) * (degrees * D)) * 6371.0; };
  double latitude = degrees_of_km(49.9999999999);
  while (distance(latitude) < 50.0)
    latitude = std::nextafter(latitude, 1.0);
  ASSERT_EQ(distance(latitude), 50.0);
  EXPECT_EQ(nearest(city_points(cities_file({city(latitude, 0, "C", "")})), 0, 0), "|");
  double nearer = latitude;
  while (distance(nearer) == 50.0)
    nearer = std::nextafter(nearer, 0.0);
  EXPECT_EQ(nearest(city_points(cities_file({city(nearer, 0, "C", "")})), 0, 0), "C|");
}

TEST(city_points, of_two_at_the_same_distance_the_earlier_stays) {
  const std::string north = city(0.1, 0, "North", "");
  const std::string south = city(-0.1, 0, "South", "");
  EXPECT_EQ(nearest(city_points(cities_file({north, south})), 0, 0), "North|");
  EXPECT_EQ(nearest(city_points(cities_file({south, north})), 0, 0), "South|");
}

TEST(city_points, version_1_has_no_states) {
  const std::string record = number(1.0) + number(2.0) + text("A");
  const std::string second = number(3.0) + number(4.0) + text("B");
  const city_points cities(file("QZXT", 1, {record, second}));
  EXPECT_EQ(nearest(cities, 1, 2), "A|");
  EXPECT_EQ(nearest(cities, 3, 4), "B|");
}

TEST(city_points, later_versions_have_states) {
  EXPECT_EQ(nearest(city_points(file("QZXT", 9, {city(1, 2, "A", "S")})), 1, 2), "A|S");
}

TEST(city_points, a_foreign_file_has_no_cities) {
  const std::string good = cities_file({city(0, 0, "A", "S")});
  for (std::size_t i = 0; i < 4; ++i) {
    std::string foreign = good;
    foreign[i] = 'x';
    EXPECT_EQ(city_points(foreign).size(), 0U) << i;
  }
}

TEST(city_points, a_file_cut_in_its_head_has_no_cities) {
  const std::string head = cities_file({city(0, 0, "A", "S")}).substr(0, 12);
  for (std::size_t size = 0; size < head.size(); ++size)
    EXPECT_EQ(city_points(head.substr(0, size)).size(), 0U) << size;
}

TEST(city_points, zero_is_a_position_like_any_other) {
  EXPECT_EQ(nearest(city_points(cities_file({city(0.1, 0.1, "Null", "Island")})), 0, 0), "Null|Island");
}

TEST(city_points, the_180th_meridian_parts) {
  const city_points cities(cities_file({city(0, 179.99, "East", "")}));
  EXPECT_EQ(nearest(cities, 0, 179.98), "East|");
  EXPECT_EQ(nearest(cities, 0, -179.99), "|");
}

// The plain scan, as the rule is described.
struct plain_city {
  double latitude;
  double longitude;
  std::string names;
};

std::string plain_nearest(const std::vector<plain_city>& cities, double latitude, double longitude) {
  const double D = 0.017453292519943295;
  double best = 50.0;
  std::string found = "|";
  for (const plain_city& one : cities) {
    const double a = (one.latitude + latitude) * 0.5 * D;
    const double c = std::cos(a);
    const double x = c * ((one.longitude - longitude) * D);
    const double y = (one.latitude - latitude) * D;
    const double d = std::sqrt(y * y + x * x) * 6371.0;
    if (d < best) {
      best = d;
      found = one.names;
    }
  }
  return found;
}

TEST(city_points, gives_what_the_plain_scan_gives) {
  std::minstd_rand random(3);
  const std::vector<std::pair<double, double>> centres = {{0, 0},     {45, 7},    {-33.9, 151}, {64, -21}, {84.8, 30},
                                                          {89.9, 10}, {-90, 100}, {12, 179.9},  {90, 0},   {120, 5}};
  for (const auto& [latitude, longitude] : centres) {
    std::uniform_real_distribution<double> offset(-1.5, 1.5);
    std::vector<std::string> records;
    std::vector<plain_city> plain;
    for (int i = 0; i < 400; ++i) {
      // Every fourth stands where another one does.
      const bool twin = i % 4 == 3;
      const plain_city next = {twin ? plain[random() % plain.size()].latitude : latitude + offset(random),
                               twin ? plain.back().longitude : longitude + 3 * offset(random), std::to_string(i) + "|"};
      plain.push_back(next);
      records.push_back(city(next.latitude, next.longitude, std::to_string(i), ""));
    }
    const city_points cities(cities_file(records));
    for (int query = 0; query < 500; ++query) {
      const double at = latitude + offset(random);
      const double along = longitude + 3 * offset(random);
      ASSERT_EQ(nearest(cities, at, along), plain_nearest(plain, at, along)) << at << ", " << along;
    }
    for (const plain_city& one : plain)
      ASSERT_EQ(nearest(cities, one.latitude, one.longitude), plain_nearest(plain, one.latitude, one.longitude));
  }
}

// The plain reading: behind the end all numbers are zero and all names empty.
std::vector<plain_city> plain_cities(std::string_view bytes) {
  const auto take = [&bytes](std::size_t size) {
    std::string field(bytes.substr(0, size));
    bytes.remove_prefix(field.size());
    if (field.size() < size) field = std::string(size, '\0');
    return field;
  };
  const auto take_number = [&take](auto number) {
    std::memcpy(&number, take(sizeof number).data(), sizeof number);
    return number;
  };
  const auto take_name = [&] {
    const auto size = take_number(std::uint16_t{});
    return size > bytes.size() ? (bytes = {}, std::string()) : take(size);
  };
  static_cast<void>(take(8));
  std::vector<plain_city> cities(take_number(std::uint32_t{}));
  for (plain_city& one : cities) {
    one.latitude = take_number(0.0);
    one.longitude = take_number(0.0);
    one.names = take_name() + "|";
    one.names += take_name();
  }
  return cities;
}

TEST(city_points, cut_at_every_byte_gives_what_the_plain_scan_gives) {
  const std::string whole =
      cities_file({city(10, 10, "First", "S"), city(0.3, 0.3, "Second", "T"), city(30, 30, "Third", "U")});
  for (std::size_t size = 12; size <= whole.size(); ++size) {
    const std::string bytes = whole.substr(0, size);
    const city_points cities(bytes);
    const auto plain = plain_cities(bytes);
    for (const double at : {0.0, 0.1, 0.2, 0.3, 10.0, 30.0}) {
      ASSERT_EQ(nearest(cities, at, at), plain_nearest(plain, at, at)) << size << ": " << at;
    }
  }
}

TEST(city_points, what_a_cut_file_promised_stands_nameless_at_zero) {
  // Nearer to the query than the city that has a name.
  const std::string bytes = file("QZXT", 2, {city(0.3, 0, "Named", "S")});
  std::string cut = bytes;
  cut.replace(8, 4, number(std::uint32_t{2}));
  EXPECT_EQ(nearest(city_points(bytes), 0.1, 0), "Named|S");
  EXPECT_EQ(nearest(city_points(cut), 0.1, 0), "|");
}

TEST(city_points, counts_that_lie_order_no_memory) {
  EXPECT_LE(city_points("QZXT" + number(2) + number(std::uint32_t{0xffffffff})).size(), 2U);
}

TEST(city_points, a_place_or_a_question_that_is_no_number_finds_nothing) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const city_points cities(cities_file({city(nan, 0, "A", ""), city(0, infinity, "B", ""), city(0.1, 0, "C", "")}));
  EXPECT_EQ(nearest(cities, 0, 0), "C|");
  EXPECT_EQ(nearest(cities, nan, 0), "|");
  EXPECT_EQ(nearest(cities, 0, -infinity), "|");
  EXPECT_EQ(nearest(cities, 1e300, 1e300), "|");
}

}  // namespace
