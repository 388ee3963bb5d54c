#include "metadata/xmp_packet_patch.h"

#include <gtest/gtest.h>

namespace {

using quill_box::metadata::packet_patch;
using quill_box::metadata::patch_rating_in_packet;

const std::string begin = R"(<?xpacket begin="" id="W5M0MpCehiHzreSzNTczkc9d"?>)";
const std::string end = R"(<?xpacket end="w"?>)";
const std::string wrapper_start = "<x:xmpmeta><rdf:RDF>";
const std::string wrapper_end = "</rdf:RDF></x:xmpmeta>";
const std::string block_of_4 =
    R"(<rdf:Description rdf:about="" xmlns:xmp="http://ns.adobe.com/xap/1.0/"><xmp:Rating>4</xmp:Rating></rdf:Description>)";

std::string packet(const std::string& inside, std::size_t padding = 0) {
  return begin + wrapper_start + inside + wrapper_end + std::string(padding, ' ') + end;
}

// The whole content with the patch applied; empty when there is none.
std::string patched(const std::string& content, std::string_view rating) {
  const auto patch = patch_rating_in_packet(content, rating);
  if (!patch) return {};
  std::string changed = content;
  return changed.replace(patch->offset, patch->packet.size(), patch->packet);
}

TEST(packet_patch, a_shorter_value_is_padded_with_blanks_inside_the_element) {
  EXPECT_EQ(patched(packet("<xmp:Rating>12</xmp:Rating>"), "3"), packet("<xmp:Rating>3 </xmp:Rating>"));
}

TEST(packet_patch, an_attribute_is_replaced_in_place) {
  EXPECT_EQ(patched(packet(R"(<rdf:Description xmp:Rating="5"/>)"), "2"),
            packet(R"(<rdf:Description xmp:Rating="2"/>)"));
  EXPECT_EQ(patched(packet(R"(<rdf:Description xmp:Rating="500"/>)"), "2"),
            packet(R"(<rdf:Description xmp:Rating="2  "/>)"));
}

TEST(packet_patch, the_element_goes_before_the_attribute) {
  EXPECT_EQ(patched(packet(R"(<a xmp:Rating="1"/><xmp:Rating>1</xmp:Rating>)"), "2"),
            packet(R"(<a xmp:Rating="1"/><xmp:Rating>2</xmp:Rating>)"));
}

TEST(packet_patch, an_empty_element_falls_through_to_the_attribute) {
  EXPECT_EQ(patched(packet(R"(<xmp:Rating></xmp:Rating><a xmp:Rating="1"/>)"), "2"),
            packet(R"(<xmp:Rating></xmp:Rating><a xmp:Rating="2"/>)"));
}

TEST(packet_patch, an_element_that_is_too_short_falls_through_to_the_attribute) {
  EXPECT_EQ(patched(packet(R"(<xmp:Rating>1</xmp:Rating><a xmp:Rating="123"/>)"), "500"),
            packet(R"(<xmp:Rating>1</xmp:Rating><a xmp:Rating="500"/>)"));
}

TEST(packet_patch, only_the_first_packet_is_changed) {
  const std::string content = "junk" + packet("<xmp:Rating>1</xmp:Rating>") + packet("<xmp:Rating>1</xmp:Rating>");
  EXPECT_EQ(patched(content, "5"),
            "junk" + packet("<xmp:Rating>5</xmp:Rating>") + packet("<xmp:Rating>1</xmp:Rating>"));
}

TEST(packet_patch, an_end_marker_in_front_of_the_packet_is_none_of_its) {
  EXPECT_EQ(patched(end + packet("<xmp:Rating>1</xmp:Rating>"), "5"), end + packet("<xmp:Rating>5</xmp:Rating>"));
}

TEST(packet_patch, the_bytes_around_the_packet_are_not_part_of_the_patch) {
  const std::string whole = packet("<xmp:Rating>1</xmp:Rating>");
  const auto patch = patch_rating_in_packet("<xmp:Rating>9</xmp:Rating>" + whole + "behind", "5");
  ASSERT_TRUE(patch);
  EXPECT_EQ(patch->offset, 26U);
  EXPECT_EQ(patch->packet.size(), whole.size());
}

TEST(packet_patch, a_rating_outside_of_the_packet_is_not_seen) {
  const std::string content = "<xmp:Rating>1</xmp:Rating>" + packet("") + "<xmp:Rating>1</xmp:Rating>";
  EXPECT_EQ(patched(content, "5"), "");
}

TEST(packet_patch, a_new_block_takes_its_room_from_the_padding) {
  const std::size_t room = block_of_4.size();
  EXPECT_EQ(patched(packet("<a/>", room), "4"), packet("<a/>" + block_of_4));
  EXPECT_EQ(patched(packet("<a/>", room + 7), "4"), packet("<a/>" + block_of_4, 7));
}

TEST(packet_patch, less_padding_than_the_block_is_refused) {
  EXPECT_FALSE(patch_rating_in_packet(packet("<a/>", block_of_4.size() - 1), "4"));
}

TEST(packet_patch, a_new_block_stands_in_front_of_the_last_rdf_end_tag_of_the_wrapper) {
  const std::string padding(block_of_4.size(), '\n');
  const std::string content = begin + "<x:xmpmeta></rdf:RDF></rdf:RDF></x:xmpmeta>" + padding + "</rdf:RDF>" + end;
  EXPECT_EQ(patched(content, "4"),
            begin + "<x:xmpmeta></rdf:RDF>" + block_of_4 + "</rdf:RDF></x:xmpmeta></rdf:RDF>" + end);
}

TEST(packet_patch, a_rating_of_500_over_one_digit_adds_a_second_block_and_keeps_the_old_value) {
  const std::string block_of_500 =
      R"(<rdf:Description rdf:about="" xmlns:xmp="http://ns.adobe.com/xap/1.0/"><xmp:Rating>500</xmp:Rating></rdf:Description>)";
  const std::string old_value = "<xmp:Rating>4</xmp:Rating>";
  EXPECT_EQ(patched(packet(old_value, block_of_500.size()), "500"), packet(old_value + block_of_500));
  EXPECT_FALSE(patch_rating_in_packet(packet(old_value, block_of_500.size() - 1), "500"));
}

TEST(packet_patch, a_self_closed_element_is_not_recognised) {
  EXPECT_FALSE(patch_rating_in_packet(packet("<xmp:Rating/>"), "4"));
  EXPECT_EQ(patched(packet("<xmp:Rating/>", block_of_4.size()), "4"), packet("<xmp:Rating/>" + block_of_4));
}

TEST(packet_patch, a_packet_without_one_of_its_markers_is_none) {
  const std::string inside = wrapper_start + "<xmp:Rating>1</xmp:Rating>" + wrapper_end;
  EXPECT_FALSE(patch_rating_in_packet("", "4"));
  EXPECT_FALSE(patch_rating_in_packet(inside + end, "4"));
  EXPECT_FALSE(patch_rating_in_packet(begin + inside, "4"));
  EXPECT_FALSE(patch_rating_in_packet(begin + inside + "<?xpacket end=\"w\"", "4"));
  EXPECT_FALSE(patch_rating_in_packet(end + begin + inside, "4"));
}

TEST(packet_patch, no_block_goes_into_a_packet_without_a_whole_wrapper) {
  const std::string padding(block_of_4.size() * 2, ' ');
  EXPECT_FALSE(patch_rating_in_packet(begin + "<x:xmpmeta></rdf:RDF>" + padding + end, "4"));
  EXPECT_FALSE(patch_rating_in_packet(begin + "<x:xmpmeta></x:xmpmeta></rdf:RDF>" + padding + end, "4"));
  // The end marker in front of the wrapper's end: the packet ends there.
  EXPECT_FALSE(patch_rating_in_packet(begin + end + wrapper_end + padding, "4"));
  EXPECT_FALSE(patch_rating_in_packet(begin + "<?xpacket end=" + wrapper_end + padding + "?>", "4"));
}

TEST(packet_patch, a_value_without_an_end_is_none) {
  EXPECT_FALSE(patch_rating_in_packet(begin + "<xmp:Rating>1" + std::string("?>"), "4"));
  EXPECT_FALSE(patch_rating_in_packet(begin + R"(xmp:Rating="1)" + "<?xpacket end=?>", "4"));
}

TEST(packet_patch, an_attribute_that_ends_inside_the_end_marker_is_none) {
  EXPECT_FALSE(patch_rating_in_packet(begin + R"(<a xmp:Rating="1  )" + end, "4"));
  EXPECT_FALSE(patch_rating_in_packet(begin + R"(<?xpacket end="w" xmp:Rating="1"?>)", "4"));
}

TEST(packet_patch, a_value_that_runs_up_to_the_end_marker_is_taken_as_it_stands) {
  EXPECT_EQ(patched(begin + "<xmp:Rating>1<?xpacket end=?>", "4"), begin + "<xmp:Rating>4<?xpacket end=?>");
}

}  // namespace
