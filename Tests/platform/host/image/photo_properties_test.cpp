// Date and position of photos as exiftool writes them, read through the machine's property handler.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>

#include "organize/photo_fields.h"
#include "platform/host/host_files.h"
#include "platform/host/time_zone.h"
#include "platform/machine.h"
#include "platform/property_keys.h"
#include "support/media/tools.h"
#include "text/conversions.h"
#include "text/format.h"

namespace {

using namespace platform;
using host_test::time_zone;
using quill_box::organize::photo_fields;
using quill_box::organize::read_photo_fields;
using test_support::output_of;
using numbers = std::vector<double>;

class installed_host {
 public:
  installed_host() : former_(install(&native_machine())) {}
  ~installed_host() { static_cast<void>(install(former_)); }
  installed_host(const installed_host&) = delete;
  installed_host& operator=(const installed_host&) = delete;

 private:
  machine* former_;
};

property_value value_in(const std::string& path, const property_key& key) {
  auto store = native_machine().properties.open_handler_store(text::wide_from_utf8(path),
                                                              handler_access::handler_properties_only);
  if (!store) return other_type{1};
  auto value = (*store)->get(key);
  return value ? *value : other_type{2};
}

// "2026-03-01"; empty for a file without a date.
std::string day_in(const std::string& path) {
  const property_value value = value_in(path, date_taken_key);
  const auto* time = std::get_if<time_value>(&value);
  if (time == nullptr) return {};
  const auto local = native_machine().clock.to_local_with_current_bias(time->time);
  return local ? text::format("{:04}-{:02}-{:02}", local->year, local->month, local->day) : "no local time";
}

double number_in(const std::string& path, const property_key& key) {
  const property_value value = value_in(path, key);
  const auto* number = std::get_if<double>(&value);
  EXPECT_NE(number, nullptr);
  return number != nullptr ? *number : 0;
}

class photos : public testing::TestWithParam<const char*> {
 protected:
  photos() { output_of("convert -size 64x48 gradient:red-blue " + blank_); }

  // One photo for each of the arguments, with these tags and no others; all in one run, which is much faster.
  [[nodiscard]] std::vector<std::string> write_all(const std::vector<std::string>& arguments) const {
    std::vector<std::string> paths;
    std::string command = "exiftool";
    for (const std::string& tags : arguments) {
      paths.push_back(folder_.path(text::format("{}.{}", paths.size(), GetParam())));
      host_test::put(paths.back(), host_test::content(blank_));
      command += (paths.size() == 1 ? " " : " -execute ") + tags + " " + paths.back();
    }
    output_of(command + " -common_args -q -n -overwrite_original");
    return paths;
  }
  [[nodiscard]] std::string write(const std::string& arguments) const { return write_all({arguments}).front(); }

  installed_host host_;
  host_test::temporary_folder folder_;
  std::string blank_ = folder_.path("blank." + std::string(GetParam()));
};
INSTANTIATE_TEST_SUITE_P(kinds, photos, testing::Values("jpg", "tif", "png", "webp"),
                         [](const testing::TestParamInfo<const char*>& kind) { return std::string(kind.param); });

struct dated_photo {
  const char* written;
  const char* day;
};

// Both seasons at the ends of the day, and the day that Apia never had.
constexpr dated_photo dated_photos[] = {{"2026:01:15 00:00:01", "2026-01-15"},
                                        {"2026:01:15 23:59:59", "2026-01-15"},
                                        {"2026:07:15 00:10:00", "2026-07-15"},
                                        {"2026:07:15 23:50:00", "2026-07-15"},
                                        {"2011:12:30 12:00:00", "2011-12-30"}};

TEST_P(photos, have_the_cameras_day_in_every_zone_and_season) {
  std::vector<std::string> tags;
  for (const dated_photo& photo : dated_photos)
    tags.push_back("-EXIF:DateTimeOriginal='" + std::string(photo.written) + "'");
  const std::vector<std::string> paths = write_all(tags);
  for (const char* name : host_test::zones) {
    const time_zone zone(name);
    for (std::size_t i = 0; i < paths.size(); ++i) {
      EXPECT_EQ(day_in(paths[i]), dated_photos[i].day) << name << " " << dated_photos[i].written;
      EXPECT_EQ(read_photo_fields(text::wide_from_utf8(paths[i])).date, text::wide_from_utf8(dated_photos[i].day))
          << name;
    }
  }
}

TEST_P(photos, have_the_day_of_xmp_where_exif_has_none) {
  const time_zone zone("America/St_Johns");
  EXPECT_EQ(day_in(write("-XMP-xmp:CreateDate='2026:07:15 23:50:00+09:00'")), "2026-07-15");
  EXPECT_EQ(day_in(write("-XMP-exif:DateTimeOriginal='2026:01:15 00:10:00'")), "2026-01-15");
}

TEST_P(photos, digitized_later_have_the_day_of_that) {
  EXPECT_EQ(day_in(write("-EXIF:CreateDate='2019:10:11 12:13:14'")), "2019-10-11");
}

TEST_P(photos, without_a_date_have_no_date_taken_and_the_day_of_their_creation) {
  const std::string photo = write("-EXIF:Artist=someone");
  EXPECT_EQ(value_in(photo, date_taken_key), property_value());
  const time_zone zone("Asia/Kolkata");
  const std::wstring path = text::wide_from_utf8(photo);
  const auto created = native_machine().clock.to_local_with_current_bias(native_machine().files.facts(path)->created);
  ASSERT_TRUE(created);
  EXPECT_EQ(read_photo_fields(path).date,
            text::format(L"{:04}-{:02}-{:02}", created->year, created->month, created->day));
}

struct position {
  double latitude;
  double longitude;
};

constexpr position quadrants[] = {
    {48.8584, 2.2945}, {40.6892, -74.0445}, {-33.8568, 151.2153}, {-22.9519, -43.2105}, {0.00012, -0.00034}};

TEST_P(photos, have_their_position_in_all_four_quadrants) {
  std::vector<std::string> tags;
  for (const position& place : quadrants) {
    tags.push_back(text::format("-GPSLatitude={} -GPSLatitudeRef={} -GPSLongitude={} -GPSLongitudeRef={}",
                                std::abs(place.latitude), place.latitude < 0 ? "S" : "N", std::abs(place.longitude),
                                place.longitude < 0 ? "W" : "E"));
  }
  const std::vector<std::string> paths = write_all(tags);
  for (std::size_t i = 0; i < paths.size(); ++i) {
    const position& place = quadrants[i];
    EXPECT_NEAR(number_in(paths[i], latitude_decimal_key), place.latitude, 1e-6);
    EXPECT_NEAR(number_in(paths[i], longitude_decimal_key), place.longitude, 1e-6);
    EXPECT_EQ(value_in(paths[i], latitude_ref_key), property_value(std::wstring(place.latitude < 0 ? L"S" : L"N")));
    EXPECT_EQ(value_in(paths[i], longitude_ref_key), property_value(std::wstring(place.longitude < 0 ? L"W" : L"E")));
    const property_value parts = value_in(paths[i], latitude_key);
    const auto* degrees = std::get_if<numbers>(&parts);
    ASSERT_NE(degrees, nullptr);
    ASSERT_EQ(degrees->size(), 3U);
    EXPECT_EQ((*degrees)[0], std::trunc(std::abs(place.latitude)));
  }
}

TEST_P(photos, have_their_position_from_xmp_where_exif_has_none) {
  std::vector<std::string> tags;
  for (const position& place : quadrants)
    tags.push_back(text::format("-XMP-exif:GPSLatitude={} -XMP-exif:GPSLongitude={}", place.latitude, place.longitude));
  const std::vector<std::string> paths = write_all(tags);
  for (std::size_t i = 0; i < paths.size(); ++i) {
    EXPECT_NEAR(number_in(paths[i], latitude_decimal_key), quadrants[i].latitude, 1e-6);
    EXPECT_NEAR(number_in(paths[i], longitude_decimal_key), quadrants[i].longitude, 1e-6);
  }
}

TEST_P(photos, without_a_position_have_none) {
  const std::string path = write("-EXIF:DateTimeOriginal='2026:01:15 00:10:00'");
  for (const property_key& key : {latitude_decimal_key, longitude_decimal_key, latitude_key, longitude_key,
                                  latitude_ref_key, longitude_ref_key}) {
    EXPECT_EQ(value_in(path, key), property_value());
  }
}

TEST_P(photos, with_half_a_position_have_half_of_it) {
  const std::string path = write("-GPSLatitude=48.85 -GPSLatitudeRef=N");
  EXPECT_NEAR(number_in(path, latitude_decimal_key), 48.85, 1e-6);
  EXPECT_EQ(value_in(path, longitude_decimal_key), property_value());
}

TEST_P(photos, keep_date_and_position_when_they_are_rated_and_tagged) {
  const std::string path = write("-EXIF:DateTimeOriginal='2026:01:15 00:10:00' -GPSLatitude=33.5 -GPSLatitudeRef=S");
  auto store = native_machine().properties.open_handler_store(text::wide_from_utf8(path), handler_access::read_write);
  ASSERT_TRUE(store);
  ASSERT_EQ((*store)->set(rating_key, std::uint32_t{75}), hresult::ok);
  ASSERT_EQ((*store)->set(keywords_key, std::vector<std::wstring>{L"a tag"}), hresult::ok);
  EXPECT_EQ((*store)->set(date_taken_key, time_value{1}), hresult::imaging_property_not_supported);
  ASSERT_EQ((*store)->commit(), hresult::ok);
  EXPECT_EQ(day_in(path), "2026-01-15");
  EXPECT_EQ(number_in(path, latitude_decimal_key), -33.5);
}

class photo_fields_on_the_host : public testing::Test {
 protected:
  [[nodiscard]] std::string photo(std::string_view name) const {
    std::string path = folder_.path(name);
    output_of("convert -size 64x48 gradient:red-blue '" + path + "'");
    return path;
  }

  installed_host host_;
  host_test::temporary_folder folder_;
};

TEST_F(photo_fields_on_the_host, a_name_with_a_colon_keeps_its_extension) {
  const std::string path = folder_.path("12:30 lunch.jpg");
  host_test::put(path, host_test::content(photo("a.jpg")));
  const photo_fields fields = read_photo_fields(text::wide_from_utf8(path));
  EXPECT_EQ(fields.stem, L"12:30 lunch");
  EXPECT_EQ(fields.extension, L".jpg");
}

TEST_F(photo_fields_on_the_host, people_that_other_programs_marked_are_named) {
  const std::string path = photo("a.jpg");
  output_of(
      "exiftool -q -overwrite_original "
      "-XMP-MP:RegionInfoMP='{Regions=[{PersonDisplayName=Anna,Rectangle=0.1|, 0.1|, 0.2|, 0.2},"
      "{PersonDisplayName=Ben,Rectangle=0.5|, 0.1|, 0.2|, 0.2}]}' " +
      path);
  EXPECT_EQ(read_photo_fields(text::wide_from_utf8(path)).people, L"Anna and Ben");
}

TEST_F(photo_fields_on_the_host, a_type_without_a_handler_has_the_day_of_its_creation) {
  const std::string path = folder_.path("a.gif");
  host_test::put(path, "GIF89a");
  const photo_fields fields = read_photo_fields(text::wide_from_utf8(path));
  EXPECT_EQ(fields.date.size(), 10U);
  EXPECT_EQ(fields.location, L"");
}

std::uint64_t bytes_read_so_far() {
  std::ifstream counters("/proc/self/io");
  std::string name;
  std::uint64_t count = 0;
  counters >> name >> count;
  EXPECT_EQ(name, "rchar:");
  return count;
}

TEST_F(photo_fields_on_the_host, a_large_photo_costs_few_bytes) {
  if (!std::ifstream("/proc/self/io")) GTEST_SKIP() << "this system doesn't count what a process reads";
  const std::string path = photo("a.jpg");
  output_of(
      "exiftool -q -n -overwrite_original -EXIF:DateTimeOriginal='2026:01:15 00:10:00' -GPSLatitude=48.85 "
      "-GPSLatitudeRef=N -XMP:Label=red " +
      path);
  host_test::put(path, host_test::content(path) + host_test::noise(std::size_t{8} << 20, 1));
  const std::uint64_t before = bytes_read_so_far();
  EXPECT_EQ(day_in(path), "2026-01-15");
  EXPECT_NEAR(number_in(path, latitude_decimal_key), 48.85, 1e-6);
  // The file is opened twice here.
  EXPECT_LT(bytes_read_so_far() - before, 2 * (std::uint64_t{20} << 10));
}

}  // namespace
