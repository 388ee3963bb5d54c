// What the host's files have beyond the contract of both machines: links, pipes, extended attributes, modes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>

#include "platform/host/file_system.h"
#include "platform/host/path_bytes.h"
#include "support/native_files.h"
#include "support/scratch_folder.h"

namespace {

using platform::access;
using platform::disposition;
using platform::share;
using platform::win32_error;
using test_support::content_of;
using test_support::put_file;
namespace attribute = platform::attribute;

constexpr platform::open_request reading = {access::read, share::all};
constexpr platform::open_request replacing = {access::write, share::none, disposition::create_always};

class host_files : public testing::Test {
 protected:
  [[nodiscard]] std::string bytes(const std::wstring& path) const {
    return std::string(platform::host::path_bytes(path).view());
  }

  [[nodiscard]] std::optional<std::string> stored_attributes() const {
    char value[64];
    const ssize_t size = ::getxattr(bytes(path_).c_str(), "user.DOSATTRIB", value, sizeof(value));
    if (size < 0) return std::nullopt;
    return std::string(value, static_cast<std::size_t>(size));
  }

  void store_attributes(std::string_view value) const {
    ASSERT_EQ(::setxattr(bytes(path_).c_str(), "user.DOSATTRIB", value.data(), value.size(), 0), 0);
  }

  [[nodiscard]] struct stat status_of(const std::wstring& path) const {
    struct stat status = {};
    EXPECT_EQ(::stat(bytes(path).c_str(), &status), 0);
    return status;
  }

  [[nodiscard]] mode_t mode_of(const std::wstring& path) const { return status_of(path).st_mode & 07777; }

  [[nodiscard]] std::size_t entries() const {
    const std::filesystem::directory_iterator folder(bytes(scratch_.path()));
    return static_cast<std::size_t>(std::distance(begin(folder), end(folder)));
  }

  std::unique_ptr<platform::file> opened(const std::wstring& path, const platform::open_request& request) {
    auto file = files_.open(path, request);
    EXPECT_EQ(code_of(file.error()), 0U);
    return file ? *std::move(file) : nullptr;
  }

  static std::size_t write(platform::file& file, std::string_view content) {
    const auto written = file.write(std::as_bytes(std::span(content)));
    return written ? *written : 0;
  }

  platform::host::file_system files_;
  test_support::scratch_folder scratch_;
  std::wstring path_ = scratch_ / L"file";
  std::wstring link_ = scratch_ / L"link";
};

// Attributes.

TEST_F(host_files, a_plain_file_is_normal) {
  put_file(path_, "");
  EXPECT_EQ(*files_.attributes(path_), attribute::normal);
}

TEST_F(host_files, a_leading_dot_hides) {
  put_file(scratch_ / L".name", "");
  ASSERT_EQ(files_.create_directory(scratch_ / L".folder"), win32_error::success);
  EXPECT_EQ(*files_.attributes(scratch_ / L".name"), attribute::hidden);
  EXPECT_EQ(*files_.attributes(scratch_ / L".folder/"), attribute::hidden | attribute::directory);
  EXPECT_EQ(*files_.attributes(scratch_ / L".folder/.."), attribute::directory);
  EXPECT_EQ(*files_.attributes(scratch_ / L".folder/."), attribute::directory);
}

TEST_F(host_files, placeholder_bits_come_from_the_stored_attributes) {
  put_file(path_, "");
  for (const auto& [text, bits] : {std::pair("0x1000", attribute::offline),
                                   {"0x40000", attribute::recall_on_open},
                                   {"0x400000", attribute::recall_on_data_access}}) {
    store_attributes(text);
    EXPECT_EQ(*files_.attributes(path_), bits);
  }
}

TEST_F(host_files, bits_that_follow_from_the_file_are_not_taken_from_the_stored_attributes) {
  put_file(path_, "");
  store_attributes("0x4b1");
  EXPECT_EQ(*files_.attributes(path_), attribute::archive);
}

TEST_F(host_files, attributes_are_stored_as_text_and_removed_when_none_are_left) {
  put_file(path_, "");
  EXPECT_EQ(files_.set_attributes(path_, attribute::hidden | attribute::system), win32_error::success);
  EXPECT_EQ(stored_attributes(), "0x6");
  EXPECT_EQ(files_.set_attributes(path_, attribute::normal), win32_error::success);
  EXPECT_EQ(stored_attributes(), std::nullopt);
}

TEST_F(host_files, a_name_that_hides_by_its_dot_gets_no_stored_bit_for_it) {
  path_ = scratch_ / L".hidden.txt";
  put_file(path_, "");
  EXPECT_EQ(files_.set_attributes(path_, *files_.attributes(path_)), win32_error::success);
  EXPECT_EQ(stored_attributes(), std::nullopt);
  EXPECT_EQ(files_.set_attributes(path_, attribute::hidden | attribute::archive), win32_error::success);
  EXPECT_EQ(stored_attributes(), "0x20");
  store_attributes("0x2");
  EXPECT_EQ(files_.set_attributes(path_, attribute::hidden), win32_error::success);
  EXPECT_EQ(stored_attributes(), "0x2");
}

TEST_F(host_files, set_attributes_keeps_placeholder_bits) {
  put_file(path_, "");
  store_attributes("0x1002");
  EXPECT_EQ(files_.set_attributes(path_, attribute::normal), win32_error::success);
  EXPECT_EQ(*files_.attributes(path_), attribute::offline);
}

TEST_F(host_files, a_stored_value_of_no_known_form_stays) {
  put_file(path_, "");
  const std::string value(1000, 'x');
  store_attributes(value);
  EXPECT_EQ(*files_.attributes(path_), attribute::normal);
  EXPECT_NE(files_.set_attributes(path_, attribute::hidden), win32_error::success);
  EXPECT_EQ(::getxattr(bytes(path_).c_str(), "user.DOSATTRIB", nullptr, 0), 1000);
}

TEST_F(host_files, read_only_is_the_owners_permission_and_no_other) {
  put_file(path_, "");
  ASSERT_EQ(::chmod(bytes(path_).c_str(), 0664), 0);
  EXPECT_EQ(files_.set_attributes(path_, attribute::read_only), win32_error::success);
  EXPECT_EQ(mode_of(path_), 0464U);
  EXPECT_EQ(*files_.attributes(path_), attribute::read_only);
  EXPECT_EQ(files_.set_attributes(path_, attribute::normal), win32_error::success);
  EXPECT_EQ(mode_of(path_), 0664U);
}

TEST_F(host_files, attributes_need_no_read_permission) {
  put_file(path_, "");
  ASSERT_EQ(::chmod(bytes(path_).c_str(), 0200), 0);
  EXPECT_EQ(*files_.attributes(path_), attribute::normal);
}

// Links.

TEST_F(host_files, a_link_has_the_attributes_of_its_target_and_its_own) {
  put_file(path_, "content");
  ASSERT_EQ(files_.set_attributes(path_, attribute::hidden), win32_error::success);
  ASSERT_EQ(::symlink("file", bytes(link_).c_str()), 0);
  EXPECT_EQ(*files_.attributes(link_), attribute::reparse_point | attribute::hidden);
  EXPECT_EQ(files_.facts(link_)->size, 7U);
}

TEST_F(host_files, a_link_to_a_directory_is_a_directory) {
  ASSERT_EQ(::symlink(".", bytes(link_).c_str()), 0);
  EXPECT_EQ(*files_.attributes(link_), attribute::reparse_point | attribute::directory);
  EXPECT_EQ(files_.delete_file(link_), win32_error::access_denied);
}

TEST_F(host_files, a_dangling_link_exists) {
  ASSERT_EQ(::symlink("nowhere", bytes(link_).c_str()), 0);
  EXPECT_EQ(*files_.attributes(link_), attribute::reparse_point);
  EXPECT_EQ(files_.open(link_, reading).error(), win32_error::file_not_found);
  EXPECT_EQ(files_.set_attributes(link_, attribute::hidden), win32_error::file_not_found);
}

TEST_F(host_files, a_link_to_itself_exists_and_cant_be_opened) {
  ASSERT_EQ(::symlink("link", bytes(link_).c_str()), 0);
  EXPECT_EQ(*files_.attributes(link_), attribute::reparse_point);
  EXPECT_EQ(files_.open(link_, reading).error(), win32_error::cant_resolve_filename);
}

TEST_F(host_files, a_deleted_link_leaves_its_read_only_target) {
  put_file(path_, "content");
  ASSERT_EQ(files_.set_attributes(path_, attribute::read_only), win32_error::success);
  ASSERT_EQ(::symlink("file", bytes(link_).c_str()), 0);
  EXPECT_EQ(files_.delete_file(link_), win32_error::success);
  EXPECT_EQ(content_of(path_), "content");
}

TEST_F(host_files, create_always_goes_through_no_link) {
  put_file(path_, "old");
  for (const char* target : {"file", "nothing"}) {
    ASSERT_EQ(::symlink(target, bytes(link_).c_str()), 0);
    EXPECT_EQ(files_.open(link_, replacing).error(), win32_error::cant_resolve_filename);
    ASSERT_EQ(::unlink(bytes(link_).c_str()), 0);
  }
  EXPECT_EQ(content_of(path_), "old");
  EXPECT_FALSE(files_.attributes(scratch_ / L"nothing"));
}

TEST_F(host_files, open_always_makes_what_a_dangling_link_names) {
  ASSERT_EQ(::symlink("file", bytes(link_).c_str()), 0);
  opened(link_, {access::write, share::none, disposition::open_always});
  EXPECT_EQ(content_of(path_), "");
}

// What is no file.

TEST_F(host_files, a_pipe_or_device_is_refused_at_once) {
  ASSERT_EQ(::mkfifo(bytes(path_).c_str(), 0600), 0);
  for (const std::wstring& path : {path_, std::wstring(L"/dev/null"), std::wstring(L"/dev/zero")}) {
    for (const access wanted : {access::read, access::write, access::read | access::write, access::append}) {
      EXPECT_EQ(files_.open(path, {wanted, share::all}).error(), win32_error::access_denied);
    }
    EXPECT_EQ(files_.open(path, replacing).error(), win32_error::access_denied);
    EXPECT_EQ(files_.copy_file(path, scratch_ / L"copy").error(), win32_error::access_denied);
  }
}

// Overwriting.

platform::win32_result<std::size_t> write_all(platform::file& file, const std::string& bytes) {
  return file.write(std::as_bytes(std::span(bytes)));
}

TEST_F(host_files, an_overwrite_of_several_pages_changes_what_differs_and_moves_on) {
  std::string expected(50'000, 'a');
  put_file(path_, expected);
  const auto file = opened(path_, {access::read | access::write, share::none});
  expected.replace(10, 20'000, 20'000, 'b').replace(20'010, 3, "end");
  ASSERT_EQ(file->seek(10), win32_error::success);
  EXPECT_EQ(*write_all(*file, std::string(20'000, 'b')), 20'000U);
  EXPECT_EQ(*write_all(*file, std::string("end")), 3U);
  EXPECT_EQ(content_of(path_), expected);
}

TEST_F(host_files, a_write_across_the_end_overwrites_and_grows) {
  put_file(path_, std::string(10'000, 'a'));
  const auto file = opened(path_, {access::read | access::write, share::none});
  ASSERT_EQ(file->seek(9'000), win32_error::success);
  EXPECT_EQ(*write_all(*file, std::string(10'000, 'b')), 10'000U);
  EXPECT_EQ(content_of(path_), std::string(9'000, 'a') + std::string(10'000, 'b'));
}

TEST_F(host_files, an_overwrite_of_any_size_is_one_change) {
  const std::string before(2'000'000, 'a');
  put_file(path_, before);
  const auto file = opened(path_, {access::read | access::write, share::none});
  EXPECT_EQ(*write_all(*file, std::string(before.size(), 'b')), before.size());
  EXPECT_EQ(content_of(path_), std::string(before.size(), 'b'));
}

TEST_F(host_files, a_file_that_another_program_has_open_for_writing_is_not_changed) {
  put_file(path_, "old");
  const auto file = opened(path_, {access::read | access::write, share::none});
  const int other = ::open(bytes(path_).c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  ASSERT_GE(other, 0);
  EXPECT_EQ(write_all(*file, "new").error(), win32_error::sharing_violation);
  ASSERT_EQ(::write(other, " and more", 9), 9);
  ::close(other);
  EXPECT_EQ(write_all(*file, "new").error(), win32_error::sharing_violation);
  EXPECT_EQ(content_of(path_), "old and more");
}

TEST_F(host_files, a_file_is_whole_when_the_program_is_killed_while_it_overwrites) {
  const std::string before(200'000, 'a');
  const std::string after(200'000, 'b');
  put_file(path_, before);
  std::minstd_rand random(1);
  for (int round = 0; round < 100; ++round) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const pid_t child = ::fork();
    if (child == 0) {
      ::dup2(ends[1], STDERR_FILENO);
      const auto file = opened(path_, {access::read | access::write, share::none});
      for (const std::string* content = &before;; content = content == &before ? &after : &before) {
        if (!succeeded(file->seek(0)) || !write_all(*file, *content)) ::_exit(1);
        // The first one tells that the work has begun.
        static_cast<void>(::write(STDERR_FILENO, "!", 1));
      }
    }
    ::close(ends[1]);
    char byte = 0;
    ASSERT_EQ(::read(ends[0], &byte, 1), 1);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
    ASSERT_EQ(::kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    ::close(ends[0]);
    const std::string now = content_of(path_);
    ASSERT_TRUE(now == before || now == after) << "torn in round " << round;
  }
}

TEST_F(host_files, an_open_file_is_not_inherited) {
  // Whoever started the tests may have left them descriptors of its own: a log, say.
  std::set<int> from_the_starter;
  const auto inheritable = [](int number) {
    const int flags = ::fcntl(number, F_GETFD);
    return flags != -1 && (flags & FD_CLOEXEC) == 0;
  };
  for (int number = 0; number < 256; ++number) {
    if (inheritable(number)) from_the_starter.insert(number);
  }
  put_file(path_, "");
  const auto file = opened(path_, {access::read, share::none});
  const auto staged = opened(scratch_ / L"new", replacing);
  for (int number = 0; number < 256; ++number) {
    if (from_the_starter.contains(number)) continue;
    EXPECT_FALSE(inheritable(number)) << number;
  }
}

// Sharing.

TEST_F(host_files, who_shares_nothing_has_the_file_alone) {
  put_file(path_, "");
  for (const access wanted : {access::read, access::write}) {
    auto first = opened(path_, {wanted, share::none});
    EXPECT_EQ(files_.open(path_, {access::read, share::none}).error(), win32_error::sharing_violation);
    EXPECT_EQ(files_.open(path_, {access::write, share::read}).error(), win32_error::sharing_violation);
    EXPECT_EQ(files_.open(path_, replacing).error(), win32_error::sharing_violation);
    first.reset();
    EXPECT_TRUE(files_.open(path_, {access::read, share::none}));
  }
}

TEST_F(host_files, who_writes_and_lets_others_read_keeps_other_writers_out) {
  put_file(path_, "content");
  const auto first = opened(path_, {access::write, share::read});
  EXPECT_EQ(files_.open(path_, {access::write, share::read}).error(), win32_error::sharing_violation);
  EXPECT_TRUE(files_.open(path_, {access::read, share::read}));
}

TEST_F(host_files, a_staged_content_keeps_the_file_until_its_close) {
  put_file(path_, "old");
  const auto first = opened(path_, replacing);
  EXPECT_EQ(files_.open(path_, {access::read | access::write, share::none}).error(), win32_error::sharing_violation);
  EXPECT_EQ(first->close(), win32_error::success);
  EXPECT_TRUE(files_.open(path_, {access::read | access::write, share::none}));
}

TEST_F(host_files, another_process_is_kept_out_too) {
  put_file(path_, "");
  const auto first = opened(path_, {access::read, share::none});
  const pid_t child = ::fork();
  if (child == 0) {
    const auto second = files_.open(path_, {access::write, share::none});
    std::_Exit(second.error() == win32_error::sharing_violation ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

// Staged contents.

TEST_F(host_files, the_old_content_stays_until_the_close) {
  put_file(path_, "old");
  auto file = opened(path_, replacing);
  EXPECT_EQ(write(*file, "new"), 3U);
  EXPECT_EQ(content_of(path_), "old");
  EXPECT_EQ(entries(), 1U);
  EXPECT_EQ(file->close(), win32_error::success);
  EXPECT_EQ(content_of(path_), "new");
  EXPECT_EQ(entries(), 1U);
}

TEST_F(host_files, a_new_name_appears_at_the_close) {
  auto file = opened(path_, replacing);
  EXPECT_EQ(write(*file, "new"), 3U);
  EXPECT_EQ(files_.attributes(path_).error(), win32_error::file_not_found);
  EXPECT_EQ(file->close(), win32_error::success);
  EXPECT_EQ(content_of(path_), "new");
}

TEST_F(host_files, a_rewrite_without_its_end_leaves_the_old_content) {
  put_file(path_, "old");
  auto file = opened(path_, {access::write, share::read, disposition::rewrite_existing});
  EXPECT_EQ(write(*file, "n"), 1U);
  EXPECT_EQ(file->close(), win32_error::success);
  EXPECT_EQ(content_of(path_), "old");
}

TEST_F(host_files, a_rewrite_keeps_mode_attributes_and_names) {
  put_file(path_, "old");
  ASSERT_EQ(::chmod(bytes(path_).c_str(), 0640), 0);
  store_attributes("0x6");
  ASSERT_EQ(::link(bytes(path_).c_str(), bytes(scratch_ / L"other").c_str()), 0);
  auto file = opened(path_, {access::write, share::read, disposition::rewrite_existing});
  EXPECT_EQ(write(*file, "new content"), 11U);
  EXPECT_EQ(file->set_end(), win32_error::success);
  EXPECT_EQ(file->close(), win32_error::success);
  EXPECT_EQ(content_of(path_), "new content");
  EXPECT_EQ(content_of(scratch_ / L"other"), "new content");
  EXPECT_EQ(mode_of(path_), 0640U);
  EXPECT_EQ(stored_attributes(), "0x6");
}

TEST_F(host_files, an_exception_on_the_way_drops_the_content) {
  put_file(path_, "old");
  try {
    const auto file = opened(path_, replacing);
    EXPECT_EQ(write(*file, "half"), 4U);
    throw std::runtime_error("the other half");
  } catch (const std::runtime_error&) {
    EXPECT_EQ(content_of(path_), "old");
  }
}

// A limit on the size of files stands in for a full disk: the write stops in the middle in the same way.
class file_size_limit {
 public:
  explicit file_size_limit(rlim_t bytes) {
    old_handler_ = std::signal(SIGXFSZ, SIG_IGN);
    ::getrlimit(RLIMIT_FSIZE, &old_);
    const rlimit limit = {bytes, old_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  file_size_limit(const file_size_limit&) = delete;
  file_size_limit& operator=(const file_size_limit&) = delete;
  ~file_size_limit() {
    ::setrlimit(RLIMIT_FSIZE, &old_);
    std::signal(SIGXFSZ, old_handler_);
  }

 private:
  rlimit old_ = {};
  void (*old_handler_)(int) = SIG_DFL;
};

TEST_F(host_files, a_failed_write_leaves_the_old_content_and_is_told_at_the_close) {
  put_file(path_, "old");
  for (const disposition how : {disposition::create_always, disposition::rewrite_existing}) {
    auto file = opened(path_, {access::write, share::none, how});
    {
      const file_size_limit limit(4);
      EXPECT_EQ(write(*file, "0123456789"), 4U);
      EXPECT_EQ(file->write(std::as_bytes(std::span("x", 1))).error(), win32_error::file_too_large);
    }
    EXPECT_EQ(file->set_end(), win32_error::success);
    EXPECT_EQ(file->close(), win32_error::disk_full);
    EXPECT_EQ(content_of(path_), "old");
    EXPECT_EQ(entries(), 1U);
  }
}

TEST_F(host_files, a_failed_write_without_a_close_leaves_the_old_content) {
  put_file(path_, "old");
  {
    const file_size_limit limit(4);
    EXPECT_EQ(write(*opened(path_, replacing), "0123456789"), 4U);
  }
  EXPECT_EQ(content_of(path_), "old");
  EXPECT_EQ(entries(), 1U);
}

TEST_F(host_files, a_read_only_file_is_not_replaced) {
  put_file(path_, "old");
  ASSERT_EQ(files_.set_attributes(path_, attribute::read_only), win32_error::success);
  EXPECT_EQ(files_.open(path_, replacing).error(), win32_error::access_denied);
  EXPECT_EQ(content_of(path_), "old");
}

// New files.

TEST_F(host_files, a_new_file_has_the_modes_of_the_process) {
  const mode_t mask = ::umask(027);
  put_file(path_, "");
  opened(scratch_ / L"other", {access::write, share::none, disposition::create_new});
  ::umask(mask);
  EXPECT_EQ(mode_of(path_), 0640U);
  EXPECT_EQ(mode_of(scratch_ / L"other"), 0640U);
}

TEST_F(host_files, a_file_made_read_only_can_be_written_by_its_maker) {
  auto file = opened(path_, {access::write, share::none, disposition::create_new, attribute::read_only});
  EXPECT_EQ(write(*file, "content"), 7U);
  EXPECT_EQ(file->close(), win32_error::success);
  EXPECT_EQ(*files_.attributes(path_), attribute::read_only);
  EXPECT_EQ(content_of(path_), "content");
}

TEST_F(host_files, a_name_that_is_no_utf8_is_a_name) {
  const std::wstring name = scratch_ / platform::host::wide_from_bytes("caf\xe9.txt");
  put_file(name, "content");
  EXPECT_TRUE(std::filesystem::exists(bytes(scratch_.path()) + "/caf\xe9.txt"));
  EXPECT_EQ(content_of(name), "content");
}

// Copies.

TEST_F(host_files, a_copy_has_mode_attributes_and_time_of_the_source) {
  put_file(path_, "content");
  store_attributes("0x6");
  ASSERT_EQ(::setxattr(bytes(path_).c_str(), "user.other", "kept", 4, 0), 0);
  ASSERT_EQ(::chmod(bytes(path_).c_str(), 0440), 0);
  const timespec times[] = {{1, 0}, {1'000'000'000, 123'456'700}};
  ASSERT_EQ(::utimensat(AT_FDCWD, bytes(path_).c_str(), times, 0), 0);
  ASSERT_TRUE(files_.copy_file(path_, link_));
  EXPECT_EQ(content_of(link_), "content");
  EXPECT_EQ(mode_of(link_), 0440U);
  EXPECT_EQ(files_.facts(link_)->last_written, files_.facts(path_)->last_written);
  EXPECT_EQ(*files_.attributes(link_), attribute::hidden | attribute::system | attribute::read_only);
  char value[8];
  EXPECT_EQ(::getxattr(bytes(link_).c_str(), "user.other", value, sizeof(value)), 4);
}

TEST_F(host_files, a_copy_through_a_link_has_the_attributes_of_the_target) {
  put_file(path_, "content");
  store_attributes("0x4");
  ASSERT_EQ(::symlink("file", bytes(link_).c_str()), 0);
  ASSERT_TRUE(files_.copy_file(link_, scratch_ / L"copy"));
  EXPECT_EQ(*files_.attributes(scratch_ / L"copy"), attribute::system);
}

TEST_F(host_files, an_incomplete_copy_is_removed) {
  put_file(path_, std::string(100'000, 'x'));
  {
    const file_size_limit limit(4096);
    EXPECT_EQ(files_.copy_file(path_, link_).error(), win32_error::file_too_large);
  }
  EXPECT_EQ(entries(), 1U);
}

TEST_F(host_files, a_copy_onto_a_dangling_link_is_refused) {
  put_file(path_, "content");
  ASSERT_EQ(::symlink("nowhere", bytes(link_).c_str()), 0);
  EXPECT_EQ(files_.copy_file(path_, link_).error(), win32_error::file_exists);
  EXPECT_EQ(entries(), 2U);
}

}  // namespace
