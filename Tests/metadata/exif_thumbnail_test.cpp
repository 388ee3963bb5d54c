#include "metadata/exif_thumbnail.h"

#include <gtest/gtest.h>

#include "support/jpeg_bytes.h"

namespace {

using namespace jpeg_bytes;
using quill_box::metadata::thumbnail_link_offset;
using quill_box::metadata::thumbnail_search_size;

// Where the link stands when the Exif segment comes first: marker and length, signature, header, count, entries.
constexpr std::size_t link_with_entries(std::size_t entries) { return 2 + 4 + 6 + 8 + 2 + entries * 12; }

std::string jpeg(const std::string& exif) { return start_of_image + exif + image_data; }

TEST(thumbnail_link, is_found_in_either_byte_order) {
  EXPECT_EQ(thumbnail_link_offset(jpeg(exif_segment(tiff(true, 3, 100)))), link_with_entries(3));
  EXPECT_EQ(thumbnail_link_offset(jpeg(exif_segment(tiff(false, 3, 100)))), link_with_entries(3));
}

TEST(thumbnail_link, is_found_behind_a_directory_without_entries) {
  EXPECT_EQ(thumbnail_link_offset(jpeg(exif_segment(tiff(true, 0, 1)))), link_with_entries(0));
}

TEST(thumbnail_link, is_found_where_the_header_says_that_the_directory_is) {
  EXPECT_EQ(thumbnail_link_offset(jpeg(exif_segment(tiff(false, 2, 1, 20)))), link_with_entries(2) + 12);
}

TEST(thumbnail_link, is_found_behind_other_segments_and_fill_bytes) {
  const std::string before = segment(0xe0, "JFIF") + xmp_segment("p") + "\xff\xff";
  EXPECT_EQ(thumbnail_link_offset(start_of_image + before + exif_segment(tiff(true, 1, 9)) + image_data),
            link_with_entries(1) + before.size());
}

TEST(thumbnail_link, of_zero_is_nothing_to_cut) {
  EXPECT_FALSE(thumbnail_link_offset(jpeg(exif_segment(tiff(true, 3, 0)))));
}

TEST(thumbnail_link, any_byte_of_it_counts) {
  EXPECT_TRUE(thumbnail_link_offset(jpeg(exif_segment(tiff(true, 1, 0x01000000)))));
  EXPECT_TRUE(thumbnail_link_offset(jpeg(exif_segment(tiff(false, 1, 1)))));
}

TEST(thumbnail_link, needs_a_jpeg) {
  EXPECT_FALSE(thumbnail_link_offset(""));
  EXPECT_FALSE(thumbnail_link_offset("\xff\xd8\xff"));
  EXPECT_FALSE(thumbnail_link_offset("\xff\xd8\xff\xe1"));
  EXPECT_FALSE(thumbnail_link_offset("\xff\xd8\xff\xe1\x00"));
  EXPECT_FALSE(thumbnail_link_offset("GIF8" + exif_segment(tiff(true, 3, 100))));
}

TEST(thumbnail_link, behind_the_start_of_the_image_data_is_not_looked_for) {
  EXPECT_FALSE(thumbnail_link_offset(start_of_image + image_data + exif_segment(tiff(true, 1, 1))));
  EXPECT_FALSE(thumbnail_link_offset(start_of_image + end_of_image + exif_segment(tiff(true, 1, 1))));
}

TEST(thumbnail_link, needs_the_signature_with_two_nuls) {
  EXPECT_FALSE(thumbnail_link_offset(jpeg(segment(0xe1, std::string("Exif\0x", 6) + tiff(true, 1, 1)))));
  EXPECT_FALSE(thumbnail_link_offset(jpeg(segment(0xe2, std::string("Exif\0\0", 6) + tiff(true, 1, 1)))));
}

TEST(thumbnail_link, needs_the_tiff_header) {
  std::string block = tiff(true, 1, 1);
  block[0] = 'X';
  EXPECT_FALSE(thumbnail_link_offset(jpeg(exif_segment(block))));
  block = tiff(true, 1, 1);
  block[1] = 'M';
  EXPECT_FALSE(thumbnail_link_offset(jpeg(exif_segment(block))));
  block = tiff(true, 1, 1);
  block[2] = 43;
  EXPECT_FALSE(thumbnail_link_offset(jpeg(exif_segment(block))));
  block = tiff(false, 1, 1);
  std::swap(block[2], block[3]);
  EXPECT_FALSE(thumbnail_link_offset(jpeg(exif_segment(block))));
}

TEST(thumbnail_link, only_the_first_exif_segment_counts) {
  EXPECT_FALSE(thumbnail_link_offset(start_of_image + exif_segment(tiff(true, 1, 0)) + exif_segment(tiff(true, 1, 1)) +
                                     image_data));
}

TEST(thumbnail_link, an_exif_segment_too_short_for_a_header_is_passed_over) {
  const std::string too_short = segment(0xe1, std::string("Exif\0\0", 6) + std::string("II*\0\0\0\0", 7));
  EXPECT_EQ(thumbnail_link_offset(start_of_image + too_short + exif_segment(tiff(true, 1, 1)) + image_data),
            link_with_entries(1) + too_short.size());
}

TEST(thumbnail_link, a_directory_that_leaves_the_segment_is_not_followed) {
  for (const std::uint64_t offset : {29ULL, 0x1000ULL, 0x7fffffffULL, 0xffffffffULL}) {
    std::string block = tiff(true, 1, 1);
    block.replace(4, 4, little_endian(offset, 4));
    EXPECT_FALSE(thumbnail_link_offset(jpeg(exif_segment(block)))) << offset;
  }
}

TEST(thumbnail_link, a_count_of_entries_that_leaves_the_segment_is_not_followed) {
  for (const std::uint64_t count : {2ULL, 0x7fffULL, 0xffffULL}) {
    std::string block = tiff(true, 1, 1);
    block.replace(8, 2, little_endian(count, 2));
    EXPECT_FALSE(thumbnail_link_offset(jpeg(exif_segment(block)) + std::string(900'000, 'x'))) << count;
  }
}

TEST(thumbnail_link, must_stand_whole_inside_the_segment) {
  std::string block = tiff(true, 1, 0x01010101);
  EXPECT_TRUE(thumbnail_link_offset(jpeg(exif_segment(block))));
  block.pop_back();
  EXPECT_FALSE(thumbnail_link_offset(jpeg(exif_segment(block))));
}

TEST(thumbnail_link, is_not_found_in_a_file_cut_anywhere_in_front_of_its_end) {
  const std::string whole = start_of_image + exif_segment(tiff(false, 3, 100));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(thumbnail_link_offset(whole.substr(0, length))) << length;
  }
  EXPECT_TRUE(thumbnail_link_offset(whole));
}

}  // namespace
