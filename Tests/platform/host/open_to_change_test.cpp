#include "platform/host/open_to_change.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <chrono>
#include <string>

#include "platform/host/host_files.h"
#include "platform/host/undo_attribute.h"
#include "platform/host/undo_record.h"

namespace {

using host_test::content;
using host_test::put;
using platform::win32_error;
using platform::host::open_to_change;
using platform::host::unique_descriptor;

struct open_to_change_test : testing::Test {
  host_test::temporary_folder folder;
  std::string path = folder.path("photo.jpg");

  void SetUp() override { put(path, "content"); }

  [[nodiscard]] unique_descriptor open(int flags) const {
    return unique_descriptor(::open(path.c_str(), flags | O_CLOEXEC));
  }
};

TEST_F(open_to_change_test, gives_a_descriptor_to_write_and_the_stamp) {
  const auto opened = open_to_change(path);
  ASSERT_TRUE(opened);
  EXPECT_EQ(opened->stamp.size, 7u);
  EXPECT_EQ(::pwrite(opened->file.get(), "C", 1, 0), 1);
  EXPECT_EQ(content(path), "Content");
}

TEST_F(open_to_change_test, is_refused_while_another_program_has_the_file_open_for_writing) {
  for (const int flags : {O_WRONLY, O_RDWR, O_WRONLY | O_APPEND}) {
    const unique_descriptor writer = open(flags);
    EXPECT_EQ(open_to_change(path).error(), win32_error::sharing_violation) << flags;
    EXPECT_EQ(open_to_change(path, std::chrono::seconds(1)).error(), win32_error::sharing_violation) << flags;
  }
  EXPECT_TRUE(open_to_change(path));
}

TEST_F(open_to_change_test, of_a_file_that_others_write_to_waits_no_longer_than_a_close_takes) {
  const unique_descriptor writer = open(O_WRONLY);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(open_to_change(path, std::chrono::seconds(60)));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST_F(open_to_change_test, lets_others_read) {
  const unique_descriptor reader = open(O_RDONLY);
  const auto opened = open_to_change(path);
  ASSERT_TRUE(opened);
  EXPECT_EQ(::pwrite(opened->file.get(), "C", 1, 0), 1);
  EXPECT_TRUE(open(O_RDONLY));
  // The lock is held all the same.
  EXPECT_EQ(open_to_change(path).error(), win32_error::sharing_violation);
}

TEST_F(open_to_change_test, keeps_other_runs_out_until_it_is_gone) {
  {
    const auto first = open_to_change(path);
    ASSERT_TRUE(first);
    EXPECT_EQ(open_to_change(path).error(), win32_error::sharing_violation);
  }
  EXPECT_TRUE(open_to_change(path));
}

TEST_F(open_to_change_test, is_refused_for_what_is_no_file_and_for_a_read_only_one) {
  EXPECT_EQ(open_to_change(folder.folder()).error(), win32_error::access_denied);
  EXPECT_EQ(open_to_change(folder.path("missing")).error(), win32_error::file_not_found);
  EXPECT_EQ(open_to_change(folder.path("missing/file")).error(), win32_error::path_not_found);
  ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(open_to_change(folder.path("pipe")).error(), win32_error::invalid_function);
  ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
  EXPECT_EQ(open_to_change(path).error(), win32_error::access_denied);
}

TEST_F(open_to_change_test, recovers_a_change_that_was_cut_short) {
  for (const bool has_reader : {false, true}) {
    put(path, "Content");
    const std::string record = platform::host::undo_record_of({{0, "c", "C"}, {6, "t", "T"}}, 7);
    ASSERT_TRUE(host_test::set_attribute(path, platform::host::undo_attribute, record));
    const unique_descriptor reader = has_reader ? open(O_RDONLY) : unique_descriptor();
    const auto opened = open_to_change(path);
    ASSERT_TRUE(opened);
    EXPECT_EQ(content(path), "content");
    EXPECT_EQ(opened->stamp, *platform::host::stamp_of(opened->file.get()));
  }
}

}  // namespace
