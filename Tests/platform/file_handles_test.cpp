// The contract of open files, on each machine.
#include <gtest/gtest.h>

#include <array>
#include <span>
#include <string>

#include "platform/machine.h"
#include "support/contract_machines.h"
#include "support/native_capabilities.h"
#include "support/native_files.h"
#include "support/scratch_folder.h"

namespace {

using platform::access;
using platform::disposition;
using platform::open_request;
using platform::share;
using platform::win32_error;
using test_support::content_of;
using test_support::is_there;
using test_support::put_file;

constexpr open_request reading = {.access = access::read, .share = share::all};
constexpr open_request changing = {.access = access::read | access::write, .share = share::none};
constexpr open_request appending = {
    .access = access::append, .share = share::all, .disposition = disposition::open_always};

constexpr open_request writing(disposition how) {
  return {.access = access::write, .share = share::none, .disposition = how};
}

class file_handles : public test_support::contract_test {
 protected:
  platform::win32_result<std::unique_ptr<platform::file>> open(const std::wstring& path, const open_request& request) {
    return test_support::machine_under_test().files.open(path, request);
  }

  win32_error error_of_open(const std::wstring& path, const open_request& request) {
    return open(path, request).error();
  }

  // The file must open.
  std::unique_ptr<platform::file> opened(const std::wstring& path, const open_request& request) {
    auto file = open(path, request);
    EXPECT_EQ(code_of(file.error()), 0U);
    return file ? *std::move(file) : nullptr;
  }

  static std::size_t write(platform::file& file, std::string_view bytes) {
    const auto written = file.write(std::as_bytes(std::span(bytes)));
    EXPECT_EQ(code_of(written.error()), 0U);
    return written ? *written : 0;
  }

  static std::string read(platform::file& file, std::size_t count) {
    std::string buffer(count, '?');
    const auto got = file.read(std::as_writable_bytes(std::span(buffer)));
    EXPECT_EQ(code_of(got.error()), 0U);
    buffer.resize(got ? *got : 0);
    return buffer;
  }

  test_support::scratch_folder scratch_;
  std::wstring path_ = scratch_ / L"file.bin";
};

// Dispositions.

TEST_P(file_handles, create_new_makes_an_empty_file) {
  opened(path_, writing(disposition::create_new));
  EXPECT_EQ(content_of(path_), "");
}

TEST_P(file_handles, create_new_fails_with_file_exists_and_keeps_the_file) {
  put_file(path_, "kept");
  EXPECT_EQ(error_of_open(path_, writing(disposition::create_new)), win32_error::file_exists);
  EXPECT_EQ(content_of(path_), "kept");
}

TEST_P(file_handles, create_always_makes_a_missing_file) {
  write(*opened(path_, writing(disposition::create_always)), "new");
  EXPECT_EQ(content_of(path_), "new");
}

TEST_P(file_handles, create_always_leaves_nothing_of_a_longer_file) {
  put_file(path_, "a much longer content");
  write(*opened(path_, writing(disposition::create_always)), "new");
  EXPECT_EQ(content_of(path_), "new");
}

TEST_P(file_handles, create_always_without_a_write_leaves_an_empty_file) {
  put_file(path_, "old");
  opened(path_, writing(disposition::create_always));
  EXPECT_EQ(content_of(path_), "");
}

TEST_P(file_handles, a_created_file_has_the_attributes_of_the_request) {
  open_request request = writing(disposition::create_always);
  request.attributes = platform::attribute::hidden | platform::attribute::system;
  opened(path_, request);
  const auto attributes = test_support::machine_under_test().files.attributes(path_);
  ASSERT_TRUE(attributes);
  EXPECT_EQ(*attributes & 0x7, platform::attribute::hidden | platform::attribute::system);
}

TEST_P(file_handles, open_existing_fails_with_file_not_found_and_makes_nothing) {
  EXPECT_EQ(error_of_open(path_, writing(disposition::open_existing)), win32_error::file_not_found);
  EXPECT_FALSE(is_there(path_));
}

TEST_P(file_handles, open_existing_keeps_the_content) {
  put_file(path_, "kept");
  opened(path_, changing);
  EXPECT_EQ(content_of(path_), "kept");
}

TEST_P(file_handles, open_always_makes_an_empty_file) {
  opened(path_, writing(disposition::open_always));
  EXPECT_EQ(content_of(path_), "");
}

TEST_P(file_handles, open_always_keeps_the_content) {
  put_file(path_, "kept");
  opened(path_, writing(disposition::open_always));
  EXPECT_EQ(content_of(path_), "kept");
}

TEST_P(file_handles, rewrite_existing_fails_with_file_not_found_and_makes_nothing) {
  EXPECT_EQ(error_of_open(path_, writing(disposition::rewrite_existing)), win32_error::file_not_found);
  EXPECT_FALSE(is_there(path_));
}

TEST_P(file_handles, rewrite_existing_takes_a_shorter_content) {
  put_file(path_, "a much longer content");
  auto file = opened(path_, writing(disposition::rewrite_existing));
  write(*file, "short");
  EXPECT_EQ(file->set_end(), win32_error::success);
  EXPECT_EQ(file->close(), win32_error::success);
  EXPECT_EQ(content_of(path_), "short");
}

TEST_P(file_handles, rewrite_existing_takes_a_longer_content) {
  put_file(path_, "short");
  auto file = opened(path_, writing(disposition::rewrite_existing));
  write(*file, "a much longer content");
  EXPECT_EQ(file->set_end(), win32_error::success);
  EXPECT_EQ(file->close(), win32_error::success);
  EXPECT_EQ(content_of(path_), "a much longer content");
}

TEST_P(file_handles, every_disposition_fails_with_path_not_found_without_the_folder) {
  const std::wstring path = scratch_ / L"no folder/file.bin";
  for (const auto how : {disposition::create_new, disposition::create_always, disposition::open_existing,
                         disposition::open_always, disposition::rewrite_existing}) {
    EXPECT_EQ(error_of_open(path, writing(how)), win32_error::path_not_found) << static_cast<int>(how);
  }
}

TEST_P(file_handles, a_directory_cant_be_opened) {
  EXPECT_EQ(error_of_open(scratch_.path(), reading), win32_error::access_denied);
  EXPECT_EQ(error_of_open(scratch_.path(), changing), win32_error::access_denied);
}

TEST_P(file_handles, a_read_only_file_opens_for_reading_only) {
  REQUIRE_CAPABILITY(read_only_opening);
  put_file(path_, "kept");
  ASSERT_EQ(test_support::machine_under_test().files.set_attributes(path_, platform::attribute::read_only),
            win32_error::success);
  EXPECT_EQ(error_of_open(path_, changing), win32_error::access_denied);
  EXPECT_EQ(error_of_open(path_, appending), win32_error::access_denied);
  EXPECT_EQ(read(*opened(path_, reading), 10), "kept");
}

// Reading.

TEST_P(file_handles, a_read_that_reaches_the_end_gives_fewer_bytes_and_then_none) {
  put_file(path_, "0123456789");
  auto file = opened(path_, reading);
  EXPECT_EQ(read(*file, 7), "0123456");
  EXPECT_EQ(read(*file, 7), "789");
  EXPECT_EQ(read(*file, 7), "");
}

TEST_P(file_handles, a_read_of_no_bytes_gives_none) {
  put_file(path_, "0123456789");
  auto file = opened(path_, reading);
  EXPECT_EQ(read(*file, 0), "");
  EXPECT_EQ(read(*file, 1), "0");
}

TEST_P(file_handles, a_read_behind_the_end_gives_no_bytes) {
  put_file(path_, "0123456789");
  auto file = opened(path_, reading);
  EXPECT_EQ(file->seek(1000), win32_error::success);
  EXPECT_EQ(read(*file, 10), "");
}

TEST_P(file_handles, a_seek_counts_from_the_start) {
  put_file(path_, "0123456789");
  auto file = opened(path_, reading);
  EXPECT_EQ(read(*file, 5), "01234");
  EXPECT_EQ(file->seek(2), win32_error::success);
  EXPECT_EQ(read(*file, 3), "234");
}

TEST_P(file_handles, a_read_without_the_right_is_denied) {
  put_file(path_, "0123456789");
  auto file = opened(path_, writing(disposition::open_existing));
  std::array<std::byte, 4> buffer = {};
  EXPECT_EQ(file->read(buffer).error(), win32_error::access_denied);
}

TEST_P(file_handles, every_byte_value_comes_back) {
  std::string bytes;
  for (int i = 0; i < 256; ++i)
    bytes.push_back(static_cast<char>(i));
  put_file(path_, bytes);
  EXPECT_EQ(content_of(path_), bytes);
}

TEST_P(file_handles, a_content_of_some_megabytes_comes_back) {
  std::string bytes(5'000'001, 'x');
  for (std::size_t i = 0; i < bytes.size(); i += 997)
    bytes[i] = static_cast<char>('a' + i % 26);
  put_file(path_, bytes);
  EXPECT_TRUE(content_of(path_) == bytes);
}

// Writing.

TEST_P(file_handles, a_write_replaces_only_the_bytes_at_its_position) {
  put_file(path_, "0123456789");
  auto file = opened(path_, changing);
  EXPECT_EQ(file->seek(3), win32_error::success);
  EXPECT_EQ(write(*file, "abc"), 3U);
  EXPECT_EQ(file->close(), win32_error::success);
  EXPECT_EQ(content_of(path_), "012abc6789");
}

TEST_P(file_handles, a_write_behind_the_end_fills_the_gap_with_zeros) {
  put_file(path_, "01");
  auto file = opened(path_, changing);
  EXPECT_EQ(file->seek(4), win32_error::success);
  EXPECT_EQ(write(*file, "x"), 1U);
  EXPECT_EQ(file->close(), win32_error::success);
  EXPECT_EQ(content_of(path_), std::string("01\0\0x", 5));
}

TEST_P(file_handles, a_write_without_the_right_is_denied_and_changes_nothing) {
  put_file(path_, "0123456789");
  auto file = opened(path_, reading);
  EXPECT_EQ(file->write(std::as_bytes(std::span(std::string_view("xx")))).error(), win32_error::access_denied);
  EXPECT_EQ(content_of(path_), "0123456789");
}

TEST_P(file_handles, appended_writes_of_two_handles_follow_each_other) {
  auto first = opened(path_, appending);
  auto second = opened(path_, appending);
  write(*first, "one ");
  write(*second, "two ");
  write(*first, "three");
  EXPECT_EQ(content_of(path_), "one two three");
}

TEST_P(file_handles, an_appended_write_goes_to_the_end_after_a_seek) {
  put_file(path_, "0123");
  auto file = opened(path_, appending);
  EXPECT_EQ(file->seek(0), win32_error::success);
  write(*file, "end");
  EXPECT_EQ(content_of(path_), "0123end");
}

TEST_P(file_handles, size_is_that_of_the_moment) {
  put_file(path_, "0123456789");
  auto file = opened(path_, changing);
  EXPECT_EQ(*file->size(), 10U);
  EXPECT_EQ(file->seek(10), win32_error::success);
  write(*file, "ab");
  EXPECT_EQ(*file->size(), 12U);
}

TEST_P(file_handles, set_end_cuts_at_the_position) {
  put_file(path_, "0123456789");
  auto file = opened(path_, changing);
  EXPECT_EQ(file->seek(4), win32_error::success);
  EXPECT_EQ(file->set_end(), win32_error::success);
  EXPECT_EQ(*file->size(), 4U);
  EXPECT_EQ(file->close(), win32_error::success);
  EXPECT_EQ(content_of(path_), "0123");
}

TEST_P(file_handles, set_end_extends_with_zeros) {
  put_file(path_, "01");
  auto file = opened(path_, changing);
  EXPECT_EQ(file->seek(4), win32_error::success);
  EXPECT_EQ(file->set_end(), win32_error::success);
  EXPECT_EQ(file->close(), win32_error::success);
  EXPECT_EQ(content_of(path_), std::string("01\0\0", 4));
}

// Closing.

TEST_P(file_handles, a_second_close_does_nothing) {
  auto file = opened(path_, writing(disposition::create_new));
  EXPECT_EQ(file->close(), win32_error::success);
  EXPECT_EQ(file->close(), win32_error::success);
}

TEST_P(file_handles, a_closed_file_is_free_for_others) {
  auto file = opened(path_, writing(disposition::create_new));
  EXPECT_EQ(file->close(), win32_error::success);
  EXPECT_EQ(error_of_open(path_, changing), win32_error::success);
}

TEST_P(file_handles, a_file_dropped_without_a_close_keeps_what_was_written) {
  for (const auto how : {disposition::create_always, disposition::open_existing}) {
    auto file = opened(path_, writing(how));
    write(*file, "written");
    file.reset();
    EXPECT_EQ(content_of(path_), "written");
  }
}

// Times.

constexpr platform::file_time some_time = 132'539'328'123'456'789;  // in the year 2020

TEST_P(file_handles, the_last_write_time_is_set_to_the_tick) {
  put_file(path_, "content");
  auto file = opened(path_, {.access = access::write_attributes, .share = share::read | share::write});
  EXPECT_EQ(file->set_last_write_time(some_time), win32_error::success);
  EXPECT_EQ(file->close(), win32_error::success);
  EXPECT_EQ(test_support::machine_under_test().files.facts(path_)->last_written, some_time);
  EXPECT_EQ(content_of(path_), "content");
}

TEST_P(file_handles, the_creation_time_stays_when_the_last_write_time_is_set) {
  REQUIRE_CAPABILITY(creation_time);
  put_file(path_, "content");
  auto& files = test_support::machine_under_test().files;
  const auto before = files.facts(path_);
  ASSERT_TRUE(before);
  auto file = opened(path_, {.access = access::write_attributes, .share = share::read | share::write});
  EXPECT_EQ(file->set_last_write_time(some_time), win32_error::success);
  EXPECT_EQ(file->close(), win32_error::success);
  EXPECT_EQ(files.facts(path_)->created, before->created);
}

TEST_P(file_handles, a_last_write_time_that_was_set_survives_the_close_of_a_written_file) {
  for (const auto how : {disposition::create_always, disposition::open_existing}) {
    auto file = opened(path_, writing(how));
    write(*file, "written");
    EXPECT_EQ(file->set_last_write_time(some_time), win32_error::success);
    EXPECT_EQ(file->close(), win32_error::success);
    EXPECT_EQ(test_support::machine_under_test().files.facts(path_)->last_written, some_time);
  }
}

TEST_P(file_handles, a_write_moves_the_last_write_time) {
  put_file(path_, "content");
  auto& files = test_support::machine_under_test().files;
  auto file = opened(path_, changing);
  EXPECT_EQ(file->set_last_write_time(some_time), win32_error::success);
  EXPECT_EQ(file->close(), win32_error::success);
  write(*opened(path_, changing), "changed");
  EXPECT_GT(files.facts(path_)->last_written, some_time);
}

// Sharing.

TEST_P(file_handles, a_file_opened_without_sharing_is_closed_to_everybody) {
  REQUIRE_CAPABILITY(sharing_violations);
  put_file(path_, "content");
  auto first = opened(path_, {.access = access::read, .share = share::none});
  EXPECT_EQ(error_of_open(path_, reading), win32_error::sharing_violation);
  first.reset();
  EXPECT_EQ(error_of_open(path_, reading), win32_error::success);
}

TEST_P(file_handles, a_reader_who_shares_reading_only_is_kept_out_by_a_writer) {
  REQUIRE_CAPABILITY(sharing_violations);
  put_file(path_, "content");
  const auto writer = opened(path_, {.access = access::write, .share = share::read});
  EXPECT_EQ(error_of_open(path_, {.access = access::read, .share = share::read}), win32_error::sharing_violation);
  EXPECT_EQ(error_of_open(path_, {.access = access::read, .share = share::read | share::write}), win32_error::success);
}

TEST_P(file_handles, a_writer_is_kept_out_by_a_reader_who_shares_reading_only) {
  REQUIRE_CAPABILITY(sharing_violations);
  put_file(path_, "content");
  const auto reader = opened(path_, {.access = access::read, .share = share::read});
  EXPECT_EQ(error_of_open(path_, {.access = access::write, .share = share::all}), win32_error::sharing_violation);
}

TEST_P(file_handles, a_file_that_does_not_share_removal_cant_be_deleted) {
  REQUIRE_CAPABILITY(sharing_violations);
  put_file(path_, "content");
  const auto reader = opened(path_, {.access = access::read, .share = share::read | share::write});
  EXPECT_EQ(test_support::machine_under_test().files.delete_file(path_), win32_error::sharing_violation);
  EXPECT_TRUE(is_there(path_));
}

TEST_P(file_handles, the_attributes_of_a_file_opened_without_sharing_can_be_read) {
  put_file(path_, "content");
  const auto first = opened(path_, changing);
  EXPECT_TRUE(test_support::machine_under_test().files.attributes(path_));
  EXPECT_TRUE(test_support::machine_under_test().files.facts(path_));
}

TEST_P(file_handles, the_times_of_a_file_opened_without_sharing_can_be_set) {
  put_file(path_, "content");
  const auto first = opened(path_, {.access = access::read, .share = share::none});
  auto second = opened(path_, {.access = access::write_attributes, .share = share::read | share::write});
  EXPECT_EQ(second->set_last_write_time(some_time), win32_error::success);
}

TEST_P(file_handles, two_who_share_everything_see_each_others_bytes) {
  put_file(path_, "0123");
  auto writer = opened(path_, {.access = access::write, .share = share::all});
  auto reader = opened(path_, reading);
  write(*writer, "ab");
  EXPECT_EQ(read(*reader, 10), "ab23");
}

RUN_ON_EACH_MACHINE(file_handles);

}  // namespace
