// The geo look-up by itself, on the data beside the program.
//   geo_lookup points COUNT    prints random points on land, "latitude longitude" a line
//   geo_lookup time POINTS     prints milliseconds to load both files, and microseconds for one look-up on average
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <numbers>
#include <random>
#include <string_view>
#include <utility>
#include <vector>

#include "organize/geo/reverse_geocode.h"
#include "platform/machine.h"

namespace {

using quill_box::organize::reverse_geocode;
using clock_type = std::chrono::steady_clock;

int print_points(int count) {
  std::mt19937 random(20260301);
  std::uniform_real_distribution<double> along(-180, 180);
  std::uniform_real_distribution<double> height(-1, 1);  // even over the sphere's surface
  for (int found = 0; found < count;) {
    const double latitude = std::asin(height(random)) * 180 / std::numbers::pi;
    const double longitude = along(random);
    if (reverse_geocode(latitude, longitude).country.empty()) continue;
    std::printf("%.6f %.6f\n", latitude, longitude);
    ++found;
  }
  return EXIT_SUCCESS;
}

int time_look_ups(const char* file) {
  std::vector<std::pair<double, double>> points;
  std::ifstream text(file);
  for (std::pair<double, double> point; text >> point.first >> point.second;)
    points.push_back(point);

  const auto begin = clock_type::now();
  static_cast<void>(quill_box::organize::geo_tables_instance());
  const std::chrono::duration<double, std::milli> loading = clock_type::now() - begin;

  const auto first = clock_type::now();
  std::size_t found = 0;
  for (const auto& [latitude, longitude] : points)
    found += reverse_geocode(latitude, longitude).city.empty() ? 0U : 1U;
  const std::chrono::duration<double, std::micro> looking = clock_type::now() - first;
  if (found == 0) return EXIT_FAILURE;
  std::printf("%.3f %.3f\n", loading.count(), looking.count() / static_cast<double>(points.size()));
  return EXIT_SUCCESS;
}

}  // namespace

int main(int count, char** arguments) {
  platform::install(&platform::native_machine());
  const std::string_view mode = count == 3 ? arguments[1] : "";
  if (mode == "points") return print_points(std::atoi(arguments[2]));
  if (mode == "time") return time_look_ups(arguments[2]);
  std::fprintf(stderr, "geo_lookup points COUNT | time POINTS\n");
  return 2;
}
