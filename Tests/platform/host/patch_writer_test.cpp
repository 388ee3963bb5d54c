#include "platform/host/patch_writer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "platform/host/host_files.h"
#include "platform/host/intercepted_calls.h"
#include "platform/host/recovery.h"
#include "platform/host/staging.h"
#include "platform/host/undo_attribute.h"
#include "platform/host/unique_descriptor.h"

namespace {

using host_test::attribute;
using host_test::content;
using host_test::intercepted_call;
using host_test::put;
using host_test::system_call;
using platform::win32_error;
using platform::host::memory_source;
using platform::host::patch;
using platform::host::patch_from;
using platform::host::undo_attribute;
using platform::host::undo_record_of;
using platform::host::unique_descriptor;
using platform::host::write_patch;

std::string with(std::string bytes, std::size_t offset, std::string_view other) {
  return bytes.replace(offset, other.size(), other);
}

// Which plans are patches.

struct patch_plan_test : testing::Test {
  std::string old = host_test::noise(20'000, 1);
  memory_source source{old};
};

TEST_F(patch_plan_test, bytes_in_one_page_are_one_piece) {
  const auto change = patch_from(source, {{4100, 2, "ab"}, {8191, 1, "c"}});
  ASSERT_TRUE(change);
  ASSERT_EQ(change->size(), 1u);
  EXPECT_EQ(change->front().offset, 4100u);
  EXPECT_EQ(change->front().old_bytes, old.substr(4100, 4092));
  EXPECT_EQ(change->front().new_bytes, with(with(old, 4100, "ab"), 8191, "c").substr(4100, 4092));
}

TEST_F(patch_plan_test, splices_that_stand_alone_may_lie_in_several_pages) {
  const auto change =
      patch_from(source, {{10, 1, "a", true}, {20, 1, "b"}, {9000, 1, "c", true}, {9100, 1, "d", true}});
  ASSERT_TRUE(change);
  ASSERT_EQ(change->size(), 2u);
  EXPECT_EQ(change->at(0).offset, 10u);
  EXPECT_EQ(change->at(1).offset, 9000u);
  EXPECT_EQ(change->at(1).new_bytes.size(), 101u);
}

TEST_F(patch_plan_test, splices_that_only_make_sense_together_may_not) {
  EXPECT_FALSE(patch_from(source, {{10, 1, "a"}, {9000, 1, "b"}}));
  EXPECT_FALSE(patch_from(source, {{10, 1, "a"}, {20, 1, "b", true}, {9000, 1, "c"}}));
}

TEST_F(patch_plan_test, no_splice_reaches_over_the_end_of_a_page) {
  EXPECT_FALSE(patch_from(source, {{4095, 2, "ab"}}));
  EXPECT_FALSE(patch_from(source, {{4095, 2, "ab", true}}));
  EXPECT_TRUE(patch_from(source, {{4094, 2, "ab", true}}));
}

TEST_F(patch_plan_test, only_what_differs_counts) {
  const auto change = patch_from(source, {{4000, 200, std::string(old, 4000, 95) + "x" + std::string(old, 4096, 104)}});
  ASSERT_TRUE(change);
  ASSERT_EQ(change->size(), 1u);
  EXPECT_EQ(change->front().offset, 4095u);
  EXPECT_EQ(change->front().new_bytes, "x");
  const auto nothing = patch_from(source, {{0, 20'000, old}});
  ASSERT_TRUE(nothing);
  EXPECT_TRUE(nothing->empty());
}

TEST_F(patch_plan_test, what_moves_bytes_is_none) {
  EXPECT_FALSE(patch_from(source, {{10, 1, "ab"}}));
  EXPECT_FALSE(patch_from(source, {{10, 2, "abc"}, {20, 2, "d"}}));
}

// Writing one, and taking it back.

struct patch_test : testing::Test {
  host_test::temporary_folder folder;
  std::string path = folder.path("photo.jpg");
  std::string old = host_test::noise(20'000, 1);
  std::string fresh = with(with(old, 10, "ab"), 9000, "c");
  patch change = {{10, old.substr(10, 2), "ab"}, {9000, old.substr(9000, 1), "c"}};

  void SetUp() override { put(path, old); }

  [[nodiscard]] unique_descriptor open() const { return unique_descriptor(::open(path.c_str(), O_RDWR | O_CLOEXEC)); }
  [[nodiscard]] auto write() const { return write_patch(open().get(), change, old.size()); }
  [[nodiscard]] win32_error recover() const { return platform::host::recover(open().get(), path).error(); }
  [[nodiscard]] bool has_record() const { return !attribute(path, undo_attribute).empty(); }

  // As a kill leaves it with the first `written` pieces in the file.
  void leave_cut_short(std::size_t written) const {
    put(path, old);
    ASSERT_TRUE(host_test::set_attribute(path, undo_attribute, undo_record_of(change, old.size())));
    std::string now = old;
    for (std::size_t i = 0; i < written; ++i)
      now.replace(change[i].offset, change[i].new_bytes.size(), change[i].new_bytes);
    put(path, now);
  }
};

TEST_F(patch_test, is_in_the_file_and_its_record_is_gone) {
  const auto written = write();
  ASSERT_TRUE(written);
  EXPECT_TRUE(*written);
  EXPECT_TRUE(content(path) == fresh);
  EXPECT_FALSE(has_record());
}

TEST_F(patch_test, of_one_piece_needs_no_record) {
  change.pop_back();
  int records = 0;
  const intercepted_call counting(system_call::fsetxattr, [&records] { return ++records, 0; });
  ASSERT_TRUE(write());
  EXPECT_EQ(records, 0);
  EXPECT_TRUE(content(path) == with(old, 10, "ab"));
}

TEST_F(patch_test, has_its_record_on_the_file_before_the_first_byte) {
  bool recorded_first = false;
  int writes = 0;
  const intercepted_call looking(system_call::pwrite, [&] {
    if (++writes == 1) recorded_first = has_record();
    return 0;
  });
  ASSERT_TRUE(write());
  EXPECT_TRUE(recorded_first);
}

TEST_F(patch_test, is_not_begun_where_the_file_can_not_carry_the_record) {
  for (const int failure : {ENOTSUP, ENOSPC, E2BIG, EPERM, EDQUOT}) {
    const intercepted_call failing(system_call::fsetxattr, [failure] { return failure; });
    const auto written = write();
    ASSERT_TRUE(written);
    EXPECT_FALSE(*written);
    EXPECT_TRUE(content(path) == old);
  }
}

TEST_F(patch_test, whose_write_fails_leaves_the_old_bytes) {
  int writes = 0;
  const intercepted_call failing(system_call::pwrite, [&writes] { return ++writes == 2 ? EIO : 0; });
  EXPECT_EQ(write().error(), win32_error::write_fault);
  EXPECT_TRUE(content(path) == old);
  EXPECT_FALSE(has_record());
}

TEST_F(patch_test, that_can_not_be_taken_back_now_is_taken_back_by_the_next_open) {
  {
    int writes = 0;
    const intercepted_call failing(system_call::pwrite, [&writes] { return ++writes >= 2 ? EIO : 0; });
    EXPECT_EQ(write().error(), win32_error::write_fault);
  }
  EXPECT_TRUE(has_record());
  EXPECT_EQ(recover(), win32_error::success);
  EXPECT_TRUE(content(path) == old);
  EXPECT_FALSE(has_record());
}

TEST_F(patch_test, that_was_cut_short_is_taken_back_and_a_finished_one_stays) {
  for (const std::size_t written : {0u, 1u, 2u}) {
    leave_cut_short(written);
    EXPECT_EQ(recover(), win32_error::success);
    EXPECT_TRUE(content(path) == (written == 2 ? fresh : old)) << written;
    EXPECT_FALSE(has_record());
  }
}

TEST_F(patch_test, of_a_file_that_another_program_changed_since_is_left_alone) {
  leave_cut_short(1);
  const std::string theirs = with(fresh, 9000, "?");
  put(path, theirs);
  EXPECT_EQ(recover(), win32_error::success);
  EXPECT_TRUE(content(path) == theirs);
  EXPECT_FALSE(has_record());
  leave_cut_short(1);
  put(path, "shorter");
  EXPECT_EQ(recover(), win32_error::success);
  EXPECT_EQ(content(path), "shorter");
}

TEST_F(patch_test, is_taken_back_by_whatever_name_the_file_is_opened) {
  const std::string second = folder.path("second.jpg");
  std::filesystem::create_hard_link(path, second);
  leave_cut_short(1);
  const unique_descriptor file(::open(second.c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(platform::host::recover(file.get(), second).error(), win32_error::success);
  EXPECT_TRUE(content(path) == old);
}

TEST_F(patch_test, waits_for_the_process_that_is_at_it) {
  leave_cut_short(1);
  unique_descriptor other = open();
  ASSERT_EQ(::flock(other.get(), LOCK_EX), 0);
  std::thread ends([&other] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    other = unique_descriptor();
  });
  EXPECT_EQ(recover(), win32_error::success);
  ends.join();
  EXPECT_TRUE(content(path) == old);
}

TEST_F(patch_test, is_left_to_a_process_that_is_at_it_for_long) {
  leave_cut_short(1);
  const unique_descriptor other = open();
  ASSERT_EQ(::flock(other.get(), LOCK_EX), 0);
  EXPECT_EQ(recover(), win32_error::sharing_violation);
  EXPECT_TRUE(has_record());
}

TEST_F(patch_test, is_read_as_it_is_by_who_may_not_write) {
  leave_cut_short(1);
  const std::string torn = content(path);
  std::filesystem::permissions(folder.folder(), std::filesystem::perms(0755));
  std::filesystem::permissions(path, std::filesystem::perms(0644));
  const pid_t child = host_test::start_child([this] {
    if (::geteuid() == 0 && ::seteuid(host_test::nobody) != 0) return 2;
    if (::geteuid() != host_test::nobody) return 0;  // the file's owner may change it
    const unique_descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return succeeded(platform::host::recover_for_reading(file.get(), path)) ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  EXPECT_TRUE(::geteuid() != 0 || content(path) == torn);
}

TEST_F(patch_test, with_a_record_of_nonsense_changes_nothing) {
  for (const std::string& nonsense : {std::string("x"), std::string(1, '\1'), host_test::noise(100, 3)}) {
    ASSERT_TRUE(host_test::set_attribute(path, undo_attribute, nonsense));
    EXPECT_EQ(recover(), win32_error::success);
    EXPECT_TRUE(content(path) == old);
    EXPECT_FALSE(has_record());
  }
}

}  // namespace
