#include "platform/host/dos_attributes.h"

#include <gtest/gtest.h>

#include "platform/file_system.h"

namespace {

using namespace std::string_view_literals;
using platform::host::dos_attributes_from;
using platform::host::updated_dos_attributes;
namespace attribute = platform::attribute;

// Records as a file server writes them: version 4 without a text, version 3 with one.
constexpr std::string_view bare_record =
    "\0\0\x04\0\x04\0\0\0\x51\0\0\0\x22\0\0\0"
    "IIIIIIIICCCCCCCC"sv;
constexpr std::string_view record_with_text =
    "0x22\0\0\x03\0\x03\0\0\0\x11\0\0\0\x22\0\0\0"
    "times and sizes"sv;

TEST(dos_attributes, are_read_from_text) {
  EXPECT_EQ(dos_attributes_from("0x6"), 6U);
  EXPECT_EQ(dos_attributes_from("0X22"), 0x22U);
  EXPECT_EQ(dos_attributes_from("0x441000"), attribute::cloud_placeholder);
}

TEST(dos_attributes, are_read_from_a_record_with_and_without_a_text) {
  EXPECT_EQ(dos_attributes_from(record_with_text), 0x22U);
  EXPECT_EQ(dos_attributes_from(bare_record), 0x22U);
}

TEST(dos_attributes, of_a_record_that_says_it_has_none_are_none) {
  std::string record(bare_record);
  record[8] = '\x50';
  EXPECT_EQ(dos_attributes_from(record), 0U);
}

TEST(dos_attributes, of_a_value_that_cant_be_read_are_none) {
  for (const std::string_view value : {""sv, "0x"sv, "6"sv, "0x6 "sv, "0xg"sv, "0x123456789"sv, "\0"sv, "\0\0\x04\0"sv,
                                       "\0\0\x04\0\x05\0\0\0\x51\0\0\0\x22\0\0\0"sv}) {
    EXPECT_EQ(dos_attributes_from(value), 0U) << testing::PrintToString(std::string(value));
  }
}

TEST(dos_attributes, of_a_record_cut_anywhere_are_its_own_or_none) {
  for (const std::string_view record : {bare_record, record_with_text}) {
    for (std::size_t size = 0; size <= record.size(); ++size) {
      const std::uint32_t bits = dos_attributes_from(record.substr(0, size));
      EXPECT_TRUE(bits == 0 || bits == 0x2 || bits == 0x22) << size;
    }
  }
}

TEST(dos_attributes, are_stored_as_text_where_there_were_none) {
  EXPECT_EQ(updated_dos_attributes("", attribute::hidden | attribute::system), "0x6");
  EXPECT_EQ(updated_dos_attributes("", attribute::archive), "0x20");
}

TEST(dos_attributes, vanish_when_nothing_is_left) {
  EXPECT_EQ(updated_dos_attributes("0x6", attribute::normal), std::nullopt);
  EXPECT_EQ(updated_dos_attributes("", attribute::normal), std::nullopt);
  EXPECT_EQ(updated_dos_attributes("", attribute::read_only), std::nullopt);
}

TEST(dos_attributes, keep_the_bits_that_nobody_sets) {
  EXPECT_EQ(updated_dos_attributes("0x1002", attribute::system), "0x1004");
  EXPECT_EQ(updated_dos_attributes("0x1002", attribute::normal), "0x1000");
}

TEST(dos_attributes, of_a_record_change_in_place) {
  std::string expected(bare_record);
  expected[12] = '\x05';
  EXPECT_EQ(updated_dos_attributes(bare_record, attribute::system | attribute::read_only), expected);
}

TEST(dos_attributes, of_a_record_without_any_keep_the_record) {
  std::string expected(bare_record);
  expected[12] = '\0';
  EXPECT_EQ(updated_dos_attributes(bare_record, attribute::normal), expected);
}

TEST(dos_attributes, of_a_record_with_a_text_stand_in_both_places_whatever_the_texts_length) {
  const auto changed = updated_dos_attributes(record_with_text, attribute::hidden);
  ASSERT_TRUE(changed);
  EXPECT_EQ(*changed, "0x2\0\x03\0\x03\0\x11\0\0\0\x02\0\0\0times and sizes"sv);
  EXPECT_EQ(dos_attributes_from(*changed), 2U);
  EXPECT_EQ(updated_dos_attributes(*changed, attribute::hidden | attribute::archive), record_with_text);
}

}  // namespace
