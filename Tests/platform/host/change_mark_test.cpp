// What a kill of all processes of a run leaves is taken back by the mark on the file.
#include "platform/host/change_mark.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <random>
#include <thread>

#include "platform/host/host_files.h"
#include "platform/host/intercepted_calls.h"
#include "platform/host/opening.h"
#include "platform/host/path_bytes.h"
#include "platform/host/staged_file.h"
#include "platform/host/staging.h"
#include "platform/host/unique_descriptor.h"

namespace {

using host_test::can_open_room;
using host_test::content;
using host_test::put;
using platform::win32_error;
using platform::host::block_exchange;
using platform::host::byte_run;
using platform::host::change_mark_of;
using platform::host::finish_before_reading;
using platform::host::finish_interrupted_rewrite;
using platform::host::in_place_writes;
using platform::host::path_bytes;
using platform::host::rewrite_mark;
using platform::host::unique_descriptor;
using platform::host::wide_from_bytes;

constexpr std::size_t block = 4096;

struct change_mark_test : testing::Test {
  host_test::temporary_folder folder;
  std::string path = folder.path("photo.jpg");
  std::string old = host_test::noise(10 * block + 100, 1);

  void SetUp() override { put(path, old); }

  void leave(const std::string& bytes, const std::string& mark) {
    put(path, bytes);
    ASSERT_TRUE(host_test::set_attribute(path, rewrite_mark, mark));
  }
  // What the next open finds there.
  void expect_after_opening(const std::string& bytes) {
    EXPECT_EQ(finish_interrupted_rewrite(path), win32_error::success);
    EXPECT_TRUE(content(path) == bytes);
    EXPECT_EQ(host_test::attribute(path, rewrite_mark), "");
  }
};

// Runs in three pages, one of them across a page's end.

struct marked_runs_test : change_mark_test {
  std::vector<byte_run> runs = {{100, std::string_view(old).substr(100, 5), "12345"},
                                {3 * block - 2, std::string_view(old).substr(3 * block - 2, 4), "6789"},
                                {9 * block, std::string_view(old).substr(9 * block, 1), "!"}};
  std::string mark = change_mark_of(in_place_writes{{0, old.size(), {}}, runs}).value();

  // The first `pieces` of what one write brings to the file.
  [[nodiscard]] std::string after(int pieces) const {
    std::string bytes = old;
    if (pieces > 0) bytes.replace(100, 5, "12345");
    if (pieces > 1) bytes.replace(3 * block - 2, 2, "67");
    if (pieces > 2) bytes.replace(3 * block, 2, "89");
    if (pieces > 3) bytes.replace(9 * block, 1, "!");
    return bytes;
  }
};

TEST_F(marked_runs_test, are_taken_back_unless_all_were_written) {
  for (const int pieces : {0, 1, 2, 3}) {
    leave(after(pieces), mark);
    expect_after_opening(old);
  }
  leave(after(4), mark);
  expect_after_opening(after(4));
}

TEST_F(marked_runs_test, of_a_file_that_someone_changed_since_are_left_alone) {
  std::string others = after(2);
  others.replace(100, 5, "other");
  leave(others, mark);
  expect_after_opening(others);
  others = after(2) + "longer";
  leave(others, mark);
  expect_after_opening(others);
}

TEST_F(marked_runs_test, are_taken_back_by_whatever_name_the_file_is_opened) {
  leave(after(1), mark);
  const std::string second = folder.path("second.jpg");
  const std::string link = folder.path("link.jpg");
  std::filesystem::create_hard_link(path, second);
  std::filesystem::create_symlink(second, link);
  EXPECT_EQ(finish_interrupted_rewrite(link), win32_error::success);
  EXPECT_TRUE(content(path) == old);
}

TEST_F(marked_runs_test, are_taken_back_before_anyone_reads_or_changes_the_file) {
  for (const platform::access wanted : {platform::access::read, platform::access::read | platform::access::write}) {
    leave(after(1), mark);
    const auto opened = open_regular(path_bytes(wide_from_bytes(path)), {wanted});
    ASSERT_TRUE(opened);
    EXPECT_TRUE(content(path) == old);
    EXPECT_EQ(host_test::attribute(path, rewrite_mark), "");
  }
}

TEST_F(marked_runs_test, wait_for_the_process_that_is_at_it) {
  leave(after(1), mark);
  unique_descriptor other(::open(path.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(::flock(other.get(), LOCK_EX), 0);
  std::thread finishing([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    put(path, after(4));
    other = unique_descriptor();
  });
  expect_after_opening(after(4));
  finishing.join();
}

TEST_F(marked_runs_test, stay_where_a_process_is_at_it_for_long) {
  leave(after(1), mark);
  const unique_descriptor other(::open(path.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(::flock(other.get(), LOCK_EX), 0);
  EXPECT_EQ(finish_interrupted_rewrite(path), win32_error::sharing_violation);
  EXPECT_TRUE(content(path) == after(1));
  EXPECT_EQ(host_test::attribute(path, rewrite_mark), mark);
}

TEST_F(marked_runs_test, are_taken_back_by_who_has_the_lock_already) {
  leave(after(1), mark);
  const unique_descriptor ours(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(::flock(ours.get(), LOCK_EX), 0);
  EXPECT_EQ(finish_interrupted_rewrite(ours.get(), path), win32_error::success);
  EXPECT_TRUE(content(path) == old);
}

TEST_F(marked_runs_test, are_read_as_they_are_by_who_may_not_write) {
  ASSERT_EQ(::chmod(folder.folder().c_str(), 0755), 0);
  leave(after(1), mark);
  ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
  const pid_t child = host_test::start_child([this] {
    if (::setgid(host_test::nobody) != 0 || ::setuid(host_test::nobody) != 0) return 2;
    const unique_descriptor reading(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (finish_before_reading(reading.get(), path) != win32_error::success) return 1;
    return finish_interrupted_rewrite(path) == win32_error::access_denied ? 0 : 1;
  });
  const int code = host_test::wait_for(child);
  if (code == 2) GTEST_SKIP() << "only the superuser becomes somebody else";
  EXPECT_EQ(code, 0);
  EXPECT_TRUE(content(path) == after(1));
}

TEST_F(marked_runs_test, have_no_mark_where_it_would_be_too_long) {
  const std::string before = host_test::noise(platform::host::longest_change_mark, 2);
  const std::string after = host_test::noise(before.size(), 3);
  const std::vector<byte_run> many = {{0, before, after}};
  EXPECT_EQ(change_mark_of(in_place_writes{{0, before.size(), {}}, many}), std::nullopt);
}

TEST_F(marked_runs_test, a_mark_cut_at_any_byte_changes_nothing) {
  for (std::size_t size = 1; size < mark.size(); ++size) {
    leave(after(2), mark.substr(0, size));
    EXPECT_EQ(finish_interrupted_rewrite(path), win32_error::success);
    // One that is cut between two pieces is the mark of fewer.
    const std::string now = content(path);
    EXPECT_TRUE(now == after(2) || now == old) << size;
    EXPECT_EQ(host_test::attribute(path, rewrite_mark), "");
  }
}

TEST_F(marked_runs_test, a_mark_of_lying_numbers_changes_nothing) {
  for (const std::size_t field : {9u, 17u, 25u, 33u}) {  // room, file size, offset and size of the first piece
    for (const char lie : {'\x7f', '\xff'}) {
      std::string lying = mark;
      lying.replace(field, 8, 8, lie);
      leave(after(2), lying);
      expect_after_opening(after(2));
    }
  }
}

TEST_F(change_mark_test, one_of_no_known_form_leads_nowhere) {
  for (const std::string mark : {"\3", "\1", "\2", "\2 something", "relative"}) {
    leave(old, mark);
    expect_after_opening(old);
  }
}

// Changes that move blocks, cut short at each of their steps.

struct marked_blocks_test : change_mark_test {
  unique_descriptor file;

  void SetUp() override {
    change_mark_test::SetUp();
    file = unique_descriptor(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (!can_open_room(folder)) GTEST_SKIP() << "this file system can't open up room in a file";
  }

  void leave_room(std::uint64_t offset, std::uint64_t size, std::string_view content) {
    ASSERT_EQ(::fallocate(file.get(), FALLOC_FL_INSERT_RANGE, static_cast<off_t>(offset), static_cast<off_t>(size)), 0);
    put_at(offset, content);
  }
  void put_at(std::uint64_t offset, std::string_view bytes) {
    ASSERT_EQ(::pwrite(file.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset)),
              static_cast<ssize_t>(bytes.size()));
  }
};

struct marked_room_test : marked_blocks_test {
  std::string filling = host_test::noise(block, 2);
  std::vector<byte_run> runs = {{4, std::string_view(old).substr(4, 2), "ab"},
                                {4 * block, std::string_view(old).substr(3 * block, 3), "cde"}};
  std::string mark = change_mark_of(in_place_writes{{3 * block, old.size(), filling}, runs}).value();

  void leave_cut_short(std::size_t filled, std::size_t written) {
    leave(old, mark);
    leave_room(3 * block, block, filling.substr(0, filled));
    for (std::size_t i = 0; i < written; ++i)
      put_at(runs[i].offset, runs[i].new_bytes);
  }
};

TEST_F(marked_room_test, is_closed_unless_all_was_written) {
  leave(old, mark);
  expect_after_opening(old);
  for (const std::size_t filled : {std::size_t{0}, block / 2, block}) {
    leave_cut_short(filled, 0);
    expect_after_opening(old);
  }
  leave_cut_short(block, 1);
  expect_after_opening(old);
  leave_cut_short(block, 2);
  const std::string whole = content(path);
  expect_after_opening(whole);
  EXPECT_EQ(whole.size(), old.size() + block);
}

TEST_F(marked_room_test, of_a_file_that_someone_changed_since_stays) {
  leave_cut_short(block, 1);
  put_at(4 * block, "xyz");
  expect_after_opening(content(path));
}

TEST_F(marked_room_test, that_can_t_be_closed_now_leaves_the_mark) {
  leave_cut_short(block, 1);
  {
    const host_test::intercepted_call failing(host_test::system_call::fallocate, [] { return EIO; });
    EXPECT_FALSE(succeeded(finish_interrupted_rewrite(path)));
    EXPECT_EQ(host_test::attribute(path, rewrite_mark), mark);
  }
  expect_after_opening(old);
}

struct marked_exchange_test : marked_blocks_test {
  std::string fresh = host_test::noise(3 * block, 2);
  block_exchange change = {2 * block, 3 * block, old.size(), std::string_view(old).substr(2 * block, 2 * block), fresh};
  std::string mark = change_mark_of(change);
};

TEST_F(marked_exchange_test, is_taken_back_unless_the_old_blocks_are_gone) {
  leave(old, mark);
  expect_after_opening(old);
  for (const std::size_t filled : {std::size_t{0}, block, 3 * block}) {
    leave(old, mark);
    leave_room(2 * block, 3 * block, fresh.substr(0, filled));
    expect_after_opening(old);
  }
  std::string exchanged = old;
  exchanged.replace(2 * block, 2 * block, fresh);
  leave(exchanged, mark);
  expect_after_opening(exchanged);
}

TEST_F(marked_exchange_test, of_a_file_that_someone_changed_since_is_left_alone) {
  leave(old, mark);
  leave_room(2 * block, 3 * block, fresh);
  put_at(5 * block, "someone else's");
  expect_after_opening(content(path));
}

TEST_F(marked_exchange_test, a_mark_of_any_bytes_takes_nothing_from_a_file_that_was_not_cut_short) {
  std::minstd_rand random(7);
  for (int round = 0; round < 300; ++round) {
    std::string broken = mark;
    broken[1 + random() % (broken.size() - 1)] = static_cast<char>(random());
    leave(old, broken);
    expect_after_opening(old);
  }
}

}  // namespace
