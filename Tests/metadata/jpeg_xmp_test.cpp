#include "metadata/jpeg_xmp.h"

#include <gtest/gtest.h>

#include "support/jpeg_bytes.h"

namespace {

using namespace jpeg_bytes;
using quill_box::metadata::jpeg_with_xmp;
using quill_box::metadata::scan_jpeg_for_xmp;

const std::string app0 = segment(0xe0, std::string("JFIF\0\1\1\0\0\1\0\1\0\0", 14));
const std::string comment = segment(0xfe, "hello");
const std::string table = segment(0xdb, std::string(65, 't'));

// The JPEG with the packet; empty when there is none.
std::string with_packet(const std::string& bytes, std::string_view packet) {
  const auto scan = scan_jpeg_for_xmp(bytes);
  if (!scan) return {};
  return jpeg_with_xmp(bytes, *scan, packet).value_or("");
}

TEST(jpeg_xmp_scan, other_files_are_no_jpeg) {
  EXPECT_FALSE(scan_jpeg_for_xmp(""));
  EXPECT_FALSE(scan_jpeg_for_xmp("\xff\xd8\xff"));
  EXPECT_FALSE(scan_jpeg_for_xmp("\x89PNG\r\n\x1a\n"));
  EXPECT_FALSE(scan_jpeg_for_xmp("\xff\xd9\xff\xe0"));
}

TEST(jpeg_xmp_scan, finds_the_segment_with_its_packet) {
  const std::string before = start_of_image + app0;
  const auto scan = scan_jpeg_for_xmp(before + xmp_segment("packet") + table + image_data);
  ASSERT_TRUE(scan);
  EXPECT_TRUE(scan->found);
  EXPECT_EQ(scan->segment_start, before.size());
  EXPECT_EQ(scan->payload_start, before.size() + 33);
  EXPECT_EQ(scan->segment_end, before.size() + 33 + 6);
}

TEST(jpeg_xmp_scan, finds_an_empty_packet) {
  const auto scan = scan_jpeg_for_xmp(start_of_image + xmp_segment("") + image_data);
  ASSERT_TRUE(scan);
  EXPECT_TRUE(scan->found);
  EXPECT_EQ(scan->payload_start, scan->segment_end);
}

TEST(jpeg_xmp_scan, finds_a_segment_behind_a_table) {
  const auto scan = scan_jpeg_for_xmp(start_of_image + table + xmp_segment("p") + image_data);
  ASSERT_TRUE(scan);
  EXPECT_TRUE(scan->found);
  EXPECT_EQ(scan->segment_start, 2 + table.size());
}

TEST(jpeg_xmp_scan, the_signature_must_match_with_its_nul) {
  for (const std::string& data :
       {std::string("http://ns.adobe.com/xap/1.0/"), std::string("http://ns.adobe.com/xap/1.0/ packet"),
        std::string("http://ns.adobe.com/xmp/extension/\0packet", 41), std::string("Exif\0\0packet", 12)}) {
    const auto scan = scan_jpeg_for_xmp(start_of_image + segment(0xe1, data) + image_data);
    ASSERT_TRUE(scan);
    EXPECT_FALSE(scan->found);
  }
  const auto other_marker = scan_jpeg_for_xmp(
      start_of_image + segment(0xe2, std::string("http://ns.adobe.com/xap/1.0/\0p", 30)) + image_data);
  ASSERT_TRUE(other_marker);
  EXPECT_FALSE(other_marker->found);
}

TEST(jpeg_xmp_scan, fill_bytes_in_front_of_a_marker_are_passed_over) {
  const auto scan = scan_jpeg_for_xmp(start_of_image + "\xff\xff\xff" + xmp_segment("p") + image_data);
  ASSERT_TRUE(scan);
  EXPECT_TRUE(scan->found);
  EXPECT_EQ(scan->segment_start, 5U);
}

TEST(jpeg_xmp_scan, ends_at_the_image_data) {
  const auto scan = scan_jpeg_for_xmp(start_of_image + app0 + image_data + xmp_segment("p"));
  ASSERT_TRUE(scan);
  EXPECT_FALSE(scan->found);
  EXPECT_EQ(scan->insertion_point, 2 + app0.size());
}

TEST(jpeg_xmp_scan, ends_at_damage_with_the_insertion_point_found_so_far) {
  const std::string before = start_of_image + app0;
  for (const std::string& damage : {std::string("no marker here"), std::string("\xff\xe1\x00\x01junk", 8),
                                    std::string("\xff\xe1\xff\xff", 4), std::string("\xff"), std::string()}) {
    const auto scan = scan_jpeg_for_xmp(before + damage);
    ASSERT_TRUE(scan);
    EXPECT_FALSE(scan->found);
    EXPECT_EQ(scan->insertion_point, before.size());
  }
}

TEST(jpeg_xmp_scan, a_segment_that_leaves_the_file_by_one_byte_is_damage) {
  std::string bytes = start_of_image + xmp_segment("packet");
  EXPECT_TRUE(scan_jpeg_for_xmp(bytes)->found);
  bytes.pop_back();
  EXPECT_FALSE(scan_jpeg_for_xmp(bytes)->found);
}

TEST(jpeg_xmp_scan, a_new_segment_lands_behind_the_leading_app_and_comment_segments) {
  const std::string leading = start_of_image + app0 + comment + segment(0xef, "x");
  EXPECT_EQ(with_packet(leading + table + comment + image_data, "p"),
            leading + xmp_segment("p") + table + comment + image_data);
}

TEST(jpeg_xmp_scan, app_segments_behind_a_table_do_not_lead) {
  EXPECT_EQ(with_packet(start_of_image + table + app0 + image_data, "p"),
            start_of_image + xmp_segment("p") + table + app0 + image_data);
}

TEST(jpeg_xmp_rewrite, an_existing_segment_is_replaced_and_all_else_stays) {
  const std::string before = start_of_image + app0 + comment;
  const std::string behind = table + xmp_segment("second") + image_data + "trailing data";
  EXPECT_EQ(with_packet(before + xmp_segment("old packet") + behind, "new"), before + xmp_segment("new") + behind);
}

TEST(jpeg_xmp_rewrite, the_largest_packet_has_65504_bytes) {
  const std::string bytes = start_of_image + image_data;
  const std::string largest(65504, 'p');
  EXPECT_EQ(with_packet(bytes, largest), start_of_image + xmp_segment(largest) + image_data);
  EXPECT_EQ(xmp_segment(largest).substr(2, 2), "\xff\xff");
  EXPECT_EQ(with_packet(bytes, largest + "p"), "");
}

}  // namespace
