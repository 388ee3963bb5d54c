#include "organize/geo/country_shapes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "organize/geo/geo_bytes.h"

namespace {

using namespace geo_bytes;
using quill_box::organize::country_shapes;

TEST(country_shapes, a_point_belongs_to_the_outline_around_it) {
  const country_shapes shapes(
      countries_file({country("West", {square(0, 0, 10, 10)}), country("East", {square(10, 0, 20, 10)})}));
  EXPECT_EQ(shapes.size(), 2U);
  EXPECT_EQ(shapes.country_at(5, 5), "West");
  EXPECT_EQ(shapes.country_at(5, 15), "East");
  EXPECT_EQ(shapes.country_at(5, 25), "");
  EXPECT_EQ(shapes.country_at(11, 5), "");
}

TEST(country_shapes, a_shared_border_belongs_to_the_first_whose_test_says_inside) {
  const std::string west = country("West", {square(0, 0, 10, 10)});
  const std::string east = country("East", {square(10, 0, 20, 10)});
  // At longitude 10 the western square's own edge isn't to the right of the point.
  EXPECT_EQ(country_shapes(countries_file({west, east})).country_at(5, 10), "East");
  EXPECT_EQ(country_shapes(countries_file({east, west})).country_at(5, 10), "East");
  EXPECT_EQ(country_shapes(countries_file({west, west})).country_at(5, 0), "West");
}

TEST(country_shapes, of_two_that_overlap_the_first_has_the_point) {
  const country_shapes shapes(
      countries_file({country("First", {square(0, 0, 10, 10)}), country("Second", {square(0, 0, 20, 20)})}));
  EXPECT_EQ(shapes.country_at(5, 5), "First");
  EXPECT_EQ(shapes.country_at(15, 15), "Second");
}

TEST(country_shapes, a_ring_within_a_ring_is_a_hole_that_a_later_country_may_fill) {
  const std::string outer = country("Outer", {square(0, 0, 10, 10), square(4, 4, 6, 6)});
  EXPECT_EQ(country_shapes(countries_file({outer})).country_at(5, 5), "");
  EXPECT_EQ(country_shapes(countries_file({outer})).country_at(5, 3), "Outer");
  const std::string inner = country("Inner", {square(4, 4, 6, 6)});
  EXPECT_EQ(country_shapes(countries_file({outer, inner})).country_at(5, 5), "Inner");
}

TEST(country_shapes, islands_belong_to_their_country) {
  const country_shapes shapes(countries_file({country("Isles", {square(0, 0, 1, 1), square(5, 5, 6, 6)})}));
  EXPECT_EQ(shapes.country_at(0.5, 0.5), "Isles");
  EXPECT_EQ(shapes.country_at(5.5, 5.5), "Isles");
  EXPECT_EQ(shapes.country_at(3, 3), "");
}

TEST(country_shapes, a_repeated_first_point_changes_nothing) {
  outline closed = square(0, 0, 10, 10);
  closed.push_back(closed.front());
  EXPECT_EQ(country_shapes(countries_file({country("C", {closed})})).country_at(5, 5), "C");
}

TEST(country_shapes, the_box_comes_first) {
  std::string record = country("C", {square(0, 0, 10, 10)});
  // The eastern edge of the box moves to 5.
  record.replace(2 + 1 + 16, 8, number(5.0));
  const country_shapes shapes(countries_file({record}));
  EXPECT_EQ(shapes.country_at(5, 5), "C");
  EXPECT_EQ(shapes.country_at(5, 5.1), "");
}

TEST(country_shapes, the_longest_name_is_taken) {
  const std::string name(65535, 'n');
  EXPECT_EQ(country_shapes(countries_file({country(name, {square(0, 0, 1, 1)})})).country_at(0.5, 0.5), name);
}

TEST(country_shapes, a_foreign_file_has_no_countries) {
  const std::string good = countries_file({country("C", {square(0, 0, 10, 10)})});
  for (std::size_t i = 0; i < 4; ++i) {
    std::string foreign = good;
    foreign[i] = 'x';
    EXPECT_EQ(country_shapes(foreign).size(), 0U) << i;
  }
}

TEST(country_shapes, a_file_cut_in_its_head_has_no_countries) {
  const std::string head = countries_file({country("C", {square(0, 0, 10, 10)})}).substr(0, 12);
  for (std::size_t size = 0; size < head.size(); ++size)
    EXPECT_EQ(country_shapes(head.substr(0, size)).size(), 0U) << size;
}

TEST(country_shapes, any_version_is_taken) {
  EXPECT_EQ(country_shapes(file("QZXC", 77, {country("C", {square(0, 0, 1, 1)})})).country_at(0.5, 0.5), "C");
}

// The plain reading and the plain scan, as the formats are described.
struct plain_country {
  std::string name;
  double box[4] = {};
  std::vector<outline> rings;
};

class plain_reader {
 public:
  explicit plain_reader(std::string_view bytes) : rest_(bytes) {}
  template <class Number>
  Number take() {
    Number value = 0;
    if (rest_.size() < sizeof value) {
      rest_ = {};
    } else {
      std::memcpy(&value, rest_.data(), sizeof value);
      rest_.remove_prefix(sizeof value);
    }
    return value;
  }
  std::string take_text() {
    const auto size = take<std::uint16_t>();
    if (rest_.size() < size) rest_ = {};
    std::string text(rest_.substr(0, std::min<std::size_t>(size, rest_.size())));
    rest_.remove_prefix(text.size());
    return text;
  }

 private:
  std::string_view rest_;
};

std::vector<plain_country> plain_countries(std::string_view bytes) {
  plain_reader reader(bytes.substr(8));
  std::vector<plain_country> countries(reader.take<std::uint32_t>());
  for (plain_country& one : countries) {
    one.name = reader.take_text();
    for (double& edge : one.box)
      edge = reader.take<double>();
    one.rings.resize(reader.take<std::uint32_t>());
    for (outline& ring : one.rings) {
      ring.resize(reader.take<std::uint32_t>());
      for (auto& [longitude, latitude] : ring) {
        longitude = reader.take<double>();
        latitude = reader.take<double>();
      }
    }
  }
  return countries;
}

std::string plain_country_at(const std::vector<plain_country>& countries, double latitude, double longitude) {
  for (const plain_country& one : countries) {
    const auto& [min_lon, min_lat, max_lon, max_lat] = one.box;
    if (longitude < min_lon || longitude > max_lon || latitude < min_lat || latitude > max_lat) continue;
    bool inside = false;
    for (const outline& ring : one.rings) {
      bool in_ring = false;
      for (std::size_t i = 0; i < ring.size(); ++i) {
        const auto& [xi, yi] = ring[i];
        const auto& [xj, yj] = ring[i == 0 ? ring.size() - 1 : i - 1];
        if ((yi > latitude) == (yj > latitude)) continue;
        const double t = (xj - xi) * (latitude - yi) / (yj - yi) + xi;
        if (longitude < t) in_ring = !in_ring;
      }
      if (in_ring) inside = !inside;
    }
    if (inside) return one.name;
  }
  return "";
}

std::string random_countries(std::minstd_rand& random) {
  std::uniform_real_distribution<double> degrees(-20, 20);
  std::vector<std::string> countries;
  for (int number = 0; number < 5; ++number) {
    std::vector<outline> rings(1 + random() % 3);
    for (outline& ring : rings) {
      const double x = degrees(random);
      const double y = degrees(random);
      const std::size_t size = 3 + random() % 300;
      for (std::size_t i = 0; i < size; ++i) {
        // Steps of a quarter degree make equal latitudes and vertices on the query's line.
        const auto coarse = [](double value) { return std::round(value * 4) / 4; };
        ring.emplace_back(coarse(x + degrees(random) / 2), coarse(y + degrees(random) / 2));
      }
    }
    countries.push_back(country("country " + std::to_string(number), rings));
  }
  return countries_file(countries);
}

TEST(country_shapes, gives_what_the_plain_scan_gives) {
  std::minstd_rand random(5);
  std::uniform_real_distribution<double> degrees(-32, 32);
  for (int round = 0; round < 20; ++round) {
    const std::string bytes = random_countries(random);
    const country_shapes shapes(bytes);
    const auto plain = plain_countries(bytes);
    for (int query = 0; query < 500; ++query) {
      const bool coarse = query % 2 == 0;
      const double latitude = coarse ? std::round(degrees(random) * 4) / 4 : degrees(random);
      const double longitude = coarse ? std::round(degrees(random) * 4) / 4 : degrees(random);
      ASSERT_EQ(shapes.country_at(latitude, longitude), plain_country_at(plain, latitude, longitude))
          << latitude << ", " << longitude;
    }
  }
}

TEST(country_shapes, cut_at_every_byte_gives_what_the_plain_scan_gives) {
  const std::string whole = countries_file(
      {country("First", {square(-3, -3, 4, 4), square(1, 1, 2, 2)}), country("Second", {square(-5, -5, 5, 5)})});
  for (std::size_t size = 12; size <= whole.size(); ++size) {
    const std::string_view bytes = std::string_view(whole).substr(0, size);
    const country_shapes shapes(bytes);
    const auto plain = plain_countries(bytes);
    for (double latitude = -6; latitude <= 6; latitude += 0.75) {
      for (double longitude = -6; longitude <= 6; longitude += 0.75) {
        ASSERT_EQ(shapes.country_at(latitude, longitude), plain_country_at(plain, latitude, longitude))
            << size << ": " << latitude << ", " << longitude;
      }
    }
  }
}

TEST(country_shapes, counts_that_lie_order_no_memory) {
  const std::string huge = number(std::uint32_t{0xffffffff});
  EXPECT_EQ(country_shapes("QZXC" + number(1) + huge).country_at(0, 0), "");
  std::string record = country("C", {});
  record.replace(record.size() - 4, 4, huge);
  EXPECT_EQ(country_shapes(countries_file({record})).country_at(0, 0), "");
  EXPECT_EQ(country_shapes(countries_file({record + huge + number(1.0)})).country_at(0, 0), "");
}

TEST(country_shapes, what_is_no_number_is_no_edge) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  outline odd = square(0, 0, 10, 10);
  odd.insert(odd.begin(), {nan, nan});
  const std::string bytes = countries_file({country("C", {odd}), country("D", {square(0, 0, 10, 10)})});
  const auto plain = plain_countries(bytes);
  EXPECT_EQ(country_shapes(bytes).country_at(5, 5), plain_country_at(plain, 5, 5));
  EXPECT_EQ(country_shapes(bytes).country_at(nan, 5), "");
  EXPECT_EQ(country_shapes(bytes).country_at(5, nan), plain_country_at(plain, 5, nan));
}

}  // namespace
