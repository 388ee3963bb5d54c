#include "platform/host/image/tiff_directory.h"

#include <gtest/gtest.h>

#include "platform/host/image/image_bytes.h"

namespace {

using namespace platform::host::image;
using namespace image_bytes;

constexpr std::uint64_t no_limit = 1 << 20;
constexpr std::uint16_t rating_tag = 0x4746;
constexpr std::uint16_t percent_tag = 0x4749;
constexpr std::uint16_t keywords_tag = 0x9c9e;
constexpr std::uint16_t padding_tag = 0xea1c;

const std::vector<tiff_change> four_stars = {{tiff_tag::rating, std::uint16_t{4}},
                                             {tiff_tag::rating_percent, std::uint16_t{75}}};

// A block in memory together with what was read of it.
struct memory_block {
  explicit memory_block(std::string text) : bytes(std::move(text)), source(bytes) {
    block = read_tiff_block({&source, 0, bytes.size()});
  }
  std::string bytes;
  platform::host::memory_source source;
  std::optional<tiff_block> block;
};

std::string edited(const std::string& bytes, const std::vector<tiff_change>& changes,
                   tiff_growth growth = tiff_growth::at_end, std::uint64_t limit = no_limit) {
  const memory_block memory(bytes);
  if (!memory.block) return "not read";
  const std::optional<tiff_edit> edit = edit_tiff_block(*memory.block, changes, growth, limit);
  if (!edit) return "refused";
  return apply_plan(bytes, edit->patches) + edit->appended;
}

std::optional<std::uint32_t> number(const std::string& bytes, tiff_tag tag) {
  const memory_block memory(bytes);
  return memory.block ? tiff_number(*memory.block, tag) : std::nullopt;
}

std::optional<std::string> value(const std::string& bytes, std::uint16_t tag) {
  const memory_block memory(bytes);
  const tiff_entry* entry = memory.block ? memory.block->directory.find(static_cast<tiff_tag>(tag)) : nullptr;
  return entry != nullptr ? tiff_value(*memory.block, *entry) : std::nullopt;
}

std::vector<std::uint16_t> tags(const std::string& bytes) {
  std::vector<std::uint16_t> found;
  const memory_block memory(bytes);
  if (!memory.block) return found;
  for (const tiff_entry& entry : memory.block->directory.entries)
    found.push_back(entry.tag);
  return found;
}

class tiff_directory_of : public testing::TestWithParam<byte_order> {};
INSTANTIATE_TEST_SUITE_P(both_orders, tiff_directory_of, testing::Values(byte_order::little, byte_order::big));

TEST_P(tiff_directory_of, an_existing_number_is_patched_in_place) {
  const auto with = [](std::uint16_t stars, std::uint16_t percent) {
    return tiff(GetParam(), {short_field(rating_tag, stars, GetParam()), short_field(percent_tag, percent, GetParam())},
                "rest");
  };
  EXPECT_EQ(number(with(2, 25), tiff_tag::rating), 2U);
  EXPECT_EQ(edited(with(2, 25), four_stars), with(4, 75));
}

TEST_P(tiff_directory_of, new_fields_move_the_directory_to_the_end_and_nothing_else) {
  const std::string old = camera_exif(GetParam());
  const std::string grown = edited(old, four_stars);
  EXPECT_EQ(grown.substr(8, old.size() - 8), old.substr(8)) << "only the header's link may change";
  EXPECT_EQ(number(grown, tiff_tag::rating), 4U);
  EXPECT_EQ(number(grown, tiff_tag::rating_percent), 75U);
  EXPECT_EQ(value(grown, 0x010f), "A camera maker\0"s);
  EXPECT_EQ(tags(grown), (std::vector<std::uint16_t>{0x010f, 0x0110, rating_tag, percent_tag, padding_tag}));
  EXPECT_EQ(value(grown, padding_tag)->substr(0, 2), "\x1c\xea");
}

TEST_P(tiff_directory_of, the_next_fields_find_room) {
  const std::string rated = edited(camera_exif(GetParam()), four_stars);
  const std::string keywords = "l\0o\0n\0g\0\0\0"s;
  const std::string tagged = edited(rated, {{tiff_tag::keywords, keywords}});
  EXPECT_EQ(tagged.size(), rated.size());
  EXPECT_EQ(value(tagged, keywords_tag), keywords);
  EXPECT_EQ(number(tagged, tiff_tag::rating), 4U);
  EXPECT_EQ(value(tagged, padding_tag)->substr(0, 2), "\x1c\xea");
}

TEST_P(tiff_directory_of, a_thousand_changes_of_one_value_never_grow_the_block) {
  std::string block = edited(camera_exif(GetParam()), four_stars);
  const std::size_t size = block.size();
  for (std::size_t i = 0; i < 1000; ++i) {
    const std::string keywords(10 + 2 * (i * 37 % 200), 'k');
    block = edited(block, {{tiff_tag::keywords, keywords}});
    ASSERT_EQ(value(block, keywords_tag), keywords);
    if (i % 3 == 0) block = edited(block, {{tiff_tag::keywords, {}}});
    if (i % 5 == 0) block = edited(edited(block, {{tiff_tag::rating, {}}}), four_stars);
  }
  EXPECT_EQ(block.size(), size);
}

TEST(tiff_directory, removed_fields_leave_and_their_bytes_are_wiped) {
  const std::string block =
      tiff(byte_order::little, {short_field(rating_tag, 4, byte_order::little),
                                bytes_field(keywords_tag, 1, "secret words"), bytes_field(0xc000, 7, "kept bytes")});
  const std::string removed = edited(block, {{tiff_tag::rating, {}}, {tiff_tag::keywords, {}}});
  EXPECT_EQ(removed.size(), block.size());
  EXPECT_EQ(tags(removed), std::vector<std::uint16_t>{0xc000});
  EXPECT_EQ(value(removed, 0xc000), "kept bytes");
  EXPECT_EQ(removed.find("secret"), std::string::npos);
}

TEST(tiff_directory, the_link_to_the_next_directory_is_kept) {
  const std::string grown =
      edited(tiff(byte_order::big, {bytes_field(0x010f, 2, "Maker\0"s)}, "thumbnail", 40), four_stars);
  const memory_block memory(grown);
  ASSERT_TRUE(memory.block);
  EXPECT_EQ(memory.block->directory.next, 40U);
}

TEST(tiff_directory, equal_values_change_nothing) {
  const std::string block = tiff(byte_order::little, {short_field(rating_tag, 4, byte_order::little),
                                                      short_field(percent_tag, 75, byte_order::little),
                                                      bytes_field(keywords_tag, 1, "a\0;\0\0\0"s)});
  const memory_block memory(block);
  const std::vector<tiff_change> same = {four_stars[0], four_stars[1], {tiff_tag::keywords, "a\0;\0\0\0"s}};
  const std::optional<tiff_edit> edit = edit_tiff_block(*memory.block, same, tiff_growth::at_end, no_limit);
  ASSERT_TRUE(edit);
  EXPECT_TRUE(edit->patches.empty());
  EXPECT_TRUE(edit->appended.empty());
}

TEST(tiff_directory, a_value_that_fits_is_written_over_the_old_one) {
  const auto with = [](const std::string& keywords) {
    return tiff(byte_order::little, {bytes_field(keywords_tag, 1, keywords)}, "behind");
  };
  const std::string shorter = edited(with("0123456789"), {{tiff_tag::keywords, "abcdefgh"s}});
  EXPECT_EQ(shorter.size(), with("0123456789").size());
  EXPECT_EQ(value(shorter, keywords_tag), "abcdefgh");
  EXPECT_TRUE(shorter.ends_with("abcdefgh\0\0behind"s));
}

TEST(tiff_directory, bytes_that_another_field_shares_are_left_alone) {
  std::string block =
      tiff(byte_order::little, {bytes_field(keywords_tag, 1, "shared words"), bytes_field(0x9c9f, 1, "shared words")});
  const std::string offset = block.substr(8 + 2 + 8, 4);
  block.replace(8 + 2 + 12 + 8, 4, offset);  // the second field points at the first one's bytes
  const std::string after = edited(block, {{tiff_tag::keywords, "other"s}});
  EXPECT_EQ(value(after, 0x9c9f), "shared words");
  EXPECT_EQ(value(after, keywords_tag), "other");
}

// Keywords whose ten bytes are also what the other fields describe. `tiff` stores four bytes in the entry itself.
std::string with_keywords_over(std::vector<field> fields, std::size_t shared_at, std::uint32_t next = 0,
                               std::string_view rest = "0123456789abcdefghijklmnopqrstuvwxyz") {
  fields.push_back({keywords_tag, 1, 10, u32_bytes(static_cast<std::uint32_t>(shared_at), byte_order::little)});
  return tiff(byte_order::little, fields, rest, next);
}

void expect_bytes_kept(const std::string& block, std::size_t begin) {
  for (const tiff_growth growth : {tiff_growth::at_end, tiff_growth::none}) {
    for (const std::vector<tiff_change>& changes :
         {std::vector<tiff_change>{{tiff_tag::keywords, "new words"s}}, {{tiff_tag::keywords, {}}}}) {
      const std::string after = edited(block, changes, growth);
      ASSERT_GE(after.size(), block.size()) << after;
      EXPECT_EQ(after.substr(begin, block.size() - begin), block.substr(begin));
    }
  }
}

TEST(tiff_directory, image_data_that_a_field_overlaps_is_left_alone) {
  for (const auto& [offsets, sizes] :
       {std::pair<std::uint16_t, std::uint16_t>{273, 279}, {324, 325}, {513, 514}, {288, 289}}) {
    const std::size_t data = 8 + 2 + 3 * 12 + 4;
    const field at = {offsets, 4, 1, u32_bytes(static_cast<std::uint32_t>(data), byte_order::little)};
    expect_bytes_kept(with_keywords_over({at, short_field(sizes, 30, byte_order::little)}, data + 20), data);
  }
}

TEST(tiff_directory, several_strips_that_a_field_overlaps_are_left_alone) {
  constexpr std::size_t values = 8 + 2 + 3 * 12 + 4;
  const auto strip = [](std::size_t at) {
    return u32_bytes(static_cast<std::uint32_t>(values + 16 + at), byte_order::little);
  };
  const field offsets = {273, 4, 2, strip(0) + strip(18)};
  const field sizes = {279, 4, 2, u32_bytes(18, byte_order::little) + u32_bytes(18, byte_order::little)};
  expect_bytes_kept(with_keywords_over({offsets, sizes}, values + 16 + 20), values + 16);
}

TEST(tiff_directory, image_data_of_unknown_size_keeps_every_field_in_its_place) {
  const std::size_t data = 8 + 2 + 2 * 12 + 4;
  const field at = {273, 4, 1, u32_bytes(static_cast<std::uint32_t>(data), byte_order::little)};
  expect_bytes_kept(with_keywords_over({at}, data + 20), data);
}

TEST(tiff_directory, directories_behind_and_below_that_a_field_overlaps_are_left_alone) {
  const auto directory = [](std::uint16_t tag, std::uint32_t target) {
    return u16_bytes(1, byte_order::little) + u16_bytes(tag, byte_order::little) + u16_bytes(4, byte_order::little) +
           u32_bytes(1, byte_order::little) + u32_bytes(target, byte_order::little) + u32_bytes(0, byte_order::little);
  };
  const auto number = [](std::size_t value) {
    return u32_bytes(static_cast<std::uint32_t>(value), byte_order::little);
  };
  // Of a directory behind the first one, the one that it links to in turn.
  {
    const std::size_t second = 8 + 2 + 12 + 4;
    std::string rest = directory(0x100, 1);
    rest.replace(14, 4, number(second + 18));
    rest += directory(0x101, 1);
    expect_bytes_kept(with_keywords_over({}, second + 20, static_cast<std::uint32_t>(second), rest), second);
  }
  // Below it: Exif with interoperability, GPS, sub-images.
  for (const std::uint16_t tag : {std::uint16_t{0x8769}, std::uint16_t{0x8825}, std::uint16_t{330}}) {
    const std::size_t below = 8 + 2 + 2 * 12 + 4;
    const std::string rest = directory(0xa005, static_cast<std::uint32_t>(below + 18)) + directory(1, 1);
    expect_bytes_kept(with_keywords_over({{tag, 4, 1, number(below)}}, below + 20, 0, rest), below);
  }
}

TEST(tiff_directory, directories_that_link_in_a_circle_are_looked_at_once) {
  const std::string block = with_keywords_over({}, 8 + 2 + 12 + 4, 8);
  EXPECT_EQ(value(edited(block, {{tiff_tag::keywords, "new words"s}}), keywords_tag), "new words");
}

TEST(tiff_directory, padding_that_overlaps_image_data_is_no_room) {
  const std::size_t data = 8 + 2 + 3 * 12 + 4;
  const std::string block =
      tiff(byte_order::little,
           {{273, 4, 1, u32_bytes(static_cast<std::uint32_t>(data), byte_order::little)},
            {279, 4, 1, u32_bytes(300, byte_order::little)},
            {padding_tag, 7, 200, u32_bytes(static_cast<std::uint32_t>(data + 50), byte_order::little)}},
           std::string(300, 'p'));
  const std::string rated = edited(block, four_stars);
  EXPECT_EQ(number(rated, tiff_tag::rating), 4U);
  EXPECT_EQ(rated.substr(data, 300), std::string(300, 'p'));
}

TEST(tiff_directory, a_padding_field_of_another_program_serves_as_room) {
  const std::string block =
      tiff(byte_order::little,
           {bytes_field(0x010f, 2, "Maker\0"s), bytes_field(padding_tag, 7, "\x1c\xea"s + std::string(300, '\0'))},
           "behind");
  const std::string rated = edited(block, four_stars);
  EXPECT_EQ(rated.size(), block.size());
  EXPECT_EQ(number(rated, tiff_tag::rating), 4U);
  EXPECT_TRUE(rated.ends_with("behind"));
}

TEST(tiff_directory, without_space_room_shrinks_and_then_new_fields_are_left_out_and_old_ones_not_left_stale) {
  const std::string old = tiff(
      byte_order::little, {short_field(rating_tag, 1, byte_order::little), bytes_field(keywords_tag, 1, "old words")});
  const std::vector<tiff_change> changes = {four_stars[0], four_stars[1], {tiff_tag::keywords, std::string(50, 'x')}};
  EXPECT_GT(edited(old, changes).size(), old.size() + 2048);
  EXPECT_EQ(edited(old, changes, tiff_growth::at_end, old.size() + 10), "refused");
  const std::string tight = edited(old, changes, tiff_growth::at_end, old.size() + 120);
  EXPECT_LE(tight.size(), old.size() + 120);
  EXPECT_EQ(value(tight, keywords_tag), std::string(50, 'x'));
  const std::string none = edited(old, changes, tiff_growth::none, old.size());
  EXPECT_EQ(none.size(), old.size());
  EXPECT_EQ(tags(none), std::vector<std::uint16_t>{rating_tag});
  EXPECT_EQ(number(none, tiff_tag::rating), 4U);
}

TEST(tiff_directory, refuses_what_is_no_classic_tiff_or_reaches_beyond_the_block) {
  const auto readable = [](const std::string& bytes) { return memory_block(bytes).block.has_value(); };
  EXPECT_TRUE(readable(camera_exif()));
  EXPECT_FALSE(readable(""));
  EXPECT_FALSE(readable("II*\0"s));
  EXPECT_FALSE(readable("II+\0\x08\0\0\0\0\0\0\0\0\0\0\0"s)) << "BigTIFF";
  EXPECT_FALSE(readable("II*\0\x04\0\0\0\0\0\0\0\0\0\0\0"s)) << "a directory in the header";
  EXPECT_FALSE(readable("II*\0\xff\xff\xff\xff\0\0\0\0\0\0"s)) << "a directory beyond the block";
  EXPECT_FALSE(readable("II*\0\x08\0\0\0\xff\xff"s + std::string(100, 'x'))) << "more entries than bytes";
  const field far = {keywords_tag, 1, 0xffffffff, std::string(10, 'x')};
  EXPECT_FALSE(readable(tiff(byte_order::little, {far}))) << "a value beyond the block";
  const field unknown = {keywords_tag, 99, 10, std::string(10, 'x')};
  EXPECT_FALSE(readable(tiff(byte_order::little, {unknown})));
  const field rating = short_field(rating_tag, 1, byte_order::little);
  EXPECT_FALSE(readable(tiff(byte_order::little, {rating, rating}))) << "a field of ours twice";
}

TEST(tiff_directory, refuses_a_value_of_ours_in_the_header_or_the_directory) {
  constexpr char directory_end = 8 + 2 + 12 + 4;
  for (char offset = 0; offset <= directory_end; ++offset) {
    const std::string bytes = "II*\0\x08\0\0\0\1\0\x9e\x9c\1\0\x0a\0\0\0"s + offset + std::string(3 + 4 + 20, '\0');
    EXPECT_EQ(memory_block(bytes).block.has_value(), offset == directory_end) << int{offset};
  }
}

TEST(tiff_directory, cut_at_every_byte_it_is_refused_or_edits_to_something_readable) {
  const std::string whole = edited(edited(camera_exif(), four_stars), {{tiff_tag::keywords, "some words"s}});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::string cut = whole.substr(0, size);
    const std::string after = edited(cut, {{tiff_tag::rating, std::uint16_t{2}}});
    if (after == "not read" || after == "refused") continue;
    EXPECT_EQ(number(after, tiff_tag::rating), 2U) << size;
  }
}

TEST(tiff_directory, a_new_block_holds_the_fields_and_room) {
  const std::string block = new_tiff_block(four_stars);
  EXPECT_EQ(number(block, tiff_tag::rating), 4U);
  EXPECT_EQ(number(block, tiff_tag::rating_percent), 75U);
  EXPECT_EQ(edited(block, {{tiff_tag::keywords, std::string(100, 'k')}}).size(), block.size());
}

}  // namespace
