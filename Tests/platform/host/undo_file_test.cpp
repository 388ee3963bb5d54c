#include "platform/host/undo_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <random>
#include <string_view>
#include <thread>

#include "platform/host/byte_hash.h"
#include "platform/host/file_bytes.h"
#include "platform/host/host_files.h"
#include "platform/host/intercepted_calls.h"
#include "platform/host/open_to_change.h"
#include "platform/host/opening.h"
#include "platform/host/recovery.h"
#include "platform/host/sibling_files.h"
#include "platform/host/staged_file.h"
#include "platform/host/staging.h"
#include "platform/host/undo_attribute.h"

namespace {

using host_test::content;
using host_test::nobody;
using host_test::put;
using host_test::replace;
using host_test::status_of;
using platform::win32_error;
using platform::host::staged_file;
using platform::host::staging_form;
using platform::host::undo_attribute;
using platform::host::unique_descriptor;
using names = std::vector<std::string>;

// The undo file of a change to `fresh` of the file at `path`, as a run leaves it that was cut short.
std::string undo_file_of(const std::string& path, const std::string& fresh, const std::string& old) {
  struct statx facts {};
  EXPECT_EQ(::statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME, &facts), 0);
  const bool has_birth = (facts.stx_mask & STATX_BTIME) != 0;
  std::string tail;
  const auto append = [&tail](std::uint64_t number) {
    tail.append(reinterpret_cast<const char*>(&number), sizeof number);
  };
  for (std::size_t block = 0; block < fresh.size(); block += 512)
    append(platform::host::hash_of(std::string_view(fresh).substr(block, 512)));
  tail += "qb undo v1\n";
  tail.append(5, '\0');
  append(facts.stx_ino);
  append(has_birth ? static_cast<std::uint64_t>(facts.stx_btime.tv_sec) : 0);
  append(has_birth ? facts.stx_btime.tv_nsec : 0);
  append(old.size());
  append(fresh.size());
  const std::size_t last_block = old.size() / 512 * 512;
  const std::size_t end = std::min(old.size(), fresh.size());
  append(platform::host::hash_of(std::string_view(fresh).substr(0, end).substr(std::min(last_block, end))));
  return old + tail;
}

win32_error recover(const std::string& path) {
  const unique_descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  return file ? platform::host::recover(file.get(), path).error() : win32_error::file_not_found;
}

struct hard_linked_file_test : testing::Test {
  host_test::temporary_folder folder;
  std::string path = folder.path("file");
  std::string second = folder.path("second");
  std::string old = host_test::noise(300'000, 1);
  std::string fresh = host_test::noise(400'000, 2);

  void SetUp() override {
    put(path, old);
    std::filesystem::create_hard_link(path, second);
  }

  [[nodiscard]] std::string undo_file() const { return platform::host::undo_file_path(path, status_of(path).st_ino); }
  void mark() const { ASSERT_TRUE(host_test::set_attribute(path, undo_attribute, undo_file())); }
  void leave_undo_file() const {
    put(undo_file(), undo_file_of(path, fresh, old));
    mark();
  }

  void expect_whole(const std::string& bytes) const {
    // Not EXPECT_EQ, which would print them.
    EXPECT_TRUE(content(path) == bytes);
    EXPECT_TRUE(content(second) == bytes);
    EXPECT_EQ(status_of(path).st_nlink, 2u);
    expect_nothing_left();
  }
  void expect_nothing_left() const {
    EXPECT_EQ(folder.names(), (names{"file", "second"}));
    EXPECT_EQ(host_test::attribute(path, undo_attribute), "");
  }
};

TEST_F(hard_linked_file_test, is_rewritten_behind_all_its_names) {
  ASSERT_TRUE(host_test::set_attribute(path, "user.kept", "yes"));
  EXPECT_EQ(replace(path, fresh), win32_error::success);
  expect_whole(fresh);
  EXPECT_EQ(replace(second, old.substr(0, 1000)), win32_error::success);
  expect_whole(old.substr(0, 1000));
  EXPECT_EQ(host_test::attribute(second, "user.kept"), "yes");
}

TEST_F(hard_linked_file_test, is_rewritten_from_a_hidden_sibling_too) {
  EXPECT_EQ(replace(path, fresh, staging_form::hidden_sibling), win32_error::success);
  expect_whole(fresh);
}

TEST_F(hard_linked_file_test, written_by_someone_since_the_staging_is_left_to_them) {
  auto staged = staged_file::create(path);
  ASSERT_TRUE(staged);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  put(second, "newer");
  EXPECT_EQ(staged->commit(), win32_error::sharing_violation);
  expect_whole("newer");
}

TEST_F(hard_linked_file_test, written_by_someone_while_the_undo_file_is_made_is_left_to_them) {
  const host_test::intercepted_call between(host_test::system_call::fsetxattr, [this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    put(second, "newer");
    return 0;
  });
  EXPECT_EQ(replace(path, fresh), win32_error::sharing_violation);
  expect_whole("newer");
}

// What was told to have failed.

TEST_F(hard_linked_file_test, that_can_t_be_marked_is_not_touched) {
  {
    const host_test::intercepted_call failing(host_test::system_call::fsetxattr, [] { return EOPNOTSUPP; });
    EXPECT_EQ(replace(path, fresh), win32_error::not_supported);
  }
  expect_whole(old);
  EXPECT_EQ(recover(path), win32_error::success);
  expect_whole(old);
}

TEST_F(hard_linked_file_test, whose_undo_file_doesn_t_reach_the_disk_is_not_touched_now_or_later) {
  for (int successes = 0; successes < 3; ++successes) {
    for (const staging_form form : {staging_form::unnamed_if_possible, staging_form::hidden_sibling}) {
      {
        int calls = 0;
        const host_test::intercepted_call failing(host_test::system_call::fsync,
                                                  [&] { return calls++ < successes ? 0 : EIO; });
        EXPECT_FALSE(succeeded(replace(path, fresh, form)));
      }
      expect_whole(old);
      EXPECT_EQ(recover(path), win32_error::success);
      expect_whole(old);
    }
  }
}

TEST_F(hard_linked_file_test, in_a_folder_that_can_t_be_read_is_not_touched_now_or_later) {
  std::filesystem::permissions(path, std::filesystem::perms(0666));
  std::filesystem::permissions(folder.folder(), std::filesystem::perms(0333));
  const pid_t child = host_test::start_child([this] {
    if (::geteuid() == 0 && ::seteuid(nobody) != 0) return 2;
    return replace(path, fresh) == win32_error::access_denied ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  std::filesystem::permissions(folder.folder(), std::filesystem::perms(0755));
  expect_whole(old);
  EXPECT_EQ(recover(path), win32_error::success);
  expect_whole(old);
}

// What a kill, or a loss of power, left.

TEST_F(hard_linked_file_test, that_was_torn_gets_its_old_content_back_at_the_next_open) {
  leave_undo_file();
  put(path, fresh.substr(0, 8192) + old.substr(8192));
  EXPECT_EQ(recover(second), win32_error::success);
  expect_whole(old);
}

TEST_F(hard_linked_file_test, that_was_torn_while_it_grew_gets_its_old_content_back) {
  leave_undo_file();
  put(path, fresh.substr(0, 350'000));
  EXPECT_EQ(recover(path), win32_error::success);
  expect_whole(old);
}

TEST_F(hard_linked_file_test, that_grew_by_zeros_in_a_loss_of_power_gets_its_old_content_back) {
  leave_undo_file();
  put(path, fresh.substr(0, 1024) + old.substr(1024) + std::string(50'208, '\0') + fresh.substr(350'208, 10'000));
  EXPECT_EQ(recover(path), win32_error::success);
  expect_whole(old);
}

// Also within the disk block that the new content ends in.
// The disk has new bytes up to where the file still ends.
TEST_F(hard_linked_file_test, that_has_its_old_size_after_a_loss_of_power_gets_its_old_content_back) {
  for (const std::size_t torn_from : {0u, 512u, 299'520u}) {
    put(path, old);
    leave_undo_file();
    put(path, old.substr(0, torn_from) + fresh.substr(torn_from, old.size() - torn_from));
    EXPECT_EQ(recover(path), win32_error::success);
    expect_whole(old);
  }
}

TEST_F(hard_linked_file_test, that_was_torn_while_it_shrank_gets_its_old_content_back) {
  for (const std::size_t size : {0u, 1u, 700u, 1024u, 250'001u, 299'999u}) {
    put(path, old);
    fresh = host_test::noise(size, 3);
    leave_undo_file();
    put(path, fresh + old.substr(size));
    EXPECT_EQ(recover(path), win32_error::success);
    expect_whole(old);
  }
}

TEST_F(hard_linked_file_test, that_was_not_yet_touched_gets_its_old_content_back) {
  leave_undo_file();
  EXPECT_EQ(recover(path), win32_error::success);
  expect_whole(old);
}

TEST_F(hard_linked_file_test, is_recovered_by_a_name_in_another_folder) {
  std::filesystem::create_directory(folder.path("other"));
  const std::string third = folder.path("other/third");
  std::filesystem::create_hard_link(path, third);
  leave_undo_file();
  put(path, fresh.substr(0, 8192) + old.substr(8192));
  EXPECT_EQ(recover(third), win32_error::success);
  std::filesystem::remove_all(folder.path("other"));
  expect_whole(old);
}

TEST_F(hard_linked_file_test, is_recovered_where_its_folder_was_moved) {
  std::filesystem::create_directory(folder.path("before"));
  const std::string moved = folder.path("before/file");
  std::filesystem::create_hard_link(path, moved);
  const std::string name = platform::host::undo_file_path(moved, status_of(path).st_ino);
  put(name, undo_file_of(path, fresh, old));
  ASSERT_TRUE(host_test::set_attribute(path, undo_attribute, name));
  std::filesystem::rename(folder.path("before"), folder.path("after"));
  put(path, fresh.substr(0, 8192) + old.substr(8192));
  EXPECT_EQ(recover(folder.path("after/file")), win32_error::success);
  std::filesystem::remove_all(folder.path("after"));
  expect_whole(old);
}

TEST_F(hard_linked_file_test, whose_change_came_to_its_end_keeps_it) {
  for (const std::size_t size : {400'000u, 1000u, 512u, 0u}) {
    put(path, old);
    fresh = host_test::noise(size, 3);
    leave_undo_file();
    put(path, fresh);
    EXPECT_EQ(recover(path), win32_error::success);
    expect_whole(fresh);
  }
}

TEST_F(hard_linked_file_test, carries_an_undo_file_s_absolute_path_while_it_is_rewritten) {
  std::string seen;
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.folder());
  const host_test::intercepted_call look(host_test::system_call::fsync, [&] {
    const std::string now = host_test::attribute(path, undo_attribute);
    if (!now.empty()) seen = now;
    return 0;
  });
  EXPECT_EQ(replace("file", fresh), win32_error::success);
  std::filesystem::current_path(before);
  EXPECT_EQ(seen, undo_file());
  expect_whole(fresh);
}

TEST_F(hard_linked_file_test, that_someone_changed_since_is_left_alone_and_the_copy_set_aside) {
  leave_undo_file();
  put(path, "newer bytes");
  EXPECT_EQ(recover(path), win32_error::success);
  EXPECT_EQ(content(path), "newer bytes");
  EXPECT_TRUE(content(path + ".recovered") == old);
  EXPECT_EQ(folder.names(), (names{"file", "file.recovered", "second"}));
  EXPECT_EQ(host_test::attribute(path, undo_attribute), "");
}

TEST_F(hard_linked_file_test, that_someone_emptied_since_is_left_alone_and_the_copy_set_aside) {
  leave_undo_file();
  put(path, "");
  EXPECT_EQ(recover(path), win32_error::success);
  EXPECT_EQ(content(path), "");
  EXPECT_TRUE(content(path + ".recovered") == old);
}

TEST_F(hard_linked_file_test, gets_nothing_from_the_undo_file_of_a_file_that_had_its_number) {
  put(path, "");
  std::string bytes = undo_file_of(path, fresh, old);
  bytes[bytes.size() - 40] ^= 1;  // the seconds of the birth
  for (const bool marked : {false, true}) {
    put(undo_file(), bytes);
    if (marked) mark();
    EXPECT_EQ(recover(path), win32_error::success);
    EXPECT_EQ(content(path), "");
    EXPECT_EQ(host_test::attribute(path, undo_attribute), "");
  }
  EXPECT_EQ(replace(path, fresh), win32_error::success);
  expect_whole(fresh);
}

TEST_F(hard_linked_file_test, that_was_never_marked_loses_the_undo_file_of_a_kill_with_the_next_change) {
  put(undo_file(), undo_file_of(path, fresh, old));
  EXPECT_EQ(recover(path), win32_error::success);
  EXPECT_TRUE(content(path) == old);
  EXPECT_EQ(replace(path, fresh), win32_error::success);
  expect_whole(fresh);
}

TEST_F(hard_linked_file_test, whose_undo_file_someone_removed_is_taken_as_it_is) {
  for (const std::string& mark : {undo_file(), std::string("/no/such/place"), std::string(), std::string(5000, 'x')}) {
    if (!host_test::set_attribute(path, undo_attribute, mark)) continue;  // too much for this file system
    EXPECT_EQ(recover(path), win32_error::success);
    expect_whole(old);
  }
}

TEST_F(hard_linked_file_test, with_a_mark_that_names_another_file_leaves_that_alone) {
  put(folder.path("precious"), undo_file_of(path, fresh, old));
  ASSERT_TRUE(host_test::set_attribute(path, undo_attribute, folder.path("precious")));
  EXPECT_EQ(recover(path), win32_error::success);
  EXPECT_EQ(content(path), old);
  EXPECT_EQ(content(folder.path("precious")), undo_file_of(path, fresh, old));
}

TEST_F(hard_linked_file_test, is_not_blocked_by_an_undo_file_of_nonsense) {
  for (const std::string& nonsense : {std::string(), std::string("x"), host_test::noise(1000, 3)}) {
    for (const bool marked : {false, true}) {
      put(undo_file(), nonsense);
      if (marked) mark();
      EXPECT_EQ(recover(path), win32_error::success);
      EXPECT_EQ(replace(path, fresh), win32_error::success);
      expect_whole(fresh);
    }
  }
}

TEST_F(hard_linked_file_test, with_an_undo_file_of_lying_sizes_is_left_alone) {
  leave_undo_file();
  std::string bytes = content(undo_file());
  bytes.replace(bytes.size() - 16, 8, 8, '\xff');
  put(undo_file(), bytes);
  EXPECT_EQ(recover(path), win32_error::success);
  EXPECT_TRUE(content(path) == old);
  EXPECT_EQ(host_test::attribute(path, undo_attribute), "");
  EXPECT_EQ(replace(path, fresh), win32_error::success);
  expect_whole(fresh);
}

TEST_F(hard_linked_file_test, of_another_user_s_undo_file_may_not_be_changed) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs the superuser to make a file of another owner";
  leave_undo_file();
  ASSERT_EQ(::chown(undo_file().c_str(), 1234, 1234), 0);
  EXPECT_EQ(recover(path), win32_error::access_denied);
  EXPECT_EQ(content(path), old);
}

TEST_F(hard_linked_file_test, whose_undo_file_can_t_be_opened_for_now_may_not_be_changed) {
  leave_undo_file();
  const pid_t child = host_test::start_child([this] {
    // Enough for the file, which is opened twice.
    const rlimit limit{5, 5};
    if (::setrlimit(RLIMIT_NOFILE, &limit) != 0) return 2;
    return recover(path) == win32_error::too_many_open_files ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  EXPECT_EQ(recover(path), win32_error::success);
  expect_whole(old);
}

TEST_F(hard_linked_file_test, that_another_process_changes_now_is_a_sharing_violation) {
  leave_undo_file();
  const unique_descriptor other(::open(second.c_str(), O_RDONLY));
  ASSERT_EQ(::flock(other.get(), LOCK_EX), 0);
  EXPECT_EQ(recover(path), win32_error::sharing_violation);
  EXPECT_TRUE(content(path) == old);
}

TEST_F(hard_linked_file_test, that_was_torn_is_never_read_or_changed_by_an_open) {
  const auto tear = [this] {
    put(path, old);
    leave_undo_file();
    put(path, fresh.substr(0, 8192) + old.substr(8192));
  };
  tear();
  EXPECT_TRUE(platform::host::open_regular(platform::host::path_bytes(platform::host::wide_from_bytes(second)),
                                           {platform::access::read, platform::share::all}));
  expect_whole(old);
  tear();
  EXPECT_TRUE(platform::host::open_to_change(second));
  expect_whole(old);
}

TEST_F(hard_linked_file_test, that_was_torn_can_still_be_read_by_who_may_not_change_it) {
  std::filesystem::permissions(folder.folder(), std::filesystem::perms(0755));
  std::filesystem::permissions(path, std::filesystem::perms(0644));
  leave_undo_file();
  const pid_t child = host_test::start_child([this] {
    if (::geteuid() == 0 && ::seteuid(nobody) != 0) return 2;
    if (::geteuid() != nobody) return 0;  // the file's owner may change it
    const platform::host::path_bytes name(platform::host::wide_from_bytes(path));
    return platform::host::open_regular(name, {platform::access::read, platform::share::all}) ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  EXPECT_EQ(content(path), old);
}

TEST_F(hard_linked_file_test, is_whole_again_after_a_kill_at_any_moment) {
  std::minstd_rand random(11);
  int recovered = 0;
  for (int round = 0; round < 40; ++round) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const unique_descriptor reading(ends[0]);
    const pid_t child = host_test::start_child([&] {
      for (bool told = false;; told = true) {
        if (replace(path, old) != win32_error::success || replace(path, fresh) != win32_error::success) return 1;
        if (!told && ::write(ends[1], "!", 1) != 1) return 1;
      }
    });
    ::close(ends[1]);
    char byte = 0;
    ASSERT_EQ(::read(reading.get(), &byte, 1), 1);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 20'000));
    ASSERT_EQ(::kill(child, SIGKILL), 0);
    ASSERT_EQ(host_test::wait_for(child), -1);
    recovered += host_test::attribute(path, undo_attribute).empty() ? 0 : 1;
    ASSERT_EQ(recover(path), win32_error::success);
    const std::string now = content(path);
    ASSERT_TRUE(now == old || now == fresh) << "torn in round " << round;
  }
  EXPECT_GT(recovered, 0) << "no kill came in the middle of a change";
}

}  // namespace
