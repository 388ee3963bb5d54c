// Moving within a file system, also where that knows no rename that never replaces.
#include "platform/host/file_move.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <functional>
#include <optional>

#include "platform/host/host_files.h"
#include "platform/host/intercepted_calls.h"
#include "platform/host/moving.h"
#include "platform/host/staging.h"
#include "platform/host/undo_attribute.h"
#include "platform/host/unique_descriptor.h"

namespace {

using host_test::content;
using host_test::intercepted_call;
using host_test::move;
using host_test::nobody;
using host_test::put;
using host_test::status_of;
using host_test::system_call;
using platform::win32_error;
using platform::host::path_bytes;
using platform::host::unique_descriptor;
using platform::host::wide_from_bytes;
using names = std::vector<std::string>;

std::function<int()> failing_with(int error) {
  return [error] { return error; };
}

struct file_move_test : testing::Test {
  host_test::temporary_folder folder;
  std::string old_path = folder.path("old");
  std::string new_path = folder.path("new");

  void SetUp() override { put(old_path, "content"); }
};

TEST_F(file_move_test, keeps_the_file_itself_with_all_that_hangs_on_it) {
  ASSERT_TRUE(host_test::set_attribute(old_path, "user.tag", "value"));
  ASSERT_EQ(::link(old_path.c_str(), folder.path("second").c_str()), 0);
  const struct stat before = status_of(old_path);
  EXPECT_EQ(move(old_path, new_path), win32_error::success);
  const struct stat after = status_of(new_path);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_nlink, 2u);
  EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
  EXPECT_EQ(host_test::attribute(new_path, "user.tag"), "value");
  EXPECT_EQ(folder.names(), (names{"new", "second"}));
}

TEST_F(file_move_test, a_second_name_of_the_same_file_is_taken_all_the_same) {
  ASSERT_EQ(::link(old_path.c_str(), new_path.c_str()), 0);
  EXPECT_EQ(move(old_path, new_path), win32_error::already_exists);
  EXPECT_EQ(folder.names(), (names{"new", "old"}));
}

TEST_F(file_move_test, moves_a_link_itself) {
  std::filesystem::create_symlink("old", folder.path("link"));
  std::filesystem::create_symlink("nowhere", folder.path("dangling"));
  EXPECT_EQ(move(folder.path("link"), folder.path("moved")), win32_error::success);
  EXPECT_EQ(move(folder.path("dangling"), folder.path("moved dangling")), win32_error::success);
  EXPECT_EQ(std::filesystem::read_symlink(folder.path("moved")), "old");
  EXPECT_EQ(std::filesystem::read_symlink(folder.path("moved dangling")), "nowhere");
  EXPECT_EQ(folder.names(), (names{"moved", "moved dangling", "old"}));
}

TEST_F(file_move_test, a_link_that_leads_nowhere_is_not_replaced) {
  std::filesystem::create_symlink("nowhere", new_path);
  EXPECT_EQ(move(old_path, new_path), win32_error::already_exists);
  EXPECT_EQ(std::filesystem::read_symlink(new_path), "nowhere");
  EXPECT_EQ(folder.names(), (names{"new", "old"}));
}

TEST_F(file_move_test, moves_what_is_no_file_without_waiting_for_it) {
  ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(move(folder.path("pipe"), new_path), win32_error::success);
  EXPECT_TRUE(S_ISFIFO(status_of(new_path).st_mode));
}

TEST_F(file_move_test, moves_a_file_that_may_not_be_read) {
  std::filesystem::permissions(folder.folder(), std::filesystem::perms(0777));
  ASSERT_EQ(::chmod(old_path.c_str(), 0), 0);
  const pid_t child = host_test::start_child([this] {
    if (::geteuid() == 0 && ::seteuid(nobody) != 0) return 2;
    return move(old_path, new_path) == win32_error::success ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  EXPECT_EQ(folder.names(), names{"new"});
}

TEST_F(file_move_test, is_refused_in_a_folder_that_may_not_be_written) {
  std::filesystem::permissions(folder.folder(), std::filesystem::perms(0555));
  const pid_t child = host_test::start_child([this] {
    if (::geteuid() == 0 && ::seteuid(nobody) != 0) return 2;
    return move(old_path, new_path) == win32_error::access_denied ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  EXPECT_EQ(folder.names(), names{"old"});
}

TEST_F(file_move_test, a_file_that_another_run_has_locked_is_a_sharing_violation) {
  {
    const unique_descriptor other(::open(old_path.c_str(), O_RDWR));
    ASSERT_EQ(::flock(other.get(), LOCK_EX), 0);
    EXPECT_EQ(move(old_path, new_path), win32_error::sharing_violation);
    EXPECT_EQ(folder.names(), names{"old"});
  }
  EXPECT_EQ(move(old_path, new_path), win32_error::success);
}

TEST_F(file_move_test, a_name_that_is_no_utf_8_moves) {
  const std::string odd = folder.path("caf\xe9\\x");
  put(odd, "odd");
  std::wstring name = wide_from_bytes(folder.folder()) + L"/" + platform::host::wide_name_from_bytes("caf\xe9\\x");
  EXPECT_EQ(platform::host::move_to_free_name(path_bytes(name), path_bytes(wide_from_bytes(new_path))),
            win32_error::success);
  EXPECT_EQ(content(new_path), "odd");
  EXPECT_EQ(platform::host::move_to_free_name(path_bytes(wide_from_bytes(new_path)), path_bytes(name)),
            win32_error::success);
  EXPECT_EQ(content(odd), "odd");
}

TEST_F(file_move_test, a_name_that_is_too_long_leaves_the_file) {
  EXPECT_EQ(move(old_path, folder.path(std::string(256, 'n'))), win32_error::filename_exceeds_range);
  EXPECT_EQ(move(old_path, folder.path(std::string(255, 'n'))), win32_error::success);
}

// A file with two names whose change another process was killed in, after its last byte and before the end.
TEST_F(file_move_test, a_change_that_was_cut_short_is_recovered_first) {
  const std::string old = host_test::noise(100'000, 1);
  const std::string fresh = host_test::noise(150'000, 2);
  put(old_path, old);
  ASSERT_EQ(::link(old_path.c_str(), folder.path("second").c_str()), 0);
  const pid_t child = host_test::start_child([&] {
    int calls = 0;
    const intercepted_call kill(system_call::fsync, [&calls] {
      // The undo file, the file with its attribute, and their folder come first.
      if (++calls > 3) ::raise(SIGKILL);
      return 0;
    });
    return host_test::replace(old_path, fresh) == win32_error::success ? 0 : 1;
  });
  ASSERT_EQ(host_test::wait_for(child), -1);
  ASSERT_FALSE(host_test::attribute(old_path, platform::host::undo_attribute).empty());
  EXPECT_EQ(move(old_path, new_path), win32_error::success);
  EXPECT_EQ(content(new_path), fresh);
  EXPECT_EQ(content(folder.path("second")), fresh);
  EXPECT_TRUE(host_test::attribute(new_path, platform::host::undo_attribute).empty());
  EXPECT_EQ(folder.names(), (names{"new", "second"}));
}

// Where the file system has no rename that never replaces: how it says so.
struct plain_file_system_test : file_move_test, testing::WithParamInterface<int> {
  intercepted_call no_exclusive_rename{system_call::renameat2, failing_with(GetParam())};
  std::optional<intercepted_call> no_second_names;

  // As on FAT.
  void forbid_second_names() { no_second_names.emplace(system_call::linkat, failing_with(EPERM)); }

  void expect_all_moves_keep_their_promises() {
    EXPECT_EQ(move(old_path, new_path), win32_error::success);
    EXPECT_EQ(content(new_path), "content");
    EXPECT_EQ(folder.names(), names{"new"});
    put(old_path, "other");
    EXPECT_EQ(move(old_path, new_path), win32_error::already_exists);
    EXPECT_EQ(content(new_path), "content");
    EXPECT_EQ(content(old_path), "other");
    std::filesystem::create_symlink("nowhere", folder.path("link"));
    EXPECT_EQ(move(old_path, folder.path("link")), win32_error::already_exists);
    EXPECT_EQ(move(folder.path("link"), folder.path("moved")), win32_error::success);
    EXPECT_EQ(std::filesystem::read_symlink(folder.path("moved")), "nowhere");
    EXPECT_EQ(move(folder.path("missing"), folder.path("x")), win32_error::file_not_found);
    EXPECT_EQ(move(old_path, folder.path("missing/x")), win32_error::path_not_found);
    EXPECT_EQ(folder.names(), (names{"moved", "new", "old"}));
  }
};

TEST_P(plain_file_system_test, a_file_is_never_replaced_and_never_lost) { expect_all_moves_keep_their_promises(); }

TEST_P(plain_file_system_test, nor_where_no_file_has_two_names) {
  forbid_second_names();
  expect_all_moves_keep_their_promises();
}

TEST_P(plain_file_system_test, a_directory_moves_and_replaces_nothing) {
  std::filesystem::create_directories(folder.path("a/inner"));
  std::filesystem::create_directory(folder.path("empty"));
  EXPECT_EQ(move(folder.path("a"), folder.path("empty")), win32_error::already_exists);
  EXPECT_EQ(move(folder.path("a"), old_path), win32_error::already_exists);
  EXPECT_EQ(move(folder.path("a"), folder.path("a/inner/b")), win32_error::invalid_parameter);
  EXPECT_EQ(move(folder.path("a"), folder.path("b")), win32_error::success);
  EXPECT_TRUE(std::filesystem::is_directory(folder.path("b/inner")));
  EXPECT_EQ(folder.names(), (names{"b", "empty", "old"}));
}

TEST_P(plain_file_system_test, an_old_name_that_can_t_go_is_a_failure_that_leaves_it_alone) {
  const intercepted_call stuck(system_call::unlink, [calls = 0]() mutable { return calls++ == 0 ? EACCES : 0; });
  EXPECT_EQ(move(old_path, new_path), win32_error::access_denied);
  EXPECT_EQ(content(old_path), "content");
  EXPECT_EQ(folder.names(), names{"old"});
}

TEST_P(plain_file_system_test, a_kill_at_any_call_leaves_the_file_whole) {
  for (const bool second_names : {true, false}) {
    if (!second_names) forbid_second_names();
    int ended = -1;
    int round = 0;
    for (; ended != 0 && round < 20; ++round) {
      const pid_t child = host_test::start_child([&] {
        int left = round;
        const auto strike = [&left](int error) {
          return [&left, error] {
            if (left-- == 0) ::raise(SIGKILL);
            return error;
          };
        };
        const intercepted_call renaming(system_call::renameat2, strike(GetParam()));
        const intercepted_call linking(system_call::linkat, strike(second_names ? 0 : EPERM));
        const intercepted_call unlinking(system_call::unlink, strike(0));
        return move(old_path, new_path) == win32_error::success ? 0 : 1;
      });
      ended = host_test::wait_for(child);
      const names found = folder.names();
      const bool under_old_name = std::ranges::find(found, "old") != found.end();
      EXPECT_EQ(content(under_old_name ? old_path : new_path), "content") << round;
      if (std::ranges::find(found, "new") != found.end()) {
        EXPECT_EQ(content(new_path), "content");
      }
      std::filesystem::remove(new_path);
      put(old_path, "content");
    }
    EXPECT_EQ(ended, 0);
    EXPECT_GT(round, 2);
  }
}

INSTANTIATE_TEST_SUITE_P(errors, plain_file_system_test, testing::Values(EINVAL, ENOSYS));

}  // namespace
