#include "platform/host/undo_record.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using platform::host::parse_undo_record;
using platform::host::patch;
using platform::host::patch_progress;
using platform::host::progress_of;
using platform::host::undo_record_of;

const patch change = {{10, "ab", "xy"}, {5000, "c", "z"}};
constexpr std::uint64_t file_size = 9000;

TEST(undo_record_test, holds_the_old_bytes_and_their_places) {
  const std::string text = undo_record_of(change, file_size);
  const auto record = parse_undo_record(text);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->file_size, file_size);
  ASSERT_EQ(record->pieces.size(), 2u);
  EXPECT_EQ(record->pieces[0].offset, 10u);
  EXPECT_EQ(record->pieces[0].old_bytes, "ab");
  EXPECT_EQ(record->pieces[1].offset, 5000u);
  EXPECT_EQ(record->pieces[1].old_bytes, "c");
}

TEST(undo_record_test, fits_into_a_file_s_inode) {
  constexpr std::size_t room = 56;  // of ext4 with inodes of 256 bytes, less the name
  EXPECT_LE(undo_record_of({{0, "3", "4"}, {5000, "3", "4"}}, file_size).size(), room);
}

TEST(undo_record_test, tells_how_far_the_patch_came) {
  const std::string text = undo_record_of(change, file_size);
  const auto record = parse_undo_record(text);
  ASSERT_TRUE(record);
  EXPECT_EQ(progress_of(*record, {"ab", "c"}), patch_progress::cut_short);
  EXPECT_EQ(progress_of(*record, {"xy", "c"}), patch_progress::cut_short);
  EXPECT_EQ(progress_of(*record, {"ab", "z"}), patch_progress::cut_short);
  EXPECT_EQ(progress_of(*record, {"xy", "z"}), patch_progress::finished);
  EXPECT_EQ(progress_of(*record, {"xb", "z"}), patch_progress::someone_elses);
  EXPECT_EQ(progress_of(*record, {"xy", "?"}), patch_progress::someone_elses);
}

TEST(undo_record_test, is_refused_when_it_is_cut_or_grown) {
  const std::string text = undo_record_of(change, file_size);
  const std::size_t without_second = undo_record_of({change[0]}, file_size).size();
  const std::size_t without_pieces = undo_record_of({}, file_size).size();
  for (std::size_t size = 0; size < text.size(); ++size) {
    const bool is_whole = size == without_second || size == without_pieces;
    EXPECT_EQ(parse_undo_record(text.substr(0, size)).has_value(), is_whole) << size;
  }
  EXPECT_FALSE(parse_undo_record(text + "x"));
  EXPECT_FALSE(parse_undo_record("/a/path/and/nothing/else"));
}

TEST(undo_record_test, is_refused_for_pieces_beyond_the_end_of_the_file) {
  EXPECT_TRUE(parse_undo_record(undo_record_of({{8999, "a", "b"}}, file_size)));
  EXPECT_FALSE(parse_undo_record(undo_record_of({{9000, "a", "b"}}, file_size)));
  EXPECT_FALSE(parse_undo_record(undo_record_of({{~std::uint64_t{0}, "a", "b"}}, file_size)));
}

}  // namespace
