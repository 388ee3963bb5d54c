#include "platform/host/staged_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/xattr.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <functional>
#include <thread>

#include "platform/host/file_bytes.h"
#include "platform/host/host_files.h"
#include "platform/host/intercepted_calls.h"
#include "platform/host/sibling_files.h"
#include "platform/host/staging.h"

namespace {

using host_test::content;
using host_test::nobody;
using host_test::put;
using host_test::replace;
using host_test::status_of;
using platform::win32_error;
using platform::host::staged_file;
using platform::host::staging_form;
using platform::host::staging_path;
using platform::host::unique_descriptor;
using names = std::vector<std::string>;

struct staged_file_test : testing::Test {
  host_test::temporary_folder folder;
  std::string path = folder.path("file");
  std::string old = host_test::noise(300'000, 1);
  std::string fresh = host_test::noise(400'000, 2);

  void SetUp() override { put(path, old); }
};

TEST_F(staged_file_test, gives_a_new_file_its_name_at_the_commit) {
  const std::string created = folder.path("new");
  auto staged = staged_file::create(created);
  ASSERT_TRUE(staged);
  ASSERT_EQ(::write(staged->descriptor(), "bytes", 5), 5);
  EXPECT_EQ(folder.names(), names{"file"});
  EXPECT_EQ(staged->commit(), win32_error::success);
  EXPECT_EQ(content(created), "bytes");
  EXPECT_EQ(folder.names(), (names{"file", "new"}));
  const mode_t mask = ::umask(0);
  ::umask(mask);
  EXPECT_EQ(status_of(created).st_mode & 07777, 0666 & ~mask);
}

TEST_F(staged_file_test, never_replaces_a_file_that_came_up_meanwhile) {
  const std::string created = folder.path("new");
  auto staged = staged_file::create(created);
  ASSERT_TRUE(staged);
  put(created, "someone else's");
  EXPECT_EQ(staged->commit(), win32_error::file_exists);
  EXPECT_EQ(content(created), "someone else's");
}

TEST_F(staged_file_test, keeps_mode_and_owner) {
  ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
  const bool superuser = ::geteuid() == 0;
  if (superuser) {
    ASSERT_EQ(::chown(path.c_str(), 1234, 2345), 0);
  }
  EXPECT_EQ(replace(path, fresh), win32_error::success);
  EXPECT_EQ(content(path), fresh);
  EXPECT_EQ(status_of(path).st_mode & 07777, 0640u);
  if (superuser) {
    EXPECT_EQ(status_of(path).st_uid, 1234u);
    EXPECT_EQ(status_of(path).st_gid, 2345u);
  }
}

TEST_F(staged_file_test, keeps_extended_attributes) {
  ASSERT_TRUE(host_test::set_attribute(path, "user.DOSATTRIB", "0x6"));
  ASSERT_TRUE(host_test::set_attribute(path, "user.binary", std::string_view("\0\xff\n", 3)));
  ASSERT_TRUE(host_test::set_attribute(path, "user.empty", ""));
  EXPECT_EQ(replace(path, fresh), win32_error::success);
  EXPECT_EQ(host_test::attribute(path, "user.DOSATTRIB"), "0x6");
  EXPECT_EQ(host_test::attribute(path, "user.binary"), std::string("\0\xff\n", 3));
  EXPECT_EQ(::getxattr(path.c_str(), "user.empty", nullptr, 0), 0);
}

// An access list in the kernel's form: version 2, then tag, permissions and id of each entry.
std::string access_list() {
  struct entry {
    std::uint16_t tag;
    std::uint16_t permissions;
    std::uint32_t id;
  };
  constexpr std::uint32_t none = 0xffffffff;
  const entry entries[] = {{1, 6, none}, {2, 4, 1234}, {4, 4, none}, {0x10, 4, none}, {0x20, 0, none}};
  const std::uint32_t version = 2;
  std::string bytes(reinterpret_cast<const char*>(&version), sizeof version);
  return bytes.append(reinterpret_cast<const char*>(entries), sizeof entries);
}

TEST_F(staged_file_test, keeps_access_lists) {
  if (!host_test::set_attribute(path, "system.posix_acl_access", access_list())) {
    GTEST_SKIP() << "no access lists on this file system";
  }
  EXPECT_EQ(replace(path, fresh), win32_error::success);
  EXPECT_EQ(host_test::attribute(path, "system.posix_acl_access"), access_list());
  EXPECT_EQ(status_of(path).st_mode & 07777, 0640u);
}

// One that would let group and others, and one user by name, read whatever is made in the folder.
std::string generous_access_list() {
  std::string bytes = access_list();
  bytes[4 + 3 * 8 + 2] = 7;  // what the list's mask lets through
  bytes[4 + 1 * 8 + 2] = 7;  // the user by name
  return bytes;
}

TEST_F(staged_file_test, does_not_take_the_access_list_that_the_folder_gives_new_files) {
  if (!host_test::set_attribute(folder.folder(), "system.posix_acl_default", generous_access_list())) {
    GTEST_SKIP() << "no access lists on this file system";
  }
  ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
  for (const staging_form form : {staging_form::unnamed_if_possible, staging_form::hidden_sibling}) {
    EXPECT_EQ(replace(path, fresh, form), win32_error::success);
    EXPECT_EQ(::getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0), -1);
    EXPECT_EQ(status_of(path).st_mode & 07777, 0640u);
  }
}

TEST_F(staged_file_test, keeps_the_label_that_only_the_superuser_may_set_by_writing_behind_the_name) {
  if (::geteuid() != 0 || !host_test::set_attribute(path, "security.label", "secret")) {
    GTEST_SKIP() << "needs the superuser to set a label";
  }
  ASSERT_EQ(::chown(path.c_str(), nobody, nobody), 0);
  ASSERT_EQ(::chown(folder.folder().c_str(), nobody, nobody), 0);
  const ino_t inode = status_of(path).st_ino;
  const pid_t child = host_test::start_child([this] {
    if (::setgid(nobody) != 0 || ::setuid(nobody) != 0) return 2;
    return replace(path, fresh) == win32_error::success ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  EXPECT_EQ(content(path), fresh);
  EXPECT_EQ(host_test::attribute(path, "security.label"), "secret");
  EXPECT_EQ(status_of(path).st_ino, inode);
  EXPECT_EQ(folder.names(), names{"file"});
}

int flags_of(const std::string& path) {
  const unique_descriptor file(::open(path.c_str(), O_RDONLY));
  int flags = 0;
  return ::ioctl(file.get(), FS_IOC_GETFLAGS, &flags) == 0 ? flags : -1;
}

bool set_flags(const std::string& path, int flags) {
  const unique_descriptor file(::open(path.c_str(), O_RDONLY));
  return ::ioctl(file.get(), FS_IOC_SETFLAGS, &flags) == 0;
}

TEST_F(staged_file_test, keeps_the_flags_that_a_user_chose) {
  const int before = flags_of(path);
  if (before == -1 || !set_flags(path, before | FS_NOATIME_FL | FS_NODUMP_FL)) GTEST_SKIP() << "no such flags here";
  EXPECT_EQ(replace(path, fresh), win32_error::success);
  EXPECT_EQ(flags_of(path), before | FS_NOATIME_FL | FS_NODUMP_FL);
}

TEST_F(staged_file_test, does_not_take_the_flags_that_the_folder_gives_new_files) {
  const int before = flags_of(path);
  if (before == -1 || !set_flags(folder.folder(), flags_of(folder.folder()) | FS_NOATIME_FL)) {
    GTEST_SKIP() << "no such flags here";
  }
  EXPECT_EQ(replace(path, fresh), win32_error::success);
  EXPECT_EQ(flags_of(path), before);
}

TEST_F(staged_file_test, keeps_a_flag_that_only_the_superuser_may_set_by_writing_behind_the_name) {
  const int before = flags_of(path);
  if (::geteuid() != 0 || before == -1 || !set_flags(path, before | FS_JOURNAL_DATA_FL)) {
    GTEST_SKIP() << "no such flag here";
  }
  ASSERT_EQ(::chown(path.c_str(), nobody, nobody), 0);
  ASSERT_EQ(::chown(folder.folder().c_str(), nobody, nobody), 0);
  const pid_t child = host_test::start_child([this] {
    if (::setgid(nobody) != 0 || ::setuid(nobody) != 0) return 2;
    return replace(path, fresh) == win32_error::success ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  EXPECT_EQ(content(path), fresh);
  EXPECT_EQ(flags_of(path), before | FS_JOURNAL_DATA_FL);
}

TEST_F(staged_file_test, replaces_the_target_of_symbolic_links_and_keeps_the_links) {
  std::filesystem::create_directory(folder.path("folder"));
  std::filesystem::create_symlink("../file", folder.path("folder/link"));
  std::filesystem::create_symlink(folder.path("folder/link"), folder.path("link"));
  EXPECT_EQ(replace(folder.path("link"), fresh), win32_error::success);
  EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link")));
  EXPECT_TRUE(std::filesystem::is_symlink(folder.path("folder/link")));
  EXPECT_EQ(content(path), fresh);
}

TEST_F(staged_file_test, creates_the_target_of_a_dangling_link) {
  std::filesystem::create_symlink("target", folder.path("link"));
  EXPECT_EQ(replace(folder.path("link"), fresh), win32_error::success);
  EXPECT_EQ(content(folder.path("target")), fresh);
}

TEST_F(staged_file_test, a_loop_of_links_is_an_error) {
  std::filesystem::create_symlink("b", folder.path("a"));
  std::filesystem::create_symlink("a", folder.path("b"));
  EXPECT_FALSE(staged_file::create(folder.path("a")));
}

TEST_F(staged_file_test, is_refused_for_what_is_no_file) {
  std::filesystem::create_directory(folder.path("folder"));
  EXPECT_EQ(staged_file::create(folder.path("folder")).error(), win32_error::access_denied);
  ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(staged_file::create(folder.path("pipe")).error(), win32_error::access_denied);
  EXPECT_EQ(staged_file::create(folder.path("missing/file")).error(), win32_error::path_not_found);
}

TEST_F(staged_file_test, is_refused_in_a_read_only_folder_and_for_a_read_only_file) {
  std::filesystem::permissions(folder.folder(), std::filesystem::perms(0777));
  const pid_t child = host_test::start_child([this] {
    if (::geteuid() == 0 && ::seteuid(nobody) != 0) return 2;
    return staged_file::create(path).error() == win32_error::access_denied ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  std::filesystem::permissions(path, std::filesystem::perms(0666));
  std::filesystem::permissions(folder.folder(), std::filesystem::perms(0555));
  const pid_t other = host_test::start_child([this] {
    if (::geteuid() == 0 && ::seteuid(nobody) != 0) return 2;
    return staged_file::create(path).error() == win32_error::access_denied ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(other), 0);
}

TEST_F(staged_file_test, another_owner_s_file_is_changed_in_place_where_the_owner_can_t_be_kept) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs the superuser to make a file of another owner";
  std::filesystem::permissions(folder.folder(), std::filesystem::perms(0777));
  std::filesystem::permissions(path, std::filesystem::perms(0666));
  const pid_t child = host_test::start_child([this] {
    if (::seteuid(nobody) != 0) return 2;
    return replace(path, fresh) == win32_error::success ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  EXPECT_EQ(content(path), fresh);
  EXPECT_EQ(status_of(path).st_uid, 0u);
  EXPECT_EQ(folder.names(), names{"file"});
}

TEST_F(staged_file_test, dropping_it_leaves_nothing) {
  {
    auto staged = staged_file::create(path);
    ASSERT_TRUE(staged);
    ASSERT_EQ(::write(staged->descriptor(), "x", 1), 1);
  }
  EXPECT_EQ(content(path), old);
  EXPECT_EQ(folder.names(), names{"file"});
}

TEST_F(staged_file_test, a_file_replaced_by_someone_else_meanwhile_is_left_to_them) {
  auto staged = staged_file::create(path);
  ASSERT_TRUE(staged);
  put(folder.path("other"), "newer");
  std::filesystem::rename(folder.path("other"), path);
  EXPECT_EQ(staged->commit(), win32_error::sharing_violation);
  EXPECT_EQ(content(path), "newer");
}

TEST_F(staged_file_test, a_file_written_by_someone_since_the_creation_is_left_to_them) {
  auto staged = staged_file::create(path);
  ASSERT_TRUE(staged);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  put(path, "newer");
  EXPECT_EQ(staged->commit(), win32_error::sharing_violation);
  EXPECT_EQ(content(path), "newer");
}

TEST_F(staged_file_test, a_file_that_changes_during_the_commit_is_left_to_whoever_changed_it) {
  const auto newer = [this] {
    put(folder.path("other"), "newer");
    std::filesystem::rename(folder.path("other"), path);
  };
  const auto rewritten = [this] { put(path, "newer"); };
  int tags = 0;
  const auto tagged = [&] { ASSERT_TRUE(host_test::set_attribute(path, "user.tag", std::to_string(++tags))); };
  for (const std::function<void()>& change :
       {std::function<void()>(newer), std::function<void()>(rewritten), std::function<void()>(tagged)}) {
    for (const staging_form form : {staging_form::unnamed_if_possible, staging_form::hidden_sibling}) {
      put(path, old);
      const host_test::intercepted_call between(host_test::system_call::fchmod, [&change] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        change();
        return 0;
      });
      EXPECT_EQ(replace(path, fresh, form), win32_error::sharing_violation);
      EXPECT_NE(content(path), fresh);
      EXPECT_EQ(folder.names(), names{"file"});
    }
  }
  EXPECT_EQ(host_test::attribute(path, "user.tag"), "2");
}

TEST_F(staged_file_test, a_leftover_of_a_file_that_another_program_saved_since_is_removed) {
  put(staging_path(path), "half of some");
  put(folder.path("other"), "saved");
  std::filesystem::rename(folder.path("other"), path);
  EXPECT_EQ(replace(path, fresh), win32_error::success);
  EXPECT_EQ(folder.names(), names{"file"});
}

TEST_F(staged_file_test, a_leftover_that_can_t_be_opened_for_now_stays) {
  put(staging_path(path), "may be at work");
  const pid_t child = host_test::start_child([this] {
    const rlimit limit{3, 3};
    if (::setrlimit(RLIMIT_NOFILE, &limit) != 0) return 2;
    return staged_file::create(path).error() == win32_error::too_many_open_files ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  EXPECT_EQ(content(staging_path(path)), "may be at work");
}

TEST_F(staged_file_test, a_leftover_of_a_kill_is_replaced) {
  put(staging_path(path), "half of some");
  EXPECT_EQ(replace(path, fresh), win32_error::success);
  EXPECT_EQ(content(path), fresh);
  EXPECT_EQ(folder.names(), names{"file"});
}

TEST_F(staged_file_test, what_others_put_under_its_names_is_neither_followed_nor_changed) {
  const auto expect_replaced = [this] {
    for (const staging_form form : {staging_form::unnamed_if_possible, staging_form::hidden_sibling}) {
      put(path, old);
      EXPECT_EQ(replace(path, fresh, form), win32_error::success);
      EXPECT_TRUE(content(path) == fresh);
    }
  };
  const std::string planted = staging_path(path);
  put(folder.path("victim"), "precious");
  std::filesystem::create_symlink("victim", planted);
  expect_replaced();
  EXPECT_TRUE(std::filesystem::is_symlink(planted));
  std::filesystem::remove(planted);
  std::filesystem::create_hard_link(folder.path("victim"), planted);
  expect_replaced();
  EXPECT_EQ(content(planted), "precious");
  std::filesystem::remove(planted);
  std::filesystem::create_directory(planted);
  expect_replaced();
  EXPECT_TRUE(std::filesystem::is_directory(planted));
  std::filesystem::remove(planted);
  ASSERT_EQ(::mkfifo(planted.c_str(), 0600), 0);
  expect_replaced();
  EXPECT_TRUE(std::filesystem::is_fifo(planted));
  EXPECT_EQ(content(folder.path("victim")), "precious");
  EXPECT_EQ(folder.names().size(), 3u);
}

TEST_F(staged_file_test, another_user_s_file_under_its_name_stays) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs the superuser to make a file of another owner";
  put(staging_path(path), "theirs");
  ASSERT_EQ(::chown(staging_path(path).c_str(), nobody, nobody), 0);
  EXPECT_EQ(replace(path, fresh), win32_error::success);
  EXPECT_TRUE(content(path) == fresh);
  EXPECT_EQ(content(staging_path(path)), "theirs");
}

TEST_F(staged_file_test, another_process_in_the_middle_of_it_is_not_disturbed) {
  const std::string staging = staging_path(path);
  put(staging, "work of another process");
  const unique_descriptor other(::open(staging.c_str(), O_RDWR));
  ASSERT_EQ(::flock(other.get(), LOCK_EX), 0);
  EXPECT_EQ(replace(path, fresh), win32_error::sharing_violation);
  EXPECT_EQ(content(staging), "work of another process");
  EXPECT_EQ(content(path), old);
}

TEST_F(staged_file_test, a_write_beyond_the_limit_changes_nothing) {
  const pid_t child = host_test::start_child([this] {
    const rlimit limit{200'000, 200'000};
    ::signal(SIGXFSZ, SIG_IGN);
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) return 2;
    auto staged = staged_file::create(path);
    if (!staged) return 3;
    return platform::host::write_at(staged->descriptor(), 0, fresh) != 0 ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  EXPECT_EQ(content(path), old);
  EXPECT_EQ(folder.names(), names{"file"});
}

// A file system of its own, gone with the test.
class small_file_system {
 public:
  explicit small_file_system(const char* options) {
    mounted_ = ::mount("none", folder_.folder().c_str(), "tmpfs", 0, options) == 0;
  }
  ~small_file_system() {
    if (mounted_) ::umount2(folder_.folder().c_str(), MNT_DETACH);
  }
  [[nodiscard]] bool mounted() const { return mounted_; }
  [[nodiscard]] const host_test::temporary_folder& folder() const { return folder_; }

 private:
  host_test::temporary_folder folder_;
  bool mounted_ = false;
};

TEST_F(staged_file_test, a_file_system_without_room_refuses_and_keeps_the_file) {
  const small_file_system disk("size=512k");
  if (!disk.mounted()) GTEST_SKIP() << "this machine doesn't allow mounting";
  const std::string full = disk.folder().path("file");
  put(full, old);
  {
    auto staged = staged_file::create(full);
    ASSERT_TRUE(staged);
    EXPECT_NE(platform::host::write_at(staged->descriptor(), 0, fresh), 0);
  }
  EXPECT_EQ(content(full), old);
  EXPECT_EQ(disk.folder().names(), names{"file"});
}

TEST_F(staged_file_test, a_hard_linked_file_on_a_full_disk_keeps_its_content) {
  const small_file_system disk("size=1M");
  if (!disk.mounted()) GTEST_SKIP() << "this machine doesn't allow mounting";
  const std::string full = disk.folder().path("file");
  put(full, old);
  std::filesystem::create_hard_link(full, disk.folder().path("second"));
  // Room for the new content, not for the undo file.
  EXPECT_EQ(replace(full, fresh), win32_error::disk_full);
  EXPECT_EQ(content(full), old);
  EXPECT_EQ(disk.folder().names(), (names{"file", "second"}));
}

// As on file systems that have no unnamed files.
struct hidden_sibling_test : staged_file_test {
  win32_error replace_by_sibling(const std::string& name) { return replace(name, fresh, staging_form::hidden_sibling); }
};

TEST_F(hidden_sibling_test, replaces_a_file_with_all_that_is_kept) {
  ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
  ASSERT_TRUE(host_test::set_attribute(path, "user.kept", "yes"));
  EXPECT_EQ(replace_by_sibling(path), win32_error::success);
  EXPECT_EQ(content(path), fresh);
  EXPECT_EQ(status_of(path).st_mode & 07777, 0640u);
  EXPECT_EQ(host_test::attribute(path, "user.kept"), "yes");
  EXPECT_EQ(folder.names(), names{"file"});
}

TEST_F(hidden_sibling_test, creates_a_file) {
  EXPECT_EQ(replace_by_sibling(folder.path("new")), win32_error::success);
  EXPECT_EQ(content(folder.path("new")), fresh);
  EXPECT_EQ(folder.names(), (names{"file", "new"}));
}

TEST_F(hidden_sibling_test, never_replaces_a_file_that_came_up_meanwhile) {
  {
    auto staged = staged_file::create(folder.path("new"), staging_form::hidden_sibling);
    ASSERT_TRUE(staged);
    put(folder.path("new"), "someone else's");
    EXPECT_EQ(staged->commit(), win32_error::file_exists);
  }
  EXPECT_EQ(content(folder.path("new")), "someone else's");
  EXPECT_EQ(folder.names(), (names{"file", "new"}));
}

TEST_F(hidden_sibling_test, is_private_while_it_is_written_and_gone_when_it_is_dropped) {
  {
    auto staged = staged_file::create(path, staging_form::hidden_sibling);
    ASSERT_TRUE(staged);
    EXPECT_EQ(status_of(staging_path(path)).st_mode & 07777, 0600u);
  }
  EXPECT_EQ(content(path), old);
  EXPECT_EQ(folder.names(), names{"file"});
}

TEST_F(hidden_sibling_test, takes_the_place_of_a_leftover) {
  put(staging_path(path), "half of some");
  put(staging_path(folder.path("new")), "half of some");
  EXPECT_EQ(replace_by_sibling(path), win32_error::success);
  EXPECT_EQ(replace_by_sibling(folder.path("new")), win32_error::success);
  EXPECT_EQ(folder.names(), (names{"file", "new"}));
}

TEST_F(hidden_sibling_test, keeps_a_second_one_out_while_it_lives) {
  auto first = staged_file::create(path, staging_form::hidden_sibling);
  ASSERT_TRUE(first);
  EXPECT_EQ(replace_by_sibling(path), win32_error::sharing_violation);
  ASSERT_EQ(platform::host::write_at(first->descriptor(), 0, fresh), 0);
  EXPECT_EQ(first->commit(), win32_error::success);
  EXPECT_EQ(content(path), fresh);
}

}  // namespace
