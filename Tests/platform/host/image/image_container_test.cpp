#include "platform/host/image/image_container.h"

#include <gtest/gtest.h>

#include "platform/host/image/image_bytes.h"
#include "platform/host/image/image_metadata.h"
#include "platform/host/image/photoshop_resources.h"
#include "text/conversions.h"

namespace {

using namespace platform::host::image;
using namespace image_bytes;
using wide_strings = std::vector<std::wstring>;

const image_change four_stars{75, {}};
const image_change two_tags{{}, wide_strings{L"a tag", L"\u00e9t\u00e9"}};

std::string changed(const std::string& bytes, const image_change& change) {
  const opened_image image = open(bytes);
  if (!image) return "not opened";
  const std::optional<platform::host::edit_plan> plan = plan_change(*image, change);
  return plan ? apply_plan(bytes, *plan) : "refused";
}

std::optional<std::uint32_t> rating(const std::string& bytes) {
  const opened_image image = open(bytes);
  EXPECT_TRUE(image);
  return image ? read_rating(image->blocks()) : std::nullopt;
}

std::optional<wide_strings> keywords(const std::string& bytes) {
  const opened_image image = open(bytes);
  EXPECT_TRUE(image);
  return image ? read_keywords(image->blocks()) : std::nullopt;
}

const std::string xmp_text = packet(description(" xmp:Label=\"red\""), 900);
const std::string extended_xmp = segment(0xe1, "http://ns.adobe.com/xmp/extension/\0"s + std::string(32, 'A') + "data");
const std::string icc = segment(0xe2, "ICC_PROFILE\0\1\1 profile"s);
const std::string comment = segment(0xfe, "a comment");

struct sample {
  std::string name;
  std::string bytes;
};

std::vector<sample> samples() {
  const std::string iptc = photoshop_segment(resource(0x0404, dataset(2, 0, "\0\2"s) + dataset(2, 25, "old")));
  const std::string exif = exif_segment(camera_exif());
  const std::string tiff_with_all =
      tiff(byte_order::big, {bytes_field(700, 1, xmp_text), bytes_field(33723, 7, dataset(2, 25, "old"))}, "pixels");
  return {
      {"jpeg, nothing", jpeg("")},
      {"jpeg, jfif", jpeg(jfif() + comment)},
      {"jpeg, exif", jpeg(exif + icc)},
      {"jpeg, big-endian exif", jpeg(jfif() + exif_segment(camera_exif(byte_order::big)))},
      {"jpeg, xmp", jpeg(xmp_segment(xmp_text) + extended_xmp)},
      {"jpeg, all", jpeg(jfif() + exif + xmp_segment(xmp_text) + iptc + icc, "a trailing film")},
      {"jpeg, iptc without keywords", jpeg(photoshop_segment(resource(0x0404, dataset(2, 105, "head"))))},
      {"jpeg, iptc behind the index", jpeg(exif + mpf_segment(500, 900) + iptc, "second image")},
      {"png, nothing", png()},
      {"png, all", png(png_chunk("eXIf", camera_exif()) + png_xmp(xmp_text), png_chunk("tEXt", "a\0b"s), "trailer")},
      {"webp, lossy", webp(vp8(300, 200))},
      {"webp, lossless", webp(vp8l(300, 200, 1), "trailer")},
      {"webp, extended", webp(vp8x(0x2c, 30, 20) + webp_chunk("ICCP", "icc") + vp8(30, 20) +
                              webp_chunk("EXIF", camera_exif()) + webp_chunk("XMP ", xmp_text))},
      {"tiff", tiff(byte_order::little, {bytes_field(0x010f, 2, "Maker\0"s)}, "pixels")},
      {"tiff, all", tiff_with_all},
  };
}

TEST(image_container, what_is_written_is_read_back) {
  for (const sample& image : samples()) {
    SCOPED_TRACE(image.name);
    const std::string rated = changed(image.bytes, four_stars);
    EXPECT_EQ(rating(rated), 75U);
    const std::string tagged = changed(rated, two_tags);
    EXPECT_EQ(rating(tagged), 75U);
    EXPECT_EQ(keywords(tagged), two_tags.keywords);
    const std::string removed = changed(tagged, {0, wide_strings{}});
    EXPECT_EQ(rating(removed), std::nullopt);
    EXPECT_EQ(keywords(removed).value_or(wide_strings{}), wide_strings{});
  }
}

TEST(image_container, equal_values_make_no_plan) {
  for (const sample& image : samples()) {
    SCOPED_TRACE(image.name);
    const image_change both{75, two_tags.keywords};
    const std::string written = changed(image.bytes, both);
    const opened_image again = open(written);
    ASSERT_TRUE(again);
    const auto plan = plan_change(*again, both);
    ASSERT_TRUE(plan);
    EXPECT_TRUE(plan->empty());
  }
}

TEST(image_container, removing_what_is_not_there_makes_no_plan) {
  for (const sample& image : samples()) {
    SCOPED_TRACE(image.name);
    const opened_image opened = open(image.bytes);
    const auto plan = plan_change(*opened, {0, {}});
    ASSERT_TRUE(plan);
    EXPECT_TRUE(plan->empty());
  }
}

TEST(image_container, the_second_change_keeps_the_size) {
  for (const sample& image : samples()) {
    SCOPED_TRACE(image.name);
    const std::string rated = changed(image.bytes, four_stars);
    EXPECT_EQ(changed(rated, {1, {}}).size(), rated.size());
    const std::string other = changed(rated, {{}, wide_strings{L"abc", L"def", L"ghi"}});
    const bool has_iptc = image.bytes.find("\x1c\x02") != std::string::npos;
    if (!has_iptc) {
      EXPECT_EQ(other.size(), rated.size());
    }
    const std::string tagged = changed(rated, two_tags);
    const std::string again = changed(tagged, {99, {}});
    ASSERT_EQ(again.size(), tagged.size());
    std::size_t different = 0;
    for (std::size_t at = 0; at < again.size(); ++at)
      different += again[at] != tagged[at] ? 1U : 0U;
    EXPECT_LT(different, 100U);
  }
}

TEST(image_container, cut_at_every_byte_it_is_refused_or_still_makes_sense) {
  for (const sample& image : samples()) {
    SCOPED_TRACE(image.name);
    for (std::size_t size = 0; size < image.bytes.size(); ++size) {
      const std::string cut = image.bytes.substr(0, size);
      const std::string after = changed(cut, {75, two_tags.keywords});
      if (after == "not opened" || after == "refused") continue;
      ASSERT_EQ(rating(after), 75U) << size;
      ASSERT_EQ(keywords(after), two_tags.keywords) << size;
    }
  }
}

// Each pair of bytes in the first part of the file becomes a length that reaches too far.
TEST(image_container, lying_lengths_are_refused_or_still_make_sense) {
  for (const sample& image : samples()) {
    SCOPED_TRACE(image.name);
    for (std::size_t at = 0; at + 2 <= std::min<std::size_t>(image.bytes.size(), 400); ++at) {
      for (const char lie : {'\xff', '\0', '\1'}) {
        std::string lying = image.bytes;
        lying[at] = lying[at + 1] = lie;
        const std::string after = changed(lying, four_stars);
        if (after == "not opened" || after == "refused") continue;
        ASSERT_EQ(rating(after), 75U) << at;
      }
    }
  }
}

TEST(image_container, refuses_what_is_no_image_of_a_known_kind) {
  for (const std::string& bytes : {""s, "GIF89a and so on"s, "\xff\xd8"s, "RIFF\x10\0\0\0WAVEdata"s,
                                   "II+\0\x08\0\0\0\x10\0\0\0\0\0\0\0"s, std::string(100, '\0')}) {
    EXPECT_FALSE(open_to_read(bytes));
  }
}

// The metadata of a sample is read up to the cut, and never changed there.
TEST(image_container, cut_at_every_byte_it_takes_a_change_only_where_it_is_whole) {
  for (const sample& image : samples()) {
    SCOPED_TRACE(image.name);
    for (std::size_t size = 12; size < image.bytes.size(); ++size) {
      const opened_image cut = open_to_read(std::string_view(image.bytes).substr(0, size));
      ASSERT_TRUE(cut) << size;
      if (!cut->is_whole()) {
        ASSERT_FALSE(plan_change(*cut, {75, two_tags.keywords})) << size;
      }
    }
  }
}

// JPEG

TEST(jpeg_container, a_first_rating_puts_exif_behind_jfif_and_xmp_behind_exif) {
  const std::string before = jpeg(jfif() + icc + comment, "trailer");
  const std::string after = changed(before, four_stars);
  const std::size_t front = 2 + jfif().size();
  ASSERT_EQ(after.substr(0, front), before.substr(0, front));
  EXPECT_TRUE(after.ends_with(before.substr(front)));
  EXPECT_EQ(after.substr(front, 10), "\xff\xe1"s + after.substr(front + 2, 2) + "Exif\0\0"s);
  const std::size_t xmp = after.find("http://ns.adobe.com/xap/1.0/\0"s);
  EXPECT_GT(xmp, front);
  EXPECT_EQ(after.find("\xff\xe1"s, front + 2), xmp - 4) << "right behind Exif";
}

TEST(jpeg_container, an_exif_block_keeps_its_bytes_and_a_packet_its_neighbours) {
  const std::string block = camera_exif();
  const std::string before = jpeg(exif_segment(block) + xmp_segment(xmp_text) + extended_xmp + icc, "trailer");
  const std::string after = changed(before, four_stars);
  EXPECT_NE(after.find(block.substr(8)), std::string::npos);
  EXPECT_TRUE(after.ends_with(before.substr(before.find(extended_xmp))));
  EXPECT_NE(after.find("xmp:Label=\"red\""), std::string::npos);
}

TEST(jpeg_container, stores_what_the_shell_stores) {
  const std::string after = changed(jpeg(jfif()), {75, two_tags.keywords});
  const opened_image image = open(after);
  ASSERT_TRUE(image);
  const metadata_blocks& blocks = image->blocks();
  EXPECT_EQ(xmp_values(*blocks.xmp, xmp_field::rating), std::vector<std::string>{"4"});
  EXPECT_EQ(xmp_values(*blocks.xmp, xmp_field::percent), std::vector<std::string>{"75"});
  EXPECT_EQ(xmp_values(*blocks.xmp, xmp_field::keywords), (std::vector<std::string>{"a tag", "\xc3\xa9t\xc3\xa9"}));
  EXPECT_EQ(xmp_values(*blocks.xmp, xmp_field::last_keyword_xmp), xmp_values(*blocks.xmp, xmp_field::keywords));
  EXPECT_EQ(xmp_values(*blocks.xmp, xmp_field::last_keyword_iptc), std::nullopt);
  EXPECT_EQ(tiff_number(*blocks.exif, tiff_tag::rating), 4U);
  EXPECT_EQ(tiff_number(*blocks.exif, tiff_tag::rating_percent), 75U);
  EXPECT_EQ(tiff_value(*blocks.exif, *blocks.exif->directory.find(tiff_tag::keywords)),
            "a\0 \0t\0a\0g\0;\0\xe9\0t\0\xe9\0\0\0"s);
  EXPECT_FALSE(blocks.iptc);
}

TEST(jpeg_container, iptc_keywords_follow_with_their_digest_and_their_copy_in_xmp) {
  const std::string old = dataset(2, 0, "\0\2"s) + dataset(2, 25, "old");
  const std::string before =
      jpeg(photoshop_segment(resource(0x0404, old) + resource(0x0425, md5(old)) + resource(0x03ed, "other")));
  const std::string after = changed(before, two_tags);
  const opened_image image = open(after);
  ASSERT_TRUE(image);
  const std::string& iptc = *image->blocks().iptc;
  EXPECT_EQ(iptc, dataset(2, 0, "\0\2"s) + dataset(2, 25, "a tag") + dataset(2, 25, "\xe9t\xe9"));
  EXPECT_NE(after.find(resource(0x0425, md5(iptc)) + resource(0x03ed, "other")), std::string::npos);
  EXPECT_TRUE(xmp_values(*image->blocks().xmp, xmp_field::last_keyword_iptc));
}

TEST(jpeg_container, resources_over_several_segments_are_one_row) {
  const std::string old = dataset(2, 25, "old") + dataset(2, 120, std::string(30000, 'c'));
  const std::string row = resource(0x0404, old) + resource(0x0bb7, std::string(60000, 'x'));
  const std::string before = jpeg(photoshop_segment(row.substr(0, 100)) + comment +
                                  photoshop_segment(row.substr(100, 60000)) + photoshop_segment(row.substr(60100)));
  const std::string after = changed(before, two_tags);
  EXPECT_EQ(keywords(after), two_tags.keywords);
  const opened_image image = open(after);
  EXPECT_EQ(*image->blocks().iptc,
            dataset(2, 25, "a tag") + dataset(2, 25, "\xe9t\xe9") + dataset(2, 120, std::string(30000, 'c')));
  EXPECT_NE(after.find(comment), std::string::npos);
}

std::uint32_t number_at(const std::string& bytes, std::size_t at) {
  return platform::host::get_u32(bytes, at, byte_order::big);
}

TEST(jpeg_container, further_images_are_still_found_whatever_grew) {
  const std::string second = "\xff\xd8 the second image \xff\xd9"s;
  const std::string old = dataset(2, 25, "old");
  for (const bool iptc_behind : {false, true}) {
    const std::string iptc = photoshop_segment(resource(0x0404, old));
    const std::string draft =
        exif_segment(camera_exif()) + (iptc_behind ? "" : iptc) + mpf_segment(0, 0) + (iptc_behind ? iptc : "") + icc;
    const std::size_t index = jpeg(draft).find("MPF\0"s) + 4;
    const auto first_size = static_cast<std::uint32_t>(jpeg(draft).size());
    const std::string segments = exif_segment(camera_exif()) + (iptc_behind ? "" : iptc) +
                                 mpf_segment(first_size, static_cast<std::uint32_t>(first_size - index)) +
                                 (iptc_behind ? iptc : "") + icc;
    const std::string before = jpeg(segments, second);
    const std::string after = changed(before, {75, wide_strings{L"a much longer list", L"of several tags"}});
    const std::size_t new_index = after.find("MPF\0"s) + 4;
    const std::size_t entries = new_index + 8 + 2 + std::size_t{3} * 12 + 4;
    ASSERT_EQ(after.substr(new_index + number_at(after, entries + 16 + 8)), second);
    EXPECT_EQ(number_at(after, entries + 4), after.size() - second.size()) << "the first image's size";
    EXPECT_LT(after.find("http://ns.adobe.com/xap/1.0/"), new_index);
  }
}

TEST(jpeg_container, an_index_that_cannot_be_read_forbids_growth_behind_it_only) {
  const std::string broken = segment(0xe2, "MPF\0not an index"s);
  EXPECT_EQ(rating(changed(jpeg(broken), four_stars)), 75U);
  const std::string behind = photoshop_segment(resource(0x0404, dataset(2, 25, "old")));
  EXPECT_EQ(changed(jpeg(broken + behind), two_tags), "refused");
}

TEST(jpeg_container, a_full_exif_segment_leaves_the_rating_to_xmp) {
  const std::string block = tiff(byte_order::little, {bytes_field(0x010f, 2, "Maker\0"s)});
  const std::string full = block + std::string(65533 - 6 - block.size(), 'm');
  const std::string after = changed(jpeg(exif_segment(full)), {75, two_tags.keywords});
  EXPECT_NE(after.find(exif_segment(full)), std::string::npos);
  EXPECT_EQ(rating(after), 75U);
  EXPECT_EQ(keywords(after), two_tags.keywords);
}

TEST(jpeg_container, a_packet_that_fills_its_segment_takes_no_more) {
  const std::string small = packet(description(" xmp:Label=\"red\""), 0);
  const std::string full =
      packet(description("", "<xmp:x>" + std::string(65504 - small.size() - 30, 'x') + "</xmp:x>"), 0);
  ASSERT_LE(full.size(), 65504U);
  EXPECT_EQ(changed(jpeg(xmp_segment(full)), {{}, wide_strings(20, L"a long keyword")}), "refused");
}

TEST(jpeg_container, a_packet_of_the_largest_size_is_edited_in_place) {
  const std::string small = packet(description(" xmp:Rating=\"1\" MicrosoftPhoto:Rating=\"1\""), 0);
  const std::string largest =
      packet(description(" xmp:Rating=\"1\" MicrosoftPhoto:Rating=\"1\""), 65504 - small.size());
  const std::string before = jpeg(exif_segment(camera_exif()) + xmp_segment(largest));
  EXPECT_EQ(rating(changed(before, four_stars)), 75U);
}

TEST(jpeg_container, fill_bytes_stay) {
  const std::string before = jpeg("\xff\xff\xff"s + xmp_segment(xmp_text) + "\xff"s + comment);
  const std::string after = changed(before, four_stars);
  EXPECT_NE(after.find("\xff\xff\xff\xff\xe1"s), std::string::npos);
  EXPECT_NE(after.find("\xff"s + comment), std::string::npos);
}

TEST(jpeg_container, refuses_what_it_cannot_understand) {
  const std::string exif = exif_segment(camera_exif());
  EXPECT_TRUE(open(jpeg(exif)));
  EXPECT_FALSE(open(jpeg(exif + exif))) << "two Exif blocks";
  EXPECT_FALSE(open(jpeg(xmp_segment(xmp_text) + xmp_segment(xmp_text)))) << "two packets";
  EXPECT_FALSE(open(jpeg(exif_segment("no TIFF header")))) << "an Exif block that isn't one";
  EXPECT_FALSE(open(jpeg(xmp_segment("<x:xmpmeta>")))) << "a packet that isn't well formed";
  EXPECT_FALSE(open(jpeg(photoshop_segment("8BIMcut")))) << "image resources that are cut";
  EXPECT_FALSE(open(jpeg(photoshop_segment(resource(0x0404, "no datasets"))))) << "IPTC that isn't";
  EXPECT_FALSE(open(jpeg("\xff\xe1\0\0"s))) << "a segment without a length";
  EXPECT_FALSE(open(jpeg("\xff\xe1\0\1"s)));
  EXPECT_FALSE(open(jpeg("something between segments")));
  EXPECT_FALSE(open(jpeg("\xff\xd8"s))) << "a second image";
  EXPECT_FALSE(open("\xff\xd8"s + jfif() + "\xff\xd9"s)) << "no scan";
  EXPECT_FALSE(open("\xff\xd8"s + exif)) << "cut between segments";
}

// PNG

TEST(png_container, a_new_packet_comes_behind_the_header_and_nothing_else_moves) {
  const std::string before = png(png_chunk("iDOT", "12345678"), png_chunk("tEXt", "a\0b"s), "trailer");
  const std::string after = changed(before, four_stars);
  const std::size_t header_end = 8 + 25;
  EXPECT_EQ(after.substr(0, header_end), before.substr(0, header_end));
  EXPECT_TRUE(after.ends_with(before.substr(header_end)));
  EXPECT_EQ(after.find("eXIf"), std::string::npos) << "no Exif block is made";
}

TEST(png_container, a_packet_between_an_offset_index_and_the_pixels_moves_to_the_front_to_grow) {
  const std::string tight = packet(description(""), 0);
  const std::string index = png_chunk("iDOT", "12345678");
  const std::string after = changed(png(index + png_xmp(tight)), four_stars);
  EXPECT_LT(after.find("iTXt"), after.find("iDOT"));
  EXPECT_NE(after.find(index + png_chunk("IDAT", "no pixels really")), std::string::npos);
  EXPECT_EQ(rating(after), 75U);
}

TEST(png_container, an_exif_chunk_takes_the_fields) {
  const std::string after = changed(png("", png_chunk("eXIf", camera_exif())), {75, two_tags.keywords});
  const opened_image image = open(after);
  ASSERT_TRUE(image);
  EXPECT_EQ(tiff_number(*image->blocks().exif, tiff_tag::rating), 4U);
}

TEST(png_container, legacy_text_profiles_stay) {
  const std::string legacy = png_chunk("zTXt", "Raw profile type exif\0\0compressed"s);
  EXPECT_NE(changed(png(legacy), four_stars).find(legacy), std::string::npos);
}

TEST(png_container, refuses_what_it_cannot_understand) {
  EXPECT_TRUE(open(png(png_xmp(xmp_text))));
  EXPECT_FALSE(open(png(png_xmp(xmp_text), png_xmp(xmp_text)))) << "two packets";
  EXPECT_FALSE(open(png(png_chunk("eXIf", camera_exif()) + png_chunk("eXIf", camera_exif()))));
  EXPECT_FALSE(open(png(png_chunk("iTXt", "XML:com.adobe.xmp\0\1\0\0\0deflated"s)))) << "a compressed packet";
  EXPECT_FALSE(open(png(png_chunk("iTXt", "XML:com.adobe.xmp\0\0\0no more NULs"s))));
  std::string wrong_sum = png(png_xmp(xmp_text));
  wrong_sum[wrong_sum.find("red")] = 'R';
  EXPECT_FALSE(open(wrong_sum)) << "a packet with a wrong checksum";
  const std::string whole = png();
  EXPECT_FALSE(open(std::string_view(whole).substr(0, whole.size() - 12))) << "no IEND";
  EXPECT_FALSE(open("\x89PNG\r\n\x1a\n"s + png_chunk("CgBI", "1234") + whole.substr(8))) << "another kind of PNG";
}

// WebP

TEST(webp_container, a_simple_file_gets_the_extended_header_with_its_canvas) {
  const std::string lossy = changed(webp(vp8(300, 200)), four_stars);
  EXPECT_EQ(lossy.substr(12, 18), vp8x(0x04, 300, 200));
  EXPECT_EQ(lossy.substr(30, vp8(300, 200).size()), vp8(300, 200));
  const std::string alpha = changed(webp(vp8l(16384, 1, 1)), four_stars);
  EXPECT_EQ(alpha.substr(12, 18), vp8x(0x14, 16384, 1));
  const std::string opaque = changed(webp(vp8l(7, 9, 0)), four_stars);
  EXPECT_EQ(opaque.substr(12, 18), vp8x(0x04, 7, 9));
}

TEST(webp_container, sizes_flags_and_the_other_chunks_are_right) {
  const std::string animation = webp_chunk("ANIM", "\xff\xff\xff\xff\0\0"s) +
                                webp_chunk("ANMF", "a frame of odd size") + webp_chunk("ODD ", "odd");
  const std::string before = webp(vp8x(0x02, 30, 20) + animation, "trailer");
  const std::string after = changed(before, four_stars);
  EXPECT_TRUE(after.ends_with("trailer"));
  EXPECT_EQ(platform::host::get_u32(after, 4, byte_order::little) + 8, after.size() - 7);
  EXPECT_EQ(after.substr(12, 18 + animation.size()), vp8x(0x06, 30, 20) + animation);
  EXPECT_EQ(after.substr(12 + 18 + animation.size(), 4), "XMP ");
}

TEST(webp_container, an_exif_chunk_takes_the_fields_with_or_without_its_signature) {
  for (const std::string& prefix : {""s, "Exif\0\0"s}) {
    const std::string odd = prefix + camera_exif() + "x";
    const std::string before = webp(vp8x(0x08, 30, 20) + vp8(30, 20) + webp_chunk("EXIF", odd));
    const std::string after = changed(before, four_stars);
    const opened_image image = open(after);
    ASSERT_TRUE(image);
    EXPECT_EQ(tiff_number(*image->blocks().exif, tiff_tag::rating_percent), 75U);
    EXPECT_NE(after.find(odd.substr(prefix.size() + 8)), std::string::npos);
  }
}

TEST(webp_container, refuses_what_it_cannot_understand) {
  const std::string xmp = webp_chunk("XMP ", xmp_text);
  EXPECT_TRUE(open(webp(vp8x(4, 3, 2) + vp8(3, 2) + xmp)));
  EXPECT_FALSE(open(webp(vp8x(4, 3, 2) + vp8(3, 2) + xmp + xmp)));
  EXPECT_FALSE(open(webp(vp8(3, 2) + xmp))) << "more than one chunk without the extended header";
  EXPECT_FALSE(open(webp(webp_chunk("VP8 ", "no key frame here"))));
  EXPECT_FALSE(open(webp("")));
  const std::string whole = webp(vp8(3, 2));
  EXPECT_FALSE(open(std::string_view(whole).substr(0, whole.size() - 1)));
}

// TIFF

TEST(tiff_container, further_pages_and_pixels_keep_their_places) {
  for (const byte_order order : {byte_order::little, byte_order::big}) {
    const std::string before = tiff(order, {bytes_field(0x010f, 2, "Maker\0"s)}, "pixels and a second page", 40);
    const std::string after = changed(before, {75, two_tags.keywords});
    EXPECT_EQ(after.substr(8, before.size() - 8), before.substr(8));
    const opened_image image = open(after);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->blocks().exif->directory.next, 40U);
    EXPECT_EQ(tiff_number(*image->blocks().exif, tiff_tag::rating), 4U);
    EXPECT_TRUE(image->blocks().xmp);
  }
}

TEST(tiff_container, an_iptc_block_of_whole_numbers_keeps_its_type) {
  const std::string old = dataset(2, 25, "old") + std::string(4, '\0');
  const field iptc{33723, 4, static_cast<std::uint32_t>(old.size() / 4), old.substr(0, old.size() / 4 * 4)};
  const std::string after = changed(tiff(byte_order::little, {iptc}), two_tags);
  const opened_image image = open(after);
  ASSERT_TRUE(image);
  const tiff_entry* entry = image->blocks().exif->directory.find(tiff_tag::iptc);
  EXPECT_EQ(entry->type, 4U);
  EXPECT_EQ(image->blocks().iptc->substr(0, 10), dataset(2, 25, "a tag"));
}

TEST(tiff_container, the_digest_among_the_image_resources_follows) {
  const std::string old = dataset(2, 25, "old");
  const std::string before =
      tiff(byte_order::big, {bytes_field(33723, 7, old), bytes_field(34377, 1, resource(0x0425, md5(old)))});
  const std::string after = changed(before, two_tags);
  const opened_image image = open(after);
  ASSERT_TRUE(image);
  EXPECT_NE(after.find(resource(0x0425, md5(*image->blocks().iptc))), std::string::npos);
}

TEST(tiff_container, refuses_what_it_cannot_understand) {
  EXPECT_FALSE(open(tiff(byte_order::little, {}))) << "no fields";
  EXPECT_FALSE(open(tiff(byte_order::little, {bytes_field(700, 1, "no packet")})));
  EXPECT_FALSE(open(tiff(byte_order::little, {bytes_field(33723, 7, "no datasets")})));
}

TEST(jpeg_container, stray_bytes_between_segments_stay_where_they_are) {
  const std::string before = jpeg(jfif() + "stray" + exif_segment(camera_exif()) + "\0"s);
  const auto image = open(before);
  ASSERT_TRUE(image);
  const std::string after = apply_plan(before, *plan_change(*image, {75, {}}));
  EXPECT_TRUE(after.starts_with("\xff\xd8" + jfif() + "stray"));
  EXPECT_EQ(read_rating(open(after)->blocks()), 75u);
  EXPECT_FALSE(open(jpeg(std::string(5000, 's')))) << "too many to be an accident";
}

TEST(jpeg_container, several_iptc_blocks_become_one) {
  const std::string before =
      jpeg(photoshop_segment(resource(0x0404, dataset(2, 25, "a") + dataset(2, 105, "head")) +
                             resource(0x03ed, "other") + resource(0x0404, dataset(2, 25, "b") + "\0"s)));
  const auto image = open(before);
  ASSERT_TRUE(image);
  EXPECT_EQ(read_keywords(image->blocks()), (wide_strings{L"a", L"b"}));
  const std::string after = apply_plan(before, *plan_change(*image, {{}, wide_strings{L"c"}}));
  const auto again = open(after);
  ASSERT_TRUE(again);
  EXPECT_EQ(*again->blocks().iptc, dataset(2, 25, "c") + dataset(2, 105, "head"));
  EXPECT_NE(after.find(resource(0x03ed, "other")), std::string::npos);
}

TEST(jpeg_container, a_file_with_a_table_of_places_behind_it_may_not_grow) {
  const std::string table = "AXS!\1\0\0\0\0\0\0\0"s;
  const std::string rated = jpeg(xmp_segment(packet(description(" xmp:Rating=\"3\""))), table);
  const auto image = open(rated);
  ASSERT_TRUE(image);
  EXPECT_TRUE(plan_change(*image, {std::nullopt, {}}));
  const std::string unrated = jpeg(jfif(), table);
  const auto bare = open(unrated);
  ASSERT_TRUE(bare);
  EXPECT_FALSE(plan_change(*bare, {75, {}}));
}

TEST(image_container, a_packet_in_utf16_is_read_and_written_as_utf8) {
  const std::string text = packet(description(" xmp:Rating=\"3\" xmp:Label=\"gr\xc3\xbcn\""));
  for (const bool big : {false, true}) {
    std::string utf16 = big ? "\xfe\xff" : "\xff\xfe";
    for (const char16_t unit : text::utf16_from_wide(text::wide_from_utf8(text)))
      append_u16(utf16, unit, big ? byte_order::big : byte_order::little);
    const std::string before = jpeg(xmp_segment(utf16));
    const auto image = open(before);
    ASSERT_TRUE(image) << big;
    EXPECT_EQ(read_rating(image->blocks()), 50u);
    const std::string after = apply_plan(before, *plan_change(*image, {75, {}}));
    const auto again = open(after);
    ASSERT_TRUE(again);
    EXPECT_EQ(read_rating(again->blocks()), 75u);
    EXPECT_NE(again->blocks().xmp->text.find("gr\xc3\xbcn"), std::string::npos);
    EXPECT_FALSE(again->blocks().utf16_xmp);
  }
}

TEST(tiff_container, a_file_that_was_cut_in_its_pixels_is_not_changed) {
  const auto with_strip = [](std::uint32_t size) {
    return tiff(byte_order::little, {short_field(256, 1, byte_order::little),
                                     {273, 4, 1, u32_bytes(8, byte_order::little)},
                                     {279, 4, 1, u32_bytes(size, byte_order::little)}});
  };
  EXPECT_TRUE(open(with_strip(4)));
  EXPECT_FALSE(open(with_strip(100'000)));
}

}  // namespace
