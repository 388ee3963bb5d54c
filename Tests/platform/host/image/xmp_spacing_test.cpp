#include "platform/host/image/xmp_spacing.h"

#include <gtest/gtest.h>

#include <memory>

#include "platform/host/image/image_bytes.h"
#include "platform/host/image/image_container.h"
#include "platform/host/image/image_metadata.h"
#include "platform/host/patch_writer.h"

namespace {

using namespace platform::host;
using namespace platform::host::image;
using namespace image_bytes;
using wide_strings = std::vector<std::wstring>;

packet_change edited(const std::string& text, const std::vector<xmp_change>& changes) {
  const std::optional<xmp_packet> parsed = parse_xmp_packet(text);
  EXPECT_TRUE(parsed);
  const auto change = edit_xmp_packet(*parsed, changes, 1 << 20);
  EXPECT_TRUE(change);
  return change.value_or(packet_change{});
}

TEST(xmp_spacing, a_longer_attribute_takes_the_white_space_behind_it) {
  const std::string text = packet(description(" xmp:Rating=\"4\"    xmp:Label=\"red\""), 100);
  const packet_change change = edited(text, {{xmp_field::rating, {"500"}}});
  EXPECT_EQ(change.text, packet(description(" xmp:Rating=\"500\"  xmp:Label=\"red\""), 100));
  EXPECT_TRUE(change.pieces_stand_alone);
}

TEST(xmp_spacing, attributes_keep_white_space_between_them) {
  const std::string text = packet(description(" xmp:Rating=\"4\"  xmp:Label=\"red\""), 100);
  EXPECT_EQ(edited(text, {{xmp_field::rating, {"25"}}}).text,
            packet(description(" xmp:Rating=\"25\" xmp:Label=\"red\""), 100));
  EXPECT_EQ(edited(text, {{xmp_field::rating, {"500"}}}).text,
            packet(description(" xmp:Rating=\"500\"  xmp:Label=\"red\""), 98));
}

TEST(xmp_spacing, white_space_that_is_all_of_an_element_stays) {
  const std::string literal = "<xmp:Label>     </xmp:Label>";
  const std::string text = packet(description("", "<xmp:Rating>4</xmp:Rating>" + literal), 100);
  const packet_change change = edited(text, {{xmp_field::rating, {"500"}}});
  EXPECT_NE(change.text.find("<xmp:Rating>500</xmp:Rating>" + literal), std::string::npos) << change.text;
  EXPECT_EQ(change.text.size(), text.size());
}

TEST(xmp_spacing, of_packets_with_literal_text_only_the_padding_is_taken) {
  const std::string comment = "<!-- >     < -->";
  const std::string text = packet(description(" xmp:Rating=\"4\"", comment), 100);
  const packet_change change = edited(text, {{xmp_field::rating, {"500"}}});
  EXPECT_EQ(change.text, packet(description(" xmp:Rating=\"500\"", comment), 98));
}

TEST(xmp_spacing, changes_in_several_places_are_pieces_of_their_own) {
  const std::string text = packet(description(" xmp:Rating=\"4\"   MicrosoftPhoto:Rating=\"75\"   "), 100);
  const packet_change change = edited(text, {{xmp_field::rating, {"1"}}, {xmp_field::percent, {"1"}}});
  ASSERT_EQ(change.pieces.size(), 2u);
  EXPECT_TRUE(change.pieces_stand_alone);
  EXPECT_LE(change.pieces[0].end, change.pieces[1].begin);
}

TEST(xmp_spacing, what_needs_a_prefix_that_comes_with_it_does_not_stand_alone) {
  const packet_change change = edited(packet("<rdf:Description rdf:about=\"\"/>", 900),
                                      {{xmp_field::rating, {"3"}}, {xmp_field::keywords, {"a"}}});
  EXPECT_FALSE(change.pieces_stand_alone);
}

// Files whose packet was laid out by a first change.

struct laid_out_file : testing::Test {
  std::string bytes;

  // True where the change is a patch.
  bool change(const image_change& wanted) {
    memory_source source(bytes);
    const auto container = open_image_container(source);
    const auto plan = container ? plan_change(*container, wanted) : std::nullopt;
    EXPECT_TRUE(plan);
    if (!plan) return false;
    const bool is_patch = patch_from(source, *plan).has_value();
    bytes = apply_plan(bytes, *plan);
    return is_patch;
  }

  static wide_strings tags(int count) {
    wide_strings all;
    for (int number = 0; number < count; ++number)
      all.push_back(L"keyword " + std::to_wstring(number));
    return all;
  }
};

TEST_F(laid_out_file, ratings_and_ten_short_tags_are_patches_after_the_first_change) {
  for (const std::size_t comment : {0u, 1000u, 2000u, 3000u, 3500u, 4000u, 4100u}) {
    bytes = jpeg(exif_segment(camera_exif()) + segment(0xfe, std::string(comment, 'c')));
    const std::size_t before = bytes.size();
    EXPECT_FALSE(change({75, {}}));
    EXPECT_EQ((bytes.size() - before) % 4096, 0u);
    const std::size_t laid_out_size = bytes.size();
    for (const std::uint32_t percent : {1u, 99u, 25u, 50u, 0u, 75u})
      EXPECT_TRUE(change({percent, {}})) << comment << ", " << percent;
    for (const int count : {1, 2, 10, 9, 0, 5})
      EXPECT_TRUE(change({{}, tags(count)})) << comment << ", " << count;
    EXPECT_EQ(bytes.size(), laid_out_size);
  }
}

TEST_F(laid_out_file, sixty_changes_take_one_block_at_most) {
  bytes = jpeg(exif_segment(camera_exif()));
  change({75, {}});
  const std::size_t laid_out_size = bytes.size();
  for (int number = 0; number < 60; ++number) {
    const std::uint32_t percents[] = {0, 1, 25, 50, 75, 99};
    change({percents[number % 6], tags(number % 25)});
  }
  EXPECT_LE(bytes.size(), laid_out_size + 4096);
}

}  // namespace
