// Moving from one file system to another: between two real ones, and within one that is made to refuse the rename.
#include "platform/host/volume_move.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>

#include "platform/host/host_files.h"
#include "platform/host/intercepted_calls.h"
#include "platform/host/moving.h"
#include "platform/host/staging.h"
#include "platform/host/unique_descriptor.h"

namespace {

using host_test::content;
using host_test::intercepted_call;
using host_test::move;
using host_test::nobody;
using host_test::put;
using host_test::set_attribute;
using host_test::status_of;
using host_test::system_call;
using platform::win32_error;
using platform::host::unique_descriptor;
using names = std::vector<std::string>;

enum class volumes : std::uint8_t { two, one_that_refuses };

std::filesystem::path other_volume(volumes which) {
  const bool has_memory_disk = which == volumes::two && std::filesystem::is_directory("/dev/shm");
  return has_memory_disk ? std::filesystem::path("/dev/shm") : std::filesystem::temp_directory_path();
}

struct volume_move_test : testing::TestWithParam<volumes> {
  host_test::temporary_folder near_;
  host_test::temporary_folder far_{other_volume(GetParam())};
  std::optional<intercepted_call> refusal_;
  std::string from = near_.path("file");
  std::string to = far_.path("file");
  std::string bytes = host_test::noise(700'000, 1);

  void SetUp() override {
    if (GetParam() == volumes::one_that_refuses) {
      refusal_.emplace(system_call::renameat2, [] { return EXDEV; });
    } else if (status_of(near_.folder()).st_dev == status_of(far_.folder()).st_dev) {
      GTEST_SKIP() << "the folder for temporary files and /dev/shm are on one file system";
    }
    put(from, bytes);
  }

  void expect_moved() const {
    EXPECT_EQ(content(to), bytes);
    EXPECT_TRUE(near_.names().empty());
    EXPECT_EQ(far_.names(), names{"file"});
  }
  void expect_untouched() const {
    EXPECT_EQ(content(from), bytes);
    EXPECT_EQ(near_.names(), names{"file"});
    EXPECT_TRUE(far_.names().empty());
  }
};

TEST_P(volume_move_test, the_content_arrives_and_the_old_name_goes) {
  EXPECT_EQ(move(from, to), win32_error::success);
  expect_moved();
}

TEST_P(volume_move_test, an_empty_file_moves) {
  bytes.clear();
  put(from, bytes);
  EXPECT_EQ(move(from, to), win32_error::success);
  expect_moved();
}

TEST_P(volume_move_test, mode_owner_and_times_come_along_to_the_nanosecond) {
  ASSERT_EQ(::chmod(from.c_str(), 0640), 0);
  const bool superuser = ::geteuid() == 0;
  if (superuser) {
    ASSERT_EQ(::chown(from.c_str(), 1234, 2345), 0);
  }
  const timespec times[] = {{1'500'000'000, 123'456'789}, {1'400'000'000, 987'654'321}};
  ASSERT_EQ(::utimensat(AT_FDCWD, from.c_str(), times, 0), 0);
  EXPECT_EQ(move(from, to), win32_error::success);
  const struct stat moved = status_of(to);
  EXPECT_EQ(moved.st_mode & 07777, 0640u);
  if (superuser) {
    EXPECT_EQ(moved.st_uid, 1234u);
    EXPECT_EQ(moved.st_gid, 2345u);
  }
  EXPECT_EQ(moved.st_mtim.tv_sec, 1'400'000'000);
  EXPECT_EQ(moved.st_mtim.tv_nsec, 987'654'321);
  EXPECT_EQ(moved.st_atim.tv_sec, 1'500'000'000);
  EXPECT_EQ(moved.st_atim.tv_nsec, 123'456'789);
}

TEST_P(volume_move_test, a_read_only_file_moves_and_stays_so) {
  ASSERT_EQ(::chmod(from.c_str(), 0400), 0);
  EXPECT_EQ(move(from, to), win32_error::success);
  EXPECT_EQ(status_of(to).st_mode & 07777, 0400u);
  expect_moved();
}

TEST_P(volume_move_test, extended_attributes_come_along) {
  if (!set_attribute(far_.folder(), "user.test", "x")) GTEST_SKIP() << "no extended attributes on the other volume";
  ASSERT_TRUE(set_attribute(from, "user.DOSATTRIB", "0x6"));
  ASSERT_TRUE(set_attribute(from, "user.binary", std::string_view("\0\xff\n", 3)));
  ASSERT_TRUE(set_attribute(from, "user.xdg.tags", "one,two"));
  ASSERT_EQ(::chmod(from.c_str(), 0400), 0);
  EXPECT_EQ(move(from, to), win32_error::success);
  EXPECT_EQ(host_test::attribute(to, "user.DOSATTRIB"), "0x6");
  EXPECT_EQ(host_test::attribute(to, "user.binary"), std::string("\0\xff\n", 3));
  EXPECT_EQ(host_test::attribute(to, "user.xdg.tags"), "one,two");
}

TEST_P(volume_move_test, attributes_that_the_other_volume_can_t_hold_refuse_the_move) {
  ASSERT_TRUE(set_attribute(from, "user.xdg.tags", "one,two"));
  const intercepted_call none(system_call::fsetxattr, [] { return EOPNOTSUPP; });
  EXPECT_EQ(move(from, to), win32_error::not_supported);
  expect_untouched();
  EXPECT_EQ(host_test::attribute(from, "user.xdg.tags"), "one,two");
}

TEST_P(volume_move_test, permissions_that_the_other_volume_doesn_t_know_are_left_out) {
  const intercepted_call none(system_call::fchmod, [] { return EPERM; });
  EXPECT_EQ(move(from, to), win32_error::success);
  expect_moved();
}

TEST_P(volume_move_test, the_other_names_of_the_file_stay) {
  ASSERT_EQ(::link(from.c_str(), near_.path("second").c_str()), 0);
  EXPECT_EQ(move(from, to), win32_error::success);
  EXPECT_EQ(content(to), bytes);
  EXPECT_EQ(content(near_.path("second")), bytes);
  EXPECT_EQ(near_.names(), names{"second"});
}

TEST_P(volume_move_test, a_taken_name_is_never_replaced) {
  put(to, "kept");
  EXPECT_EQ(move(from, to), win32_error::already_exists);
  EXPECT_EQ(content(to), "kept");
  EXPECT_EQ(content(from), bytes);
  std::filesystem::create_symlink("nowhere", far_.path("link"));
  EXPECT_EQ(move(from, far_.path("link")), win32_error::already_exists);
  std::filesystem::create_directory(far_.path("folder"));
  EXPECT_EQ(move(from, far_.path("folder")), win32_error::already_exists);
  EXPECT_EQ(far_.names(), (names{"file", "folder", "link"}));
}

TEST_P(volume_move_test, a_name_that_is_taken_during_the_copy_is_not_replaced) {
  const intercepted_call taking(system_call::fsync, [this] {
    put(to, "came first");
    return 0;
  });
  EXPECT_EQ(move(from, to), win32_error::already_exists);
  EXPECT_EQ(content(to), "came first");
  EXPECT_EQ(content(from), bytes);
  EXPECT_EQ(far_.names(), names{"file"});
}

TEST_P(volume_move_test, a_missing_folder_is_path_not_found) {
  EXPECT_EQ(move(from, far_.path("none/file")), win32_error::path_not_found);
  std::filesystem::create_symlink("target", near_.path("link"));
  EXPECT_EQ(move(near_.path("link"), far_.path("none/link")), win32_error::path_not_found);
  EXPECT_EQ(near_.names(), (names{"file", "link"}));
}

TEST_P(volume_move_test, a_link_moves_itself) {
  std::filesystem::create_symlink("some/where", near_.path("link"));
  const timespec times[] = {{1'500'000'000, 1}, {1'400'000'000, 2}};
  ASSERT_EQ(::utimensat(AT_FDCWD, near_.path("link").c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
  EXPECT_EQ(move(near_.path("link"), far_.path("link")), win32_error::success);
  EXPECT_EQ(std::filesystem::read_symlink(far_.path("link")), "some/where");
  struct stat moved {};
  ASSERT_EQ(::lstat(far_.path("link").c_str(), &moved), 0);
  EXPECT_EQ(moved.st_mtim.tv_sec, 1'400'000'000);
  EXPECT_EQ(near_.names(), names{"file"});
}

TEST_P(volume_move_test, a_link_never_replaces_anything) {
  std::filesystem::create_symlink("some/where", near_.path("link"));
  put(to, "kept");
  EXPECT_EQ(move(near_.path("link"), to), win32_error::already_exists);
  EXPECT_EQ(content(to), "kept");
  EXPECT_EQ(near_.names(), (names{"file", "link"}));
}

TEST_P(volume_move_test, directories_and_pipes_stay_where_they_are) {
  std::filesystem::create_directory(near_.path("folder"));
  ASSERT_EQ(::mkfifo(near_.path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(move(near_.path("folder"), to), win32_error::access_denied);
  EXPECT_EQ(move(near_.path("pipe"), to), win32_error::access_denied);
  EXPECT_EQ(near_.names(), (names{"file", "folder", "pipe"}));
  EXPECT_TRUE(far_.names().empty());
}

TEST_P(volume_move_test, a_full_disk_leaves_only_the_source) {
  const intercepted_call full(system_call::copy_file_range, [] { return ENOSPC; });
  EXPECT_EQ(move(from, to), win32_error::disk_full);
  expect_untouched();
}

TEST_P(volume_move_test, a_disk_that_shows_its_lack_of_room_only_at_the_end_leaves_only_the_source) {
  const intercepted_call full(system_call::fsync, [] { return ENOSPC; });
  EXPECT_EQ(move(from, to), win32_error::disk_full);
  expect_untouched();
}

TEST_P(volume_move_test, a_new_name_that_can_t_be_brought_to_the_disk_goes_again) {
  const intercepted_call failing(system_call::fsync, [calls = 0]() mutable { return ++calls == 2 ? EIO : 0; });
  EXPECT_EQ(move(from, to), win32_error::write_fault);
  expect_untouched();
}

TEST_P(volume_move_test, a_source_that_can_t_be_removed_undoes_the_copy) {
  const intercepted_call stuck(system_call::unlink, [calls = 0]() mutable { return calls++ == 0 ? EPERM : 0; });
  EXPECT_EQ(move(from, to), win32_error::access_denied);
  expect_untouched();
}

TEST_P(volume_move_test, a_source_in_a_folder_that_may_not_be_written_is_not_even_copied) {
  std::filesystem::permissions(near_.folder(), std::filesystem::perms(0555));
  std::filesystem::permissions(far_.folder(), std::filesystem::perms(0777));
  ASSERT_EQ(::chmod(from.c_str(), 0666), 0);
  const pid_t child = host_test::start_child([this] {
    if (::geteuid() == 0 && ::seteuid(nobody) != 0) return 2;
    const intercepted_call copying(system_call::copy_file_range, [] { return EIO; });
    return move(from, to) == win32_error::access_denied ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  expect_untouched();
}

TEST_P(volume_move_test, a_source_that_may_not_be_read_stays) {
  std::filesystem::permissions(near_.folder(), std::filesystem::perms(0777));
  std::filesystem::permissions(far_.folder(), std::filesystem::perms(0777));
  ASSERT_EQ(::chmod(from.c_str(), 0), 0);
  const pid_t child = host_test::start_child([this] {
    if (::geteuid() == 0 && ::seteuid(nobody) != 0) return 2;
    return move(from, to) == win32_error::access_denied ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  ASSERT_EQ(::chmod(from.c_str(), 0600), 0);
  expect_untouched();
}

TEST_P(volume_move_test, another_user_s_file_becomes_this_user_s_and_acts_for_nobody) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs the superuser to make a file of another owner";
  std::filesystem::permissions(near_.folder(), std::filesystem::perms(0777));
  std::filesystem::permissions(far_.folder(), std::filesystem::perms(0777));
  ASSERT_EQ(::chmod(from.c_str(), 06755), 0);
  const pid_t child = host_test::start_child([this] {
    if (::setegid(nobody) != 0 || ::seteuid(nobody) != 0) return 2;
    return move(from, to) == win32_error::success ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  expect_moved();
  EXPECT_EQ(status_of(to).st_uid, nobody);
  EXPECT_EQ(status_of(to).st_mode & 07777, 0755u);
}

TEST_P(volume_move_test, a_source_that_changes_during_the_copy_is_left_to_whoever_changes_it) {
  const auto longer = [this] { put(from, bytes + "more"); };
  const auto saved = [this] {
    put(near_.path("saving"), "newer");
    std::filesystem::rename(near_.path("saving"), from);
  };
  const auto tagged = [this] { ASSERT_EQ(::chmod(from.c_str(), 0604), 0); };
  for (const std::function<void()>& change :
       {std::function<void()>(longer), std::function<void()>(saved), std::function<void()>(tagged)}) {
    // During the copy, and when the copy has its name already.
    for (const int turn : {1, 2}) {
      put(from, bytes);
      const intercepted_call between(system_call::fsync, [&, calls = 0]() mutable {
        if (++calls == turn) change();
        return 0;
      });
      EXPECT_EQ(move(from, to), win32_error::sharing_violation) << turn;
      EXPECT_TRUE(far_.names().empty());
      EXPECT_EQ(near_.names(), names{"file"});
    }
  }
}

TEST_P(volume_move_test, a_source_that_someone_is_still_writing_is_a_sharing_violation) {
  {
    const unique_descriptor writer(::open(from.c_str(), O_WRONLY));
    ASSERT_TRUE(writer);
    EXPECT_EQ(move(from, to), win32_error::sharing_violation);
    expect_untouched();
  }
  EXPECT_EQ(move(from, to), win32_error::success);
  expect_moved();
}

TEST_P(volume_move_test, a_writer_that_comes_during_the_copy_keeps_the_source) {
  unique_descriptor writer;
  const intercepted_call between(system_call::fsync, [&] {
    if (!writer) writer = unique_descriptor(::open(from.c_str(), O_WRONLY));
    return 0;
  });
  EXPECT_EQ(move(from, to), win32_error::sharing_violation);
  expect_untouched();
}

TEST_P(volume_move_test, a_file_that_another_run_has_locked_is_a_sharing_violation) {
  const unique_descriptor other(::open(from.c_str(), O_RDONLY));
  ASSERT_EQ(::flock(other.get(), LOCK_EX), 0);
  EXPECT_EQ(move(from, to), win32_error::sharing_violation);
  expect_untouched();
}

TEST_P(volume_move_test, other_runs_are_kept_out_while_it_copies) {
  bool was_locked = false;
  const intercepted_call between(system_call::fsync, [&] {
    const unique_descriptor other(::open(from.c_str(), O_RDONLY));
    was_locked = ::flock(other.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    return 0;
  });
  EXPECT_EQ(move(from, to), win32_error::success);
  EXPECT_TRUE(was_locked);
}

TEST_P(volume_move_test, a_copy_that_reads_back_wrong_is_dropped) {
  // The disk loses what it was given, behind the back of the flush.
  const intercepted_call losing(system_call::fsync, [this] {
    for (const auto& open : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      const std::string target = std::filesystem::read_symlink(open.path(), gone).string();
      if (!target.starts_with(far_.folder() + "/")) continue;
      const unique_descriptor again(::open(open.path().c_str(), O_WRONLY));
      EXPECT_EQ(::pwrite(again.get(), "\0", 1, 345'678), 1);
    }
    return 0;
  });
  bytes[345'678] = 'x';
  put(from, bytes);
  EXPECT_EQ(move(from, to), win32_error::write_fault);
  expect_untouched();
}

TEST_P(volume_move_test, a_kill_at_any_call_leaves_the_whole_file_under_one_name_or_both) {
  ASSERT_TRUE(set_attribute(from, "user.tag", "value"));
  bool was_under_both = false;
  int ended = -1;
  int round = 0;
  for (; ended != 0 && round < 40; ++round) {
    const pid_t child = host_test::start_child([&] {
      int left = round;
      const auto strike = [&left] {
        if (left-- == 0) ::raise(SIGKILL);
        return 0;
      };
      const intercepted_call copying(system_call::copy_file_range, strike);
      const intercepted_call mode(system_call::fchmod, strike);
      const intercepted_call attributes(system_call::fsetxattr, strike);
      const intercepted_call syncing(system_call::fsync, strike);
      const intercepted_call naming(system_call::linkat, strike);
      const intercepted_call removing(system_call::unlink, strike);
      return move(from, to) == win32_error::success ? 0 : 1;
    });
    ended = host_test::wait_for(child);
    EXPECT_TRUE(ended == 0 || ended == -1) << ended;
    const bool is_old = std::filesystem::exists(from);
    const bool is_new = std::filesystem::exists(to);
    EXPECT_TRUE(is_old || is_new) << round;
    EXPECT_TRUE(!is_old || content(from) == bytes) << round;
    EXPECT_TRUE(!is_new || content(to) == bytes) << round;
    was_under_both = was_under_both || (is_old && is_new);
    if (is_new) std::filesystem::remove(to);
    if (!is_old) put(from, bytes);
    // Nothing of what was cut short is in the next one's way.
    EXPECT_EQ(far_.names(), names{}) << round;
  }
  EXPECT_EQ(ended, 0);
  EXPECT_GT(round, 6);
  EXPECT_TRUE(was_under_both);
}

std::string name_of(const testing::TestParamInfo<volumes>& info) {
  return info.param == volumes::two ? "two_volumes" : "one_volume_that_refuses";
}

INSTANTIATE_TEST_SUITE_P(between, volume_move_test, testing::Values(volumes::two, volumes::one_that_refuses), name_of);

}  // namespace
