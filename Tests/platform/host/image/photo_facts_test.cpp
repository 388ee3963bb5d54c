#include "platform/host/image/photo_facts.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "platform/host/image/image_bytes.h"
#include "platform/host/time_zone.h"

namespace {

using namespace image_bytes;
using namespace platform::host::image;
using platform::file_time;
using platform::local_time;
using platform::host::file_time_from_local;
using platform::host::memory_source;

constexpr std::uint16_t original = 0x9003;
constexpr std::uint16_t digitized = 0x9004;

// A directory as it stands at `at`: count, entries, no next one, then the values.
std::string directory(byte_order order, const std::vector<field>& fields, std::size_t at) {
  std::string bytes = u16_bytes(static_cast<std::uint16_t>(fields.size()), order);
  const std::size_t values_at = at + 2 + 12 * fields.size() + 4;
  std::string values;
  for (const field& f : fields) {
    append_u16(bytes, f.tag, order);
    append_u16(bytes, f.type, order);
    append_u32(bytes, f.count, order);
    std::string value = f.value;
    if (value.size() > 4) {
      values += value;
      value = u32_bytes(static_cast<std::uint32_t>(values_at + values.size() - value.size()), order);
    }
    value.resize(4, '\0');
    bytes += value;
  }
  append_u32(bytes, 0, order);
  return bytes + values;
}

// A block with an Exif and a GPS directory.
std::string photo_block(const std::vector<field>& exif, const std::vector<field>& gps,
                        byte_order order = byte_order::little) {
  constexpr std::size_t exif_at = 8 + 2 + 2 * 12 + 4;
  const std::string exif_bytes = directory(order, exif, exif_at);
  const std::string gps_bytes = directory(order, gps, exif_at + exif_bytes.size());
  return tiff(order,
              {{0x8769, 4, 1, u32_bytes(exif_at, order)},
               {0x8825, 4, 1, u32_bytes(static_cast<std::uint32_t>(exif_at + exif_bytes.size()), order)}},
              exif_bytes + gps_bytes);
}

field text_field(std::uint16_t tag, const std::string& text) { return bytes_field(tag, 2, text + "\0"s); }

struct rational {
  std::uint32_t numerator;
  std::uint32_t denominator;
};

field rational_field(std::uint16_t tag, const std::vector<rational>& numbers, byte_order order = byte_order::little) {
  std::string bytes;
  for (const rational& number : numbers)
    bytes += u32_bytes(number.numerator, order) + u32_bytes(number.denominator, order);
  return {tag, 5, static_cast<std::uint32_t>(numbers.size()), bytes};
}

std::string exif_xmp(std::string_view attributes) {
  return packet(description(" xmlns:exif=\"http://ns.adobe.com/exif/1.0/\"" + std::string(attributes)));
}

// What the handler finds in a JPEG of these segments.
std::optional<file_time> date_in(const std::string& segments) {
  const std::string bytes = jpeg(segments);
  const opened_image image = open(bytes);
  EXPECT_TRUE(image);
  return image ? read_date_taken(image->blocks()) : std::nullopt;
}
std::optional<gps_angle> angle_in(const std::string& segments, gps_axis axis) {
  const std::string bytes = jpeg(segments);
  const opened_image image = open(bytes);
  EXPECT_TRUE(image);
  return image ? read_angle(image->blocks(), axis) : std::nullopt;
}

std::string dated(const std::string& text) { return exif_segment(photo_block({text_field(original, text)}, {})); }
std::string at_latitude(const field& value, const std::string& reference) {
  return exif_segment(photo_block({}, {text_field(1, reference), value}));
}
std::string iptc_segment(const std::string& datasets) { return photoshop_segment(resource(0x0404, datasets)); }

class photo_facts : public testing::Test {
 protected:
  static file_time time(const local_time& local) { return file_time_from_local(local).value_or(0); }

  host_test::time_zone zone_{"America/St_Johns"};
};

// --- dates

TEST_F(photo_facts, the_date_is_the_cameras_in_either_byte_order) {
  for (const byte_order order : {byte_order::little, byte_order::big}) {
    const std::string block = photo_block({text_field(original, "2024:02:29 23:59:58")}, {}, order);
    EXPECT_EQ(date_in(exif_segment(block)), time({2024, 2, 29, 23, 59, 58}));
  }
}

TEST_F(photo_facts, the_first_good_date_counts) {
  const std::string xmp = exif_xmp(R"( xmp:CreateDate="2003-03-03T03:03:03" exif:DateTimeOriginal="2005-05-05")");
  const std::string iptc = iptc_segment(dataset(2, 55, "20020202") + dataset(2, 60, "020202+0200"));
  const auto found = [](const std::string& first, const std::string& fourth, const std::string& others) {
    return date_in(exif_segment(photo_block({text_field(original, first), text_field(digitized, fourth)}, {})) +
                   others);
  };
  const std::string good = "2001:01:01 01:01:01";
  const std::string none = "0000:00:00 00:00:00";
  const std::string fourth = "2004:04:04 04:04:04";
  EXPECT_EQ(found(good, fourth, xmp_segment(xmp) + iptc), time({2001, 1, 1, 1, 1, 1}));
  EXPECT_EQ(found(none, fourth, xmp_segment(xmp) + iptc), time({2002, 2, 2, 2, 2, 2}));
  EXPECT_EQ(found(none, fourth, xmp_segment(xmp)), time({2003, 3, 3, 3, 3, 3}));
  const std::string last = exif_xmp(R"( exif:DateTimeOriginal="2005-05-05")");
  EXPECT_EQ(found(none, fourth, xmp_segment(last)), time({2004, 4, 4, 4, 4, 4}));
  EXPECT_EQ(found(none, none, xmp_segment(last)), time({2005, 5, 5}));
  EXPECT_EQ(found(none, none, ""), std::nullopt);
}

TEST_F(photo_facts, what_is_no_date_of_the_calendar_is_no_date) {
  for (const char* text : {"0000:00:00 00:00:00",
                           "    :  :     :  :  ",
                           "2024:13:01 10:00:00",
                           "2024:00:01 10:00:00",
                           "2024:02:30 10:00:00",
                           "2023:02:29 10:00:00",
                           "2024:01:32 10:00:00",
                           "2024:01:00 10:00:00",
                           "1600:12:31 10:00:00",
                           "2024:01:01 24:00:00",
                           "2024:01:01 10:60:00",
                           "2024:01:01 10:00:60",
                           "2024:01:01 1a:00:00",
                           "2024:01:01 10:00:0",
                           "2024:01:01X10:00:00",
                           "2024:01:01 10",
                           "2024",
                           "2024:01",
                           "2024.01.01 10:00:00",
                           "20240101",
                           "-024:01:01 10:00:00",
                           "",
                           "no date at all"}) {
    EXPECT_EQ(date_in(dated(text)), std::nullopt) << text;
  }
}

TEST_F(photo_facts, a_date_without_its_time_of_day_is_of_midnight) {
  for (const char* text : {"2024:05:06", "2024:05:06   :  :  ", "2024:05:06 "}) {
    EXPECT_EQ(date_in(dated(text)), time({2024, 5, 6})) << text;
  }
}

TEST_F(photo_facts, years_reach_to_9999) {
  EXPECT_EQ(date_in(dated("9999:12:31 23:59:59")), time({9999, 12, 31, 23, 59, 59}));
  EXPECT_EQ(date_in(dated("1602:01:01 00:00:00")), time({1602, 1, 1}));
}

TEST_F(photo_facts, a_date_of_another_type_or_of_no_sane_length_doesnt_count) {
  const std::string date = "2024:05:06 07:08:09\0"s;
  EXPECT_EQ(date_in(exif_segment(photo_block({bytes_field(original, 7, date)}, {}))), std::nullopt);
  EXPECT_EQ(date_in(exif_segment(photo_block({bytes_field(original, 2, date + std::string(60, '\0'))}, {}))),
            std::nullopt);
  EXPECT_EQ(date_in(exif_segment(photo_block({{original, 2, 0, date}}, {}))), std::nullopt);
}

TEST_F(photo_facts, a_date_in_xmp_counts_by_its_own_clock) {
  const auto created = [](std::string_view text) {
    return date_in(xmp_segment(exif_xmp(" xmp:CreateDate=\"" + std::string(text) + "\"")));
  };
  EXPECT_EQ(created("2024-05-06T23:08:09.123+09:00"), time({2024, 5, 6, 23, 8, 9}));
  EXPECT_EQ(created("2024-05-06T00:08Z"), time({2024, 5, 6, 0, 8}));
  EXPECT_EQ(created(" 2024-05-06 "), time({2024, 5, 6}));
  EXPECT_EQ(created("2024-05"), std::nullopt);
  EXPECT_EQ(created("2024"), std::nullopt);
  EXPECT_EQ(created(""), std::nullopt);
  EXPECT_EQ(date_in(xmp_segment(packet(description("", "<xmp:CreateDate>2024-05-06</xmp:CreateDate>")))),
            time({2024, 5, 6}));
}

TEST_F(photo_facts, a_date_in_iptc_needs_its_eight_digits_and_no_time) {
  EXPECT_EQ(date_in(iptc_segment(dataset(2, 55, "20240506"))), time({2024, 5, 6}));
  EXPECT_EQ(date_in(iptc_segment(dataset(2, 55, "20240506") + dataset(2, 60, "nonsense"))), time({2024, 5, 6}));
  EXPECT_EQ(date_in(iptc_segment(dataset(2, 55, "20240000"))), std::nullopt);
  EXPECT_EQ(date_in(iptc_segment(dataset(2, 55, "2024"))), std::nullopt);
  EXPECT_EQ(date_in(iptc_segment(dataset(2, 55, "202405067"))), std::nullopt);
}

// --- angles

TEST_F(photo_facts, an_angle_is_three_rationals_and_a_reference) {
  for (const byte_order order : {byte_order::little, byte_order::big}) {
    const std::string block =
        photo_block({},
                    {text_field(1, "N"), rational_field(2, {{48, 1}, {51, 1}, {3024, 100}}, order), text_field(3, "W"),
                     rational_field(4, {{2, 1}, {21, 1}, {0, 1}}, order)},
                    order);
    const auto latitude = angle_in(exif_segment(block), gps_axis::latitude);
    ASSERT_TRUE(latitude);
    EXPECT_EQ(latitude->parts, (std::array<double, 3>{48, 51, 30.24}));
    EXPECT_EQ(latitude->reference, L"N");
    EXPECT_DOUBLE_EQ(latitude->decimal(), 48.8584);
    const auto longitude = angle_in(exif_segment(block), gps_axis::longitude);
    ASSERT_TRUE(longitude);
    EXPECT_EQ(longitude->reference, L"W");
    EXPECT_DOUBLE_EQ(longitude->decimal(), -2.35);
  }
}

TEST_F(photo_facts, minutes_or_degrees_may_have_the_fraction) {
  const auto minutes =
      angle_in(at_latitude(rational_field(2, {{33, 1}, {5150, 100}, {0, 1}}), "s"), gps_axis::latitude);
  ASSERT_TRUE(minutes);
  EXPECT_DOUBLE_EQ(minutes->decimal(), -(33 + 51.5 / 60));
  EXPECT_EQ(minutes->reference, L"s");
  const auto degrees =
      angle_in(at_latitude(rational_field(2, {{33858, 1000}, {0, 1}, {0, 1}}), "S"), gps_axis::latitude);
  ASSERT_TRUE(degrees);
  EXPECT_DOUBLE_EQ(degrees->decimal(), -33.858);
}

TEST_F(photo_facts, unknown_seconds_are_none_and_other_unknown_numbers_spoil_the_angle) {
  const auto angle = [](const std::vector<rational>& numbers) {
    return angle_in(at_latitude(rational_field(2, numbers), "N"), gps_axis::latitude);
  };
  ASSERT_TRUE(angle({{48, 1}, {5150, 100}, {0, 0}}));
  EXPECT_DOUBLE_EQ(angle({{48, 1}, {5150, 100}, {0, 0}})->decimal(), 48 + 51.5 / 60);
  EXPECT_FALSE(angle({{48, 1}, {51, 1}, {1, 0}}));
  EXPECT_FALSE(angle({{48, 1}, {0, 0}, {0, 0}}));
  EXPECT_FALSE(angle({{48, 1}, {7, 0}, {0, 1}}));
  EXPECT_FALSE(angle({{0, 0}, {51, 1}, {0, 1}}));
  EXPECT_FALSE(angle({{0xffffffff, 0}, {51, 1}, {0, 1}}));
}

TEST_F(photo_facts, an_angle_beyond_the_pole_or_the_date_line_is_none) {
  const auto angle = [](const std::vector<rational>& numbers, std::uint16_t tag, const std::string& reference,
                        gps_axis axis) {
    return angle_in(exif_segment(photo_block({}, {text_field(static_cast<std::uint16_t>(tag - 1), reference),
                                                  rational_field(tag, numbers)})),
                    axis)
        .has_value();
  };
  EXPECT_TRUE(angle({{90, 1}, {0, 1}, {0, 1}}, 2, "S", gps_axis::latitude));
  EXPECT_FALSE(angle({{90, 1}, {0, 1}, {1, 100}}, 2, "S", gps_axis::latitude));
  EXPECT_FALSE(angle({{0xffffffff, 1}, {0xffffffff, 1}, {0xffffffff, 1}}, 2, "N", gps_axis::latitude));
  EXPECT_TRUE(angle({{180, 1}, {0, 1}, {0, 1}}, 4, "E", gps_axis::longitude));
  EXPECT_FALSE(angle({{179, 1}, {61, 1}, {0, 1}}, 4, "W", gps_axis::longitude));
}

TEST_F(photo_facts, an_angle_without_a_reference_of_its_axis_is_none) {
  const field value = rational_field(2, {{48, 1}, {51, 1}, {0, 1}});
  for (const char* reference : {"E", "", " ", "NS", "North", "X", "\xff"}) {
    EXPECT_FALSE(angle_in(at_latitude(value, reference), gps_axis::latitude)) << reference;
  }
  EXPECT_FALSE(angle_in(exif_segment(photo_block({}, {value})), gps_axis::latitude));
  EXPECT_TRUE(angle_in(at_latitude(value, "N\0junk"s), gps_axis::latitude));
}

TEST_F(photo_facts, too_few_numbers_or_numbers_of_another_type_are_no_angle) {
  const auto has_angle = [](const field& value) {
    return angle_in(at_latitude(value, "N"), gps_axis::latitude).has_value();
  };
  EXPECT_FALSE(has_angle(rational_field(2, {{48, 1}, {51, 1}})));
  EXPECT_FALSE(has_angle(rational_field(2, {{48, 1}})));
  EXPECT_FALSE(has_angle(rational_field(2, {})));
  EXPECT_FALSE(has_angle({2, 4, 3, std::string(12, '\1')}));
  EXPECT_FALSE(has_angle({2, 10, 3, std::string(24, '\1')})) << "rationals with a sign";
  EXPECT_FALSE(has_angle({2, 12, 3, std::string(24, '\0')}));
}

TEST_F(photo_facts, counts_that_lie_are_no_angle_and_cost_no_memory) {
  for (const std::uint32_t count : {4U, 0x20000000U, 0xffffffffU}) {
    field value = rational_field(2, {{48, 1}, {51, 1}, {0, 1}});
    value.count = count;
    EXPECT_FALSE(angle_in(at_latitude(value, "N"), gps_axis::latitude)) << count;
    field reference = text_field(1, "N");
    reference.count = count == 4 ? 65 : count;
    const std::string block = photo_block({}, {reference, rational_field(2, {{48, 1}, {51, 1}, {0, 1}})});
    EXPECT_FALSE(angle_in(exif_segment(block), gps_axis::latitude)) << count;
  }
}

TEST_F(photo_facts, xmp_gives_angles_where_exif_has_none) {
  const auto angle = [](std::string_view text) {
    return angle_in(xmp_segment(exif_xmp(" exif:GPSLatitude=\"" + std::string(text) + "\"")), gps_axis::latitude);
  };
  ASSERT_TRUE(angle("48,51.5N"));
  EXPECT_EQ(angle("48,51.5N")->parts, (std::array<double, 3>{48, 51.5, 0}));
  EXPECT_EQ(angle("48,51.5N")->reference, L"N");
  ASSERT_TRUE(angle(" 33,51,30S "));
  EXPECT_DOUBLE_EQ(angle(" 33,51,30S ")->decimal(), -(33 + 51 / 60.0 + 30 / 3600.0));
  for (const char* text : {"", "N", "48N", "48,N", "48,51.5", "48,51.5E", "48,51.5,3,4N", "91,0N", "-48,51.5N",
                           "48,-51.5N", "nan,0N", "48,infN", "48,1e3N", "48;51.5N", "48, 51.5N", "48,51.5NN", ",,N"}) {
    EXPECT_FALSE(angle(text)) << text;
  }
}

TEST_F(photo_facts, exif_counts_more_than_xmp_and_a_bad_angle_there_less) {
  const std::string xmp = xmp_segment(exif_xmp(" exif:GPSLatitude=\"10,0N\""));
  const auto with_xmp = [&xmp](const std::vector<rational>& numbers) {
    return angle_in(at_latitude(rational_field(2, numbers), "N") + xmp, gps_axis::latitude)->decimal();
  };
  EXPECT_EQ(with_xmp({{48, 1}, {0, 1}, {0, 1}}), 48);
  EXPECT_EQ(with_xmp({{48, 0}, {0, 1}, {0, 1}}), 10);
}

// --- hostile blocks

std::string whole_photo(byte_order order) {
  return photo_block({text_field(original, "2024:05:06 07:08:09"), text_field(digitized, "2024:05:06 07:08:09")},
                     {text_field(1, "N"), rational_field(2, {{48, 1}, {51, 1}, {0, 1}}, order), text_field(3, "E"),
                      rational_field(4, {{2, 1}, {21, 1}, {0, 1}}, order)},
                     order);
}

// What is read of a block alone; nothing but what the whole one says, or nothing.
void expect_whole_or_nothing(const std::string& bytes, const std::string& what) {
  memory_source source(bytes);
  metadata_blocks blocks;
  blocks.exif = read_tiff_block({&source, 0, bytes.size()});
  const auto date = read_date_taken(blocks);
  if (date) {
    EXPECT_EQ(date, file_time_from_local({2024, 5, 6, 7, 8, 9})) << what;
  }
  const auto latitude = read_angle(blocks, gps_axis::latitude);
  if (latitude) {
    EXPECT_EQ(latitude->decimal(), 51 / 60.0 + 48) << what;
  }
  const auto longitude = read_angle(blocks, gps_axis::longitude);
  if (longitude) {
    EXPECT_EQ(longitude->decimal(), 21 / 60.0 + 2) << what;
  }
}

TEST_F(photo_facts, a_block_cut_at_any_byte_tells_the_truth_or_nothing) {
  for (const byte_order order : {byte_order::little, byte_order::big}) {
    const std::string block = whole_photo(order);
    for (std::size_t size = 0; size <= block.size(); ++size)
      expect_whole_or_nothing(block.substr(0, size), std::to_string(size));
  }
}

TEST_F(photo_facts, directories_anywhere_are_read_without_harm) {
  for (const std::uint32_t place : {0U, 1U, 8U, 10U, 100U, 0x7fffffffU, 0xfffffffeU, 0xffffffffU}) {
    std::string block = whole_photo(byte_order::little);
    for (const std::size_t pointer : {18U, 30U})
      block.replace(pointer, 4, u32_bytes(place, byte_order::little));
    memory_source source(block);
    metadata_blocks blocks;
    blocks.exif = read_tiff_block({&source, 0, block.size()});
    EXPECT_EQ(read_date_taken(blocks), std::nullopt) << place;
    EXPECT_FALSE(read_angle(blocks, gps_axis::latitude)) << place;
  }
}

TEST_F(photo_facts, any_other_byte_anywhere_does_no_harm) {
  const std::string block = whole_photo(byte_order::big);
  for (std::size_t at = 0; at < block.size(); ++at) {
    for (const char value : {'\0', '\x7f', '\xff'}) {
      std::string changed = block;
      changed[at] = value;
      memory_source source(changed);
      metadata_blocks blocks;
      blocks.exif = read_tiff_block({&source, 0, changed.size()});
      if (const auto angle = read_angle(blocks, gps_axis::latitude)) {
        EXPECT_LE(std::abs(angle->decimal()), 90);
      }
      if (const auto date = read_date_taken(blocks)) {
        EXPECT_TRUE(platform::host::local_from_file_time(*date));
      }
    }
  }
}

// --- images that aren't whole

struct damaged_image {
  std::string what;
  std::string bytes;
};

// Each with a good Exif block of the same day, and something that is not understood.
std::vector<damaged_image> damaged_images() {
  const std::string block = photo_block({text_field(original, "2026:03:01 12:30:00")}, {});
  const std::string exif = exif_segment(block);
  const std::string later = exif_segment(photo_block({text_field(original, "2027:01:01 00:00:00")}, {}));
  const std::string exif_chunk = png_chunk("eXIf", block);
  const std::string webp_exif = webp_chunk("EXIF", block);
  std::string wrong_sum = png_xmp(packet(description("")));
  wrong_sum.back() ^= 1;
  const std::string torn_webp = webp(vp8x(0x0c, 3, 2) + vp8(3, 2) + webp_exif + webp_chunk("XMP ", "<x:xmpmeta>"));
  return {
      {"a packet that isn't well formed", jpeg(exif + xmp_segment("<x:xmpmeta>"))},
      {"two packets", jpeg(exif + xmp_segment(packet(description(""))) + xmp_segment(packet(description(""))))},
      {"two Exif blocks", jpeg(exif + later)},
      {"two Exif blocks, the first none", jpeg(exif_segment("no TIFF header") + exif)},
      {"image resources that are cut", jpeg(exif + photoshop_segment("8BIMcut"))},
      {"IPTC that isn't", jpeg(exif + photoshop_segment(resource(0x0404, "no datasets")))},
      {"something between segments", jpeg(exif + std::string(5000, '-'))},
      {"cut between segments", "\xff\xd8"s + exif},
      {"cut in a segment", "\xff\xd8"s + exif + jfif().substr(0, 9)},
      {"PNG, two Exif chunks", png(exif_chunk + exif_chunk)},
      {"PNG, a packet with a wrong checksum", png(exif_chunk + wrong_sum)},
      {"PNG, a packet that isn't well formed", png(exif_chunk + png_xmp("<x:xmpmeta>"))},
      {"PNG, cut behind Exif", png(exif_chunk).substr(0, png(exif_chunk).size() - 12)},
      {"WebP, a packet that isn't well formed", torn_webp},
      {"WebP, two Exif chunks", webp(vp8x(0x08, 3, 2) + vp8(3, 2) + webp_exif + webp_exif)},
      {"WebP, more than one chunk without the extended header", webp(vp8(3, 2) + webp_exif)},
  };
}

TEST(damaged_images, have_the_day_that_their_good_blocks_tell_and_take_no_change) {
  const file_time day = *file_time_from_local({.year = 2026, .month = 3, .day = 1, .hour = 12, .minute = 30});
  for (const damaged_image& image : damaged_images()) {
    SCOPED_TRACE(image.what);
    const opened_image opened = open_to_read(image.bytes);
    ASSERT_TRUE(opened);
    EXPECT_EQ(read_date_taken(opened->blocks()), day);
    EXPECT_FALSE(opened->is_whole());
    EXPECT_FALSE(opened->plan({}));
  }
}

TEST(damaged_images, whose_exif_has_a_field_of_ours_that_leads_nowhere_keep_their_day) {
  constexpr byte_order order = byte_order::little;
  const std::string exif = directory(order, {text_field(original, "2026:03:01 12:30:00")}, 38);
  const field nowhere = {0x9c9e, 1, 0x7fffffff, u32_bytes(8, order)};
  const std::string block = tiff(order, {{0x8769, 4, 1, u32_bytes(38, order)}, nowhere}, exif);
  for (const std::string& bytes : {jpeg(exif_segment(block)), block}) {
    const opened_image opened = open_to_read(bytes);
    ASSERT_TRUE(opened);
    EXPECT_TRUE(read_date_taken(opened->blocks()));
    EXPECT_FALSE(opened->is_whole());
  }
}

TEST(damaged_images, of_tiff_have_the_day_that_their_fields_tell) {
  constexpr byte_order order = byte_order::little;
  const std::string exif = directory(order, {text_field(original, "2026:03:01 12:30:00")}, 38);
  for (const std::uint16_t tag : {std::uint16_t{700}, std::uint16_t{33723}}) {
    const std::string bytes = tiff(order, {{tag, 7, 4, "none"}, {0x8769, 4, 1, u32_bytes(38, order)}}, exif);
    const opened_image opened = open_to_read(bytes);
    ASSERT_TRUE(opened);
    EXPECT_TRUE(read_date_taken(opened->blocks()));
    EXPECT_FALSE(opened->is_whole());
    EXPECT_FALSE(opened->plan({}));
  }
}

}  // namespace
