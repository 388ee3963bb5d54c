#include "platform/host/image/iptc.h"

#include <gtest/gtest.h>

#include "platform/host/image/checksums.h"
#include "platform/host/image/image_bytes.h"
#include "platform/host/image/photoshop_resources.h"

namespace {

using namespace platform::host::image;
using namespace image_bytes;
using wide_strings = std::vector<std::wstring>;

const std::string version = dataset(2, 0, "\0\2"s);
const std::string utf8_declared = dataset(1, 90, "\x1b%G");
const std::string headline = dataset(2, 105, "A headline");

TEST(iptc, keywords_are_read_in_the_declared_character_set) {
  EXPECT_EQ(iptc_keywords(utf8_declared + version + dataset(2, 25, "caf\xc3\xa9")), wide_strings{L"caf\u00e9"});
  EXPECT_EQ(iptc_keywords(version + dataset(2, 25, "caf\xe9")), wide_strings{L"caf\u00e9"});
  EXPECT_EQ(iptc_keywords(version + dataset(2, 25, "caf\xc3\xa9")), wide_strings{L"caf\u00e9"})
      << "only UTF-8 looks so";
  EXPECT_EQ(iptc_keywords(version + headline), std::nullopt);
}

TEST(iptc, keywords_replace_the_old_ones_in_their_place) {
  const std::string block = version + dataset(2, 25, "old") + dataset(2, 25, "older") + headline;
  EXPECT_EQ(with_iptc_keywords(block, wide_strings{L"a", L"b"}),
            version + dataset(2, 25, "a") + dataset(2, 25, "b") + headline);
  EXPECT_EQ(with_iptc_keywords(block, wide_strings{}), version + headline);
}

TEST(iptc, first_keywords_go_where_their_number_has_them) {
  const std::string caption = dataset(2, 5, "A title");
  EXPECT_EQ(with_iptc_keywords(version + caption + headline, wide_strings{L"a"}),
            version + caption + dataset(2, 25, "a") + headline);
  EXPECT_EQ(with_iptc_keywords(version, wide_strings{L"a"}), version + dataset(2, 25, "a"));
}

TEST(iptc, text_that_latin1_holds_stays_latin1_where_nothing_is_declared) {
  const std::string city = dataset(2, 90, "Z\xfcrich");
  EXPECT_EQ(with_iptc_keywords(version + city, wide_strings{L"\u00e9t\u00e9"}),
            version + dataset(2, 25, "\xe9t\xe9") + city);
}

TEST(iptc, undeclared_utf8_stays_utf8) {
  const std::string city = dataset(2, 90, "Z\xc3\xbcrich");
  EXPECT_EQ(with_iptc_keywords(version + city, wide_strings{L"\u0444"}), version + dataset(2, 25, "\xd1\x84") + city);
}

TEST(iptc, a_block_of_ascii_turns_to_utf8_for_a_tag_that_latin1_lacks) {
  EXPECT_EQ(with_iptc_keywords(version + headline, wide_strings{L"\u0444"}),
            utf8_declared + version + dataset(2, 25, "\xd1\x84") + headline);
}

TEST(iptc, a_tag_that_the_other_text_has_no_character_for_gets_question_marks) {
  const std::string city = dataset(2, 90, "Z\xfcrich");
  EXPECT_EQ(with_iptc_keywords(version + city, wide_strings{L"\u0444a"}), version + dataset(2, 25, "?a") + city);
  const std::string other_set = dataset(1, 90, "\x1b%/@");
  EXPECT_EQ(with_iptc_keywords(other_set + version, wide_strings{L"\u00e9"}),
            other_set + version + dataset(2, 25, "?"));
}

TEST(iptc, latin1_that_would_be_read_as_utf8_is_written_as_utf8) {
  const wide_strings tags{L"\u00c3\u00a9"};
  EXPECT_EQ(iptc_keywords(with_iptc_keywords(version, tags)), tags);
}

TEST(iptc, long_keywords_and_padding_behind_are_kept) {
  const wide_strings tags{std::wstring(40000, L'x')};
  const std::string block = with_iptc_keywords(version + std::string(3, '\0'), tags);
  EXPECT_EQ(iptc_keywords(block), tags);
  EXPECT_TRUE(block.ends_with("xx\0\0\0"s));
}

TEST(iptc, refuses_what_is_no_row_of_datasets) {
  EXPECT_TRUE(is_iptc_block(""));
  EXPECT_TRUE(is_iptc_block(version + headline));
  EXPECT_FALSE(is_iptc_block("text"));
  EXPECT_FALSE(is_iptc_block(version + "text"));
  const std::string whole = utf8_declared + dataset(2, 25, "keyword");
  for (std::size_t size = 1; size < whole.size(); ++size) {
    EXPECT_EQ(is_iptc_block(whole.substr(0, size)), size == utf8_declared.size()) << size;
  }
  EXPECT_FALSE(is_iptc_block("\x1c\x02\x19\x80\x04\xff\xff\xff\xff keyword"s)) << "a length beyond the block";
  EXPECT_FALSE(is_iptc_block("\x1c\x02\x19\xff\xff keyword"s));
}

TEST(photoshop_resources, the_iptc_resource_and_its_digest_change_and_nothing_else) {
  const std::string before = resource(0x03ed, "resolution.") + resource(photoshop_iptc, "old");
  const std::string after = resource(photoshop_iptc_digest, md5("old")) + resource(0x040c, "thumbnail");
  EXPECT_EQ(with_iptc_block(before + after, "new one"),
            resource(0x03ed, "resolution.") + resource(photoshop_iptc, "new one") +
                resource(photoshop_iptc_digest, md5("new one")) + resource(0x040c, "thumbnail"));
}

TEST(photoshop_resources, cut_at_every_byte_they_are_refused_or_listed_whole) {
  const std::string first = resource(0x0404, "even");
  const std::string whole = first + resource(0x0425, "odd");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const auto listed = list_photoshop_resources(std::string_view(whole).substr(0, size));
    const bool ends_well = size == 0 || size == first.size() || size == whole.size() - 1;  // padding may be missing
    EXPECT_EQ(listed.has_value(), ends_well) << size;
  }
}

TEST(checksums, agree_with_the_published_examples) {
  const auto hex = [](std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
      constexpr char digits[] = "0123456789abcdef";
      text += digits[static_cast<unsigned char>(c) >> 4];
      text += digits[c & 15];
    }
    return text;
  };
  EXPECT_EQ(hex(md5("")), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(hex(md5("message digest")), "f96b697d7cb7938d525a2f31aaf161d0");
  EXPECT_EQ(hex(md5("12345678901234567890123456789012345678901234567890123456789012345678901234567890")),
            "57edf4a22be3c955ac49da2e2107b67a");
  EXPECT_EQ(crc32("123456789"), 0xcbf43926U);
}

}  // namespace
