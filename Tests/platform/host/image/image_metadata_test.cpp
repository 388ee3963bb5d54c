#include "platform/host/image/image_metadata.h"

#include <gtest/gtest.h>

#include "platform/host/image/image_bytes.h"

namespace {

using namespace platform::host::image;
using namespace image_bytes;
using wide_strings = std::vector<std::wstring>;

std::string exif_rating(const std::vector<field>& fields) { return exif_segment(tiff(byte_order::little, fields)); }
field stars(std::uint16_t number) { return short_field(0x4746, number, byte_order::little); }
field percent(std::uint16_t number) { return short_field(0x4749, number, byte_order::little); }

std::optional<std::uint32_t> rating_of(const std::string& segments) {
  const std::string bytes = jpeg(segments);
  const opened_image image = open(bytes);
  EXPECT_TRUE(image);
  return image ? read_rating(image->blocks()) : std::nullopt;
}

std::optional<std::uint32_t> xmp_rating(const std::string& attributes) {
  return rating_of(xmp_segment(packet(description(attributes))));
}

std::optional<wide_strings> keywords_of(const std::string& segments) {
  const std::string bytes = jpeg(segments);
  const opened_image image = open(bytes);
  EXPECT_TRUE(image);
  return image ? read_keywords(image->blocks()) : std::nullopt;
}

TEST(image_metadata, stars_alone_become_the_percents_of_the_scale) {
  EXPECT_EQ(xmp_rating(" xmp:Rating=\"0\""), 0U);
  EXPECT_EQ(xmp_rating(" xmp:Rating=\"1\""), 1U);
  EXPECT_EQ(xmp_rating(" xmp:Rating=\"2\""), 25U);
  EXPECT_EQ(xmp_rating(" xmp:Rating=\"3\""), 50U);
  EXPECT_EQ(xmp_rating(" xmp:Rating=\"4.0\""), 75U);
  EXPECT_EQ(xmp_rating(" xmp:Rating=\" +5 \""), 99U);
  EXPECT_EQ(xmp_rating(" xmp:Rating=\"6\""), 500U);
  EXPECT_EQ(xmp_rating(" xmp:Rating=\"-1\""), 0U) << "rejected";
  EXPECT_EQ(xmp_rating(" xmp:Rating=\"many\""), std::nullopt);
  EXPECT_EQ(xmp_rating(" xmp:Rating=\"\""), std::nullopt);
  EXPECT_EQ(xmp_rating(""), std::nullopt);
}

TEST(image_metadata, percent_counts_before_stars_where_both_agree) {
  EXPECT_EQ(xmp_rating(" xmp:Rating=\"4\" MicrosoftPhoto:Rating=\"70\""), 70U);
  EXPECT_EQ(xmp_rating(" MicrosoftPhoto:Rating=\"33\""), 33U);
  EXPECT_EQ(xmp_rating(" xmp:Rating=\"500\" MicrosoftPhoto:Rating=\"500\""), 500U);
}

TEST(image_metadata, stars_that_another_program_changed_alone_are_believed) {
  EXPECT_EQ(xmp_rating(" xmp:Rating=\"2\" MicrosoftPhoto:Rating=\"75\""), 25U);
  EXPECT_EQ(xmp_rating(" xmp:Rating=\"-1\" MicrosoftPhoto:Rating=\"75\""), 0U);
}

TEST(image_metadata, xmp_counts_before_exif) {
  const std::string exif = exif_rating({stars(2), percent(25)});
  EXPECT_EQ(rating_of(exif), 25U);
  EXPECT_EQ(rating_of(exif + xmp_segment(packet(description(" xmp:Rating=\"5\"")))), 99U);
  EXPECT_EQ(rating_of(exif + xmp_segment(packet(description("")))), 25U);
  EXPECT_EQ(rating_of(exif_rating({stars(3)})), 50U);
}

TEST(image_metadata, keywords_come_from_xmp_and_those_that_stand_elsewhere_only_after_them) {
  const std::string exif = exif_segment(tiff(byte_order::little, {bytes_field(0x9c9e, 1, "e\0;\0f\0\0\0"s)}));
  const std::string iptc = photoshop_segment(resource(0x0404, dataset(2, 25, "i")));
  const std::string xmp = xmp_segment(packet(description("", bag("dc:subject", {"x", "y"}))));
  EXPECT_EQ(keywords_of(exif), (wide_strings{L"e", L"f"}));
  EXPECT_EQ(keywords_of(exif + iptc), (wide_strings{L"i", L"e", L"f"}));
  EXPECT_EQ(keywords_of(exif + iptc + xmp), (wide_strings{L"x", L"y", L"i", L"e", L"f"}));
  EXPECT_EQ(keywords_of(""), std::nullopt);
}

TEST(image_metadata, keywords_that_iptc_or_exif_hold_in_another_spelling_come_once) {
  const std::string long_tag(70, 'l');
  const std::string iptc = photoshop_segment(
      resource(0x0404, dataset(2, 105, "\xe9") + dataset(2, 25, "?") + dataset(2, 25, long_tag.substr(0, 64))));
  const std::string exif = exif_segment(tiff(byte_order::little, {bytes_field(0x9c9e, 1, "a\0;\0b\0\0\0"s)}));
  const std::string xmp = xmp_segment(packet(description("", bag("dc:subject", {"\xe6\xb5\xb7", long_tag, "a;b"}))));
  EXPECT_EQ(keywords_of(exif + iptc + xmp), (wide_strings{L"\u6d77", std::wstring(70, L'l'), L"a;b"}));
}

TEST(image_metadata, characters_beyond_the_basic_plane_survive_in_exif) {
  const std::string exif = exif_segment(tiff(byte_order::big, {bytes_field(0x9c9e, 1, "\x3d\xd8\0\xde!\0\0\0"s)}));
  EXPECT_EQ(keywords_of(exif), wide_strings{L"\U0001F600!"});
}

TEST(image_metadata, values_off_the_scale_are_stored_as_they_are) {
  const std::string before = jpeg("");
  const opened_image image = open(before);
  const std::string after = apply_plan(before, *plan_change(*image, {500, {}}));
  const opened_image again = open(after);
  EXPECT_EQ(read_rating(again->blocks()), 500U);
  EXPECT_EQ(tiff_number(*again->blocks().exif, tiff_tag::rating), 500U);
  const std::string huge = apply_plan(after, *plan_change(*again, {70000, {}}));
  const opened_image last = open(huge);
  EXPECT_EQ(read_rating(last->blocks()), 70000U);
  EXPECT_EQ(tiff_number(*last->blocks().exif, tiff_tag::rating_percent), std::nullopt) << "too large for the field";
}

TEST(image_metadata, a_rating_alone_leaves_keywords_as_they_are_everywhere) {
  const std::string iptc = photoshop_segment(resource(0x0404, dataset(2, 25, "i")));
  const std::string before = jpeg(iptc + xmp_segment(packet(description("", bag("dc:subject", {"x"})), 500)));
  const opened_image image = open(before);
  const std::string after = apply_plan(before, *plan_change(*image, {75, {}}));
  EXPECT_NE(after.find(iptc), std::string::npos);
  const opened_image again = open(after);
  EXPECT_EQ(read_keywords(again->blocks()), (wide_strings{L"x", L"i"}));
  EXPECT_EQ(xmp_values(*again->blocks().xmp, xmp_field::last_keyword_xmp), std::nullopt);
}

TEST(image_metadata, an_iptc_copy_in_xmp_is_kept_in_step_where_it_is) {
  const std::string text = packet(description("", bag("MicrosoftPhoto:LastKeywordIPTC", {"old"})), 1000);
  const std::string before = jpeg(xmp_segment(text));
  const opened_image image = open(before);
  const std::string after = apply_plan(before, *plan_change(*image, {{}, wide_strings{L"new"}}));
  const opened_image again = open(after);
  EXPECT_EQ(xmp_values(*again->blocks().xmp, xmp_field::last_keyword_iptc), std::vector<std::string>{"new"});
}

TEST(image_metadata, in_place_only_where_the_packet_has_room) {
  const std::vector<xmp_change> five{{xmp_field::rating, {"5"}}};
  const auto planned = [&five](const std::string& bytes) {
    const opened_image image = open(bytes);
    return plan_xmp_in_place(*image, five);
  };
  EXPECT_TRUE(planned(jpeg(xmp_segment(packet(description(""), 100)))));
  EXPECT_FALSE(planned(jpeg(xmp_segment(packet(description(""), 0)))));
  EXPECT_TRUE(planned(jpeg(xmp_segment(packet(description(" xmp:Rating=\"1\""), 0)))));
  EXPECT_FALSE(planned(jpeg("")));
}

}  // namespace
