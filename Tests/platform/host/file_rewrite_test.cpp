#include "platform/host/file_rewrite.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <memory>
#include <optional>
#include <random>
#include <thread>

#include "platform/host/host_files.h"
#include "platform/host/intercepted_calls.h"
#include "platform/host/open_to_change.h"
#include "platform/host/unique_descriptor.h"

namespace {

using host_test::content;
using host_test::put;
using platform::win32_error;
using platform::host::edit_plan;
using platform::host::file_stamp;
using platform::host::prepare_rewrite;
using platform::host::unique_descriptor;

struct file_rewrite_test : testing::Test {
  host_test::temporary_folder folder;
  std::string path = folder.path("photo.jpg");
  std::string old = host_test::noise(100000, 1);
  unique_descriptor file;
  std::optional<platform::host::file_source> source;

  void SetUp() override {
    put(path, old);
    open();
  }

  void open() { file = unique_descriptor(::open(path.c_str(), O_RDWR | O_CLOEXEC)); }

  using prepared = platform::win32_result<std::unique_ptr<platform::host::file_rewrite>>;
  [[nodiscard]] prepared prepare(const edit_plan& plan) {
    return prepare(path, plan, *platform::host::stamp_of(file.get()));
  }
  [[nodiscard]] prepared prepare(const std::string& name, const edit_plan& plan, const file_stamp& stamp) {
    source.emplace(file.get(), stamp.size);
    return prepare_rewrite({file.get(), name, stamp, *source}, plan);
  }

  win32_error apply(const edit_plan& plan) {
    auto rewrite = prepare(plan);
    return rewrite ? (*rewrite)->commit() : rewrite.error();
  }

  void expect_nothing_left() const { EXPECT_EQ(folder.names(), std::vector<std::string>{"photo.jpg"}); }
};

TEST_F(file_rewrite_test, a_patch_changes_the_same_file) {
  const ino_t inode = host_test::status_of(path).st_ino;
  EXPECT_EQ(apply({{10, 4, "abcd"}, {4000, 3, "xyz"}}), win32_error::success);
  EXPECT_EQ(apply({{20, 4, "abcd", true}, {50000, 3, "xyz", true}}), win32_error::success);
  EXPECT_EQ(content(path),
            old.replace(10, 4, "abcd").replace(4000, 3, "xyz").replace(20, 4, "abcd").replace(50000, 3, "xyz"));
  EXPECT_EQ(host_test::status_of(path).st_ino, inode);
  expect_nothing_left();
}

TEST_F(file_rewrite_test, what_only_makes_sense_together_and_lies_in_two_pages_gets_a_new_file) {
  const ino_t inode = host_test::status_of(path).st_ino;
  EXPECT_EQ(apply({{10, 4, "abcd"}, {50000, 3, "xyz"}}), win32_error::success);
  EXPECT_EQ(content(path), old.replace(10, 4, "abcd").replace(50000, 3, "xyz"));
  EXPECT_NE(host_test::status_of(path).st_ino, inode);
  expect_nothing_left();
}

TEST_F(file_rewrite_test, a_patch_whose_undo_record_the_file_can_not_carry_gets_a_new_file) {
  const ino_t inode = host_test::status_of(path).st_ino;
  const host_test::intercepted_call failing(host_test::system_call::fsetxattr, [] { return ENOTSUP; });
  EXPECT_EQ(apply({{20, 4, "abcd", true}, {50000, 3, "xyz", true}}), win32_error::success);
  EXPECT_EQ(content(path), old.replace(20, 4, "abcd").replace(50000, 3, "xyz"));
  EXPECT_NE(host_test::status_of(path).st_ino, inode);
  expect_nothing_left();
}

TEST_F(file_rewrite_test, nothing_is_touched_before_the_commit) {
  for (const edit_plan& plan : {edit_plan{{10, 4, "abcd"}}, edit_plan{{10, 4, "longer"}}}) {
    const auto rewrite = prepare(plan);
    ASSERT_TRUE(rewrite);
    EXPECT_EQ(content(path), old);
    expect_nothing_left();
  }
  EXPECT_EQ(content(path), old);
  expect_nothing_left();
}

TEST_F(file_rewrite_test, a_plan_without_a_difference_writes_nothing) {
  const struct timespec before = host_test::status_of(path).st_mtim;
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(apply({{0, 1000, old.substr(0, 1000)}}), win32_error::success);
  EXPECT_EQ(host_test::status_of(path).st_mtim.tv_nsec, before.tv_nsec);
  EXPECT_EQ(content(path), old);
}

TEST_F(file_rewrite_test, an_empty_plan_succeeds) {
  EXPECT_EQ(apply({}), win32_error::success);
  EXPECT_EQ(content(path), old);
}

TEST_F(file_rewrite_test, a_growing_plan_replaces_the_file) {
  EXPECT_EQ(apply({{0, 0, "start"}, {100, 10, std::string(5000, 'x')}, {old.size(), 0, "end"}}), win32_error::success);
  EXPECT_EQ(content(path), "start" + old.substr(0, 100) + std::string(5000, 'x') + old.substr(110) + "end");
  expect_nothing_left();
}

TEST_F(file_rewrite_test, a_shrinking_plan_replaces_the_file) {
  EXPECT_EQ(apply({{100, old.size() - 200, ""}}), win32_error::success);
  EXPECT_EQ(content(path), old.substr(0, 100) + old.substr(old.size() - 100));
  expect_nothing_left();
}

TEST_F(file_rewrite_test, a_file_can_become_empty) {
  EXPECT_EQ(apply({{0, old.size(), ""}}), win32_error::success);
  EXPECT_EQ(content(path), "");
}

TEST_F(file_rewrite_test, an_equal_sum_of_sizes_in_unequal_parts_is_no_edit_in_place) {
  EXPECT_EQ(apply({{0, 2, "abc"}, {10, 2, "d"}}), win32_error::success);
  EXPECT_EQ(content(path), "abc" + old.substr(2, 8) + "d" + old.substr(12));
}

TEST_F(file_rewrite_test, growth_by_whole_blocks_shares_nothing_with_a_wrong_byte) {
  EXPECT_EQ(apply({{5000, 0, std::string(4096, 'x')}}), win32_error::success);
  EXPECT_TRUE(content(path) == old.substr(0, 5000) + std::string(4096, 'x') + old.substr(5000));
}

TEST_F(file_rewrite_test, the_replacement_is_the_file_that_has_the_name) {
  auto rewrite = prepare({{0, 0, "new"}});
  ASSERT_TRUE(rewrite);
  ASSERT_EQ((*rewrite)->commit(), win32_error::success);
  const unique_descriptor replacement = (*rewrite)->take_replacement();
  EXPECT_TRUE(platform::host::still_names(path, replacement.get(), platform::host::last_link::itself));
}

TEST_F(file_rewrite_test, a_file_of_several_names_changes_behind_all_of_them) {
  const std::string second = folder.path("second.jpg");
  std::filesystem::create_hard_link(path, second);
  EXPECT_EQ(apply({{100, 0, "inserted"}}), win32_error::success);
  EXPECT_EQ(content(path), old.substr(0, 100) + "inserted" + old.substr(100));
  EXPECT_EQ(content(second), content(path));
  EXPECT_EQ(host_test::status_of(path).st_nlink, 2u);
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"photo.jpg", "second.jpg"}));
}

TEST_F(file_rewrite_test, a_symbolic_link_stays_one) {
  const std::string link = folder.path("link.jpg");
  std::filesystem::create_symlink("photo.jpg", link);
  const auto rewrite = prepare(link, {{0, 0, "new"}}, *platform::host::stamp_of(file.get()));
  ASSERT_TRUE(rewrite);
  EXPECT_EQ((*rewrite)->commit(), win32_error::success);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(content(path), "new" + old);
}

TEST_F(file_rewrite_test, a_plan_out_of_order_is_refused) {
  EXPECT_EQ(apply({{10, 5, "a"}, {14, 1, "b"}}), win32_error::invalid_parameter);
  EXPECT_EQ(apply({{10, 5, "a"}, {5, 1, "b"}}), win32_error::invalid_parameter);
  EXPECT_EQ(content(path), old);
}

TEST_F(file_rewrite_test, a_plan_beyond_the_end_is_refused) {
  EXPECT_EQ(apply({{old.size() + 1, 0, "a"}}), win32_error::invalid_parameter);
  EXPECT_EQ(apply({{old.size() - 1, 2, "ab"}}), win32_error::invalid_parameter);
  EXPECT_EQ(apply({{5, ~std::uint64_t{0}, "ab"}}), win32_error::invalid_parameter);
  EXPECT_EQ(content(path), old);
}

TEST_F(file_rewrite_test, a_file_written_since_the_preparation_is_not_overwritten) {
  for (const char* bytes : {"abcd", "longer"}) {
    old = host_test::noise(100000, 1);
    put(path, old);
    const auto rewrite = prepare({{10, 4, bytes}});
    ASSERT_TRUE(rewrite);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const std::string newer = host_test::noise(100000, 9);
    put(path, newer);
    EXPECT_EQ((*rewrite)->commit(), win32_error::sharing_violation);
    EXPECT_EQ(content(path), newer);
    expect_nothing_left();
  }
}

TEST_F(file_rewrite_test, a_file_replaced_since_the_preparation_is_not_overwritten) {
  for (const char* bytes : {"abcd", "longer"}) {
    open();
    const auto rewrite = prepare({{10, 4, bytes}});
    ASSERT_TRUE(rewrite);
    put(folder.path("other"), "newer bytes");
    std::filesystem::rename(folder.path("other"), path);
    EXPECT_EQ((*rewrite)->commit(), win32_error::sharing_violation);
    EXPECT_EQ(content(path), "newer bytes");
    put(path, old);
  }
}

TEST_F(file_rewrite_test, a_plan_made_from_an_earlier_content_is_refused) {
  const auto stamp = platform::host::stamp_of(file.get());
  ASSERT_TRUE(stamp);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const std::string newer = host_test::noise(old.size(), 9);
  put(path, newer);
  const auto patch = prepare(path, {{10, 4, "abcd"}}, *stamp);
  EXPECT_EQ(patch ? (*patch)->commit() : patch.error(), win32_error::sharing_violation);
  EXPECT_EQ(prepare(path, {{10, 4, "longer"}}, *stamp).error(), win32_error::sharing_violation);
  EXPECT_EQ(content(path), newer);
}

TEST_F(file_rewrite_test, a_deleted_file_does_not_come_back) {
  const auto rewrite = prepare({{10, 4, "longer"}});
  ASSERT_TRUE(rewrite);
  std::filesystem::remove(path);
  EXPECT_EQ((*rewrite)->commit(), win32_error::sharing_violation);
  EXPECT_TRUE(folder.names().empty());
}

TEST_F(file_rewrite_test, holes_read_as_zeros_after_the_change) {
  put(path, "start");
  std::filesystem::resize_file(path, 10'000'000);
  EXPECT_EQ(apply({{5, 0, "inserted"}}), win32_error::success);
  EXPECT_EQ(content(path), "startinserted" + std::string(10'000'000 - 5, '\0'));
}

// Runs with the rights of an ordinary user, whom the read-only folder binds.
int as_nobody(const std::string& path, const edit_plan& plan, win32_error expected) {
  return host_test::wait_for(host_test::start_child([&] {
    constexpr uid_t nobody = 65534;
    if (::geteuid() == 0 && ::seteuid(nobody) != 0) return 2;
    auto own = platform::host::open_to_change(path);
    if (!own) return 3;
    platform::host::file_source source(own->file.get(), own->stamp.size);
    auto rewrite = prepare_rewrite({own->file.get(), path, own->stamp, source}, plan);
    const win32_error outcome = rewrite ? (*rewrite)->commit() : rewrite.error();
    return outcome == expected ? 0 : 1;
  }));
}

TEST_F(file_rewrite_test, in_a_read_only_folder_only_patches_work) {
  std::filesystem::permissions(path, std::filesystem::perms(0666));
  std::filesystem::permissions(folder.folder(), std::filesystem::perms(0555));
  EXPECT_EQ(as_nobody(path, {{10, 4, "abcd"}}, win32_error::success), 0);
  EXPECT_EQ(as_nobody(path, {{10, 4, "longer"}}, win32_error::access_denied), 0);
  EXPECT_EQ(content(path), old.replace(10, 4, "abcd"));
  expect_nothing_left();
}

struct killed_change_test : file_rewrite_test, testing::WithParamInterface<bool> {};

// One child after the other changes the file and back until it is killed.
TEST_P(killed_change_test, is_old_or_new_after_the_next_open) {
  const bool is_patch = GetParam();
  const edit_plan there =
      is_patch ? edit_plan{{20, 4, "abcd", true}, {50000, 3, "xyz", true}} : edit_plan{{0, 0, "inserted"}};
  const edit_plan back = is_patch ? edit_plan{{20, 4, old.substr(20, 4), true}, {50000, 3, old.substr(50000, 3), true}}
                                  : edit_plan{{0, 8, ""}};
  std::string patched = old;
  patched.replace(20, 4, "abcd").replace(50000, 3, "xyz");
  const std::string changed = is_patch ? patched : "inserted" + old;
  std::minstd_rand random(5);
  for (int round = 0; round < 25; ++round) {
    file = unique_descriptor();
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const unique_descriptor reading(ends[0]);
    const pid_t child = host_test::start_child([&] {
      for (bool told = false;; told = true) {
        open();
        if (apply(content(path) == old ? there : back) != win32_error::success) return 1;
        if (!told && ::write(ends[1], "!", 1) != 1) return 1;
      }
    });
    ::close(ends[1]);
    char byte = 0;
    ASSERT_EQ(::read(reading.get(), &byte, 1), 1);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
    ASSERT_EQ(::kill(child, SIGKILL), 0);
    ASSERT_EQ(host_test::wait_for(child), -1);
    // Whoever reads a file that another one took the place of sees it whole at once.
    ASSERT_TRUE(is_patch || content(path) == old || content(path) == changed) << "torn in round " << round;
    ASSERT_TRUE(platform::host::open_to_change(path));
    ASSERT_TRUE(content(path) == old || content(path) == changed) << "torn in round " << round;
  }
  // Whatever the kills left beside the file doesn't stand in the way of the next change, which takes it along.
  put(path, old);
  open();
  ASSERT_EQ(apply({{0, 0, "inserted"}}), win32_error::success);
  expect_nothing_left();
}

INSTANTIATE_TEST_SUITE_P(ways, killed_change_test, testing::Bool(),
                         [](const auto& way) { return way.param ? "patch" : "new_file"; });

}  // namespace
