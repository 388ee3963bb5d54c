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

const std::string long_old(20, 'o');
const std::string long_new(20, 'n');
const patch change = {{10, "ab", "xy"}, {5000, "c" + long_old, "c" + long_new}};
constexpr std::uint64_t file_size = 9000;

TEST(undo_record_test, holds_the_old_bytes_that_differ_and_their_places) {
  const std::string text = undo_record_of(change, file_size);
  const auto record = parse_undo_record(text);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->file_size, file_size);
  ASSERT_EQ(record->runs.size(), 2u);
  EXPECT_EQ(record->runs[0].offset, 10u);
  EXPECT_EQ(record->runs[0].old_bytes, "ab");
  EXPECT_EQ(record->runs[0].tell, "xy");
  EXPECT_EQ(record->runs[1].offset, 5001u);
  EXPECT_EQ(record->runs[1].old_bytes, long_old);
  EXPECT_EQ(record->runs[1].tell.size(), 8u);
}

TEST(undo_record_test, of_a_rating_fits_into_a_file_s_inode) {
  constexpr std::size_t room = 56;  // of ext4 with inodes of 256 bytes, less the name
  const std::string between(12, '=');
  const patch rating = {{8'000'000, "3" + between + "2", "4" + between + "5"},
                        {8'005'000, "3" + between + between + "50", "4" + between + between + "75"}};
  EXPECT_LE(undo_record_of(rating, 9'000'000).size(), room);
}

TEST(undo_record_test, tells_how_far_the_patch_came) {
  const std::string text = undo_record_of(change, file_size);
  const auto record = parse_undo_record(text);
  ASSERT_TRUE(record);
  EXPECT_EQ(progress_of(*record, {"ab", long_old}), patch_progress::cut_short);
  EXPECT_EQ(progress_of(*record, {"xy", long_old}), patch_progress::cut_short);
  EXPECT_EQ(progress_of(*record, {"ab", long_new}), patch_progress::cut_short);
  EXPECT_EQ(progress_of(*record, {"xy", long_new}), patch_progress::finished);
  EXPECT_EQ(progress_of(*record, {"xb", long_new}), patch_progress::someone_elses);
  EXPECT_EQ(progress_of(*record, {"xy", std::string(20, '?')}), patch_progress::someone_elses);
}

TEST(undo_record_test, is_refused_when_it_is_cut) {
  const std::string text = undo_record_of(change, file_size);
  const std::size_t without_second = undo_record_of({change[0]}, file_size).size();
  const std::size_t without_runs = undo_record_of({}, file_size).size();
  for (std::size_t size = 0; size < text.size(); ++size) {
    const bool is_whole = size == without_second || size == without_runs;
    EXPECT_EQ(parse_undo_record(text.substr(0, size)).has_value(), is_whole) << size;
  }
  EXPECT_FALSE(parse_undo_record("/a/path/and/nothing/else"));
  EXPECT_FALSE(parse_undo_record("\1" + std::string(20, '\xff'))) << "a number without an end";
}

TEST(undo_record_test, is_refused_for_runs_beyond_the_end_of_the_file) {
  EXPECT_TRUE(parse_undo_record(undo_record_of({{8999, "a", "b"}}, file_size)));
  EXPECT_FALSE(parse_undo_record(undo_record_of({{9000, "a", "b"}}, file_size)));
  EXPECT_FALSE(parse_undo_record(undo_record_of({{std::uint64_t{1} << 60, "a", "b"}}, file_size)));
}

}  // namespace
