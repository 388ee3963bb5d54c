// Changes that let a file grow by whole blocks, on file systems that can open up room in a file.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <random>
#include <thread>

#include "platform/host/file_rewrite.h"
#include "platform/host/host_files.h"
#include "platform/host/unique_descriptor.h"
#include "platform/host/write_guard.h"

namespace {

using host_test::content;
using host_test::put;
using platform::win32_error;
using platform::host::edit_plan;
using platform::host::growth;
using platform::host::prepare_rewrite;
using platform::host::splice;
using platform::host::unique_descriptor;
using platform::host::write_guard;

constexpr std::size_t block = 4096;

struct grown_rewrite_test : testing::Test {
  host_test::temporary_folder folder;
  std::string path = folder.path("photo.jpg");
  std::string old = host_test::noise(25 * block + 100, 1);
  unique_descriptor file;

  void SetUp() override {
    put(path, old);
    file = unique_descriptor(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    const unique_descriptor probe(::open(folder.path("probe").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600));
    ASSERT_EQ(::pwrite(probe.get(), old.data(), 2 * block, 0), static_cast<ssize_t>(2 * block));
    const bool can = ::fallocate(probe.get(), FALLOC_FL_INSERT_RANGE, 0, block) == 0;
    ASSERT_EQ(::unlink(folder.path("probe").c_str()), 0);
    if (!can) GTEST_SKIP() << "this file system can't open up room in a file";
  }

  win32_error apply(const edit_plan& plan) {
    auto rewrite = prepare_rewrite(file.get(), path, plan);
    return rewrite ? (*rewrite)->commit() : rewrite.error();
  }

  // What the plan makes of the old content.
  [[nodiscard]] std::string expected(const edit_plan& plan) const {
    std::string text = old;
    for (auto part = plan.rbegin(); part != plan.rend(); ++part)
      text.replace(part->offset, part->erase, part->bytes);
    return text;
  }

  void expect_grown_in_place(const edit_plan& plan) {
    const struct stat before = host_test::status_of(path);
    ASSERT_EQ(apply(plan), win32_error::success);
    EXPECT_EQ(host_test::status_of(path).st_ino, before.st_ino);
    EXPECT_TRUE(content(path) == expected(plan));
    EXPECT_EQ(folder.names(), std::vector<std::string>{"photo.jpg"});
  }
};

TEST_F(grown_rewrite_test, room_is_opened_at_the_start) { expect_grown_in_place({{0, 0, std::string(block, 'x')}}); }

TEST_F(grown_rewrite_test, room_is_opened_within_a_block) {
  expect_grown_in_place({{3 * block + 17, 0, std::string(2 * block, 'x')}});
}

TEST_F(grown_rewrite_test, several_splices_share_the_room) {
  expect_grown_in_place({{20, 4, "longer than four"},
                         {block - 2, 5, ""},
                         {5 * block + 1, 0, std::string(block - 12 + 5, 'y')},
                         {9 * block, 10, std::string(10, 'z')}});
}

TEST_F(grown_rewrite_test, the_end_of_the_file_grows_with_it) {
  expect_grown_in_place({{old.size() - 1, 1, std::string(block + 1, 'e')}});
}

TEST_F(grown_rewrite_test, other_names_keep_the_file) {
  ASSERT_EQ(::link(path.c_str(), folder.path("other.jpg").c_str()), 0);
  const edit_plan plan = {{10, 0, std::string(block, 'x')}};
  ASSERT_EQ(apply(plan), win32_error::success);
  EXPECT_TRUE(content(path) == expected(plan));
  EXPECT_TRUE(content(folder.path("other.jpg")) == expected(plan));
}

TEST_F(grown_rewrite_test, nothing_is_touched_before_the_commit) {
  const auto rewrite = prepare_rewrite(file.get(), path, {{10, 0, std::string(block, 'x')}});
  ASSERT_TRUE(rewrite);
  EXPECT_TRUE(content(path) == old);
}

TEST_F(grown_rewrite_test, a_file_that_was_changed_meanwhile_is_left_alone) {
  const auto rewrite = prepare_rewrite(file.get(), path, {{10, 0, std::string(block, 'x')}});
  ASSERT_TRUE(rewrite);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  put(path, "someone else's");
  EXPECT_EQ((*rewrite)->commit(), win32_error::sharing_violation);
  EXPECT_EQ(content(path), "someone else's");
}

TEST_F(grown_rewrite_test, what_is_too_much_for_the_guard_gets_a_new_file) {
  const edit_plan plan = {{10, 0, std::string(write_guard::most_bytes, 'x')}};
  EXPECT_EQ(apply(plan), win32_error::success);
  EXPECT_TRUE(content(path) == expected(plan));
}

TEST_F(grown_rewrite_test, a_growth_by_part_of_a_block_gets_a_new_file) {
  const edit_plan plan = {{10, 0, std::string(block + 1, 'x')}};
  EXPECT_EQ(apply(plan), win32_error::success);
  EXPECT_TRUE(content(path) == expected(plan));
}

TEST_F(grown_rewrite_test, a_file_that_can_t_have_room_opened_gets_a_new_one) {
  // One that keeps a list of its blocks rather than ranges of them, as older file systems did.
  ASSERT_EQ(::unlink(path.c_str()), 0);
  file = unique_descriptor(::open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600));
  int flags = 0;
  const bool is_set = ::ioctl(file.get(), FS_IOC_GETFLAGS, &flags) == 0 &&
                      ((flags &= ~FS_EXTENT_FL), ::ioctl(file.get(), FS_IOC_SETFLAGS, &flags) == 0);
  if (!is_set) GTEST_SKIP() << "no such files here";
  ASSERT_EQ(::pwrite(file.get(), old.data(), old.size(), 0), static_cast<ssize_t>(old.size()));
  const edit_plan plan = {{10, 0, std::string(block, 'x')}};
  const ino_t inode = host_test::status_of(path).st_ino;
  EXPECT_EQ(apply(plan), win32_error::success);
  EXPECT_TRUE(content(path) == expected(plan));
  EXPECT_NE(host_test::status_of(path).st_ino, inode);
}

struct growth_test : grown_rewrite_test {
  std::string filling = host_test::noise(3 * block, 2);

  // Two blocks of room in front of the third block, whose start changes.
  [[nodiscard]] growth change() const {
    return {2 * block, 2 * block, old.size(), std::string_view(old).substr(2 * block, block), filling};
  }
  [[nodiscard]] std::string grown() const { return std::string(old).replace(2 * block, block, filling); }
};

TEST_F(growth_test, a_helper_killed_before_it_answers_leaves_the_change_made_once) {
  write_guard guard;
  ASSERT_EQ(guard.prepare(), win32_error::success);
  const pid_t helper = guard.helper();
  ASSERT_EQ(::kill(helper, SIGSTOP), 0);
  std::thread killer([helper] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    ::kill(helper, SIGKILL);
  });
  EXPECT_EQ(guard.grow(file.get(), change()), win32_error::success);
  killer.join();
  EXPECT_TRUE(content(path) == grown());
}

// Memory whose end can't be read, so that a write from there fails as one on a full disk does.
class broken_bytes {
 public:
  broken_bytes(std::size_t size, std::size_t readable) : size_(size) {
    memory_ = ::mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (readable > 0) static_cast<void>(::mprotect(memory_, readable, PROT_READ));
  }
  broken_bytes(const broken_bytes&) = delete;
  broken_bytes& operator=(const broken_bytes&) = delete;
  ~broken_bytes() { static_cast<void>(::munmap(memory_, size_)); }

  [[nodiscard]] std::string_view view() const { return {static_cast<const char*>(memory_), size_}; }

 private:
  void* memory_;
  std::size_t size_;
};

TEST_F(growth_test, a_write_into_the_room_that_fails_closes_it_again) {
  for (const std::size_t readable : {std::size_t{0}, block}) {
    const broken_bytes bytes(filling.size(), readable);
    growth failing = change();
    failing.new_bytes = bytes.view();
    EXPECT_EQ(platform::host::grow(file.get(), failing), EFAULT);
    EXPECT_TRUE(content(path) == old);
  }
}

TEST_F(growth_test, a_write_behind_the_room_that_fails_puts_the_old_bytes_back) {
  const broken_bytes bytes(filling.size(), 2 * block);
  growth failing = change();
  failing.new_bytes = bytes.view();
  EXPECT_EQ(platform::host::grow(file.get(), failing), EFAULT);
  EXPECT_TRUE(content(path) == old);
}

TEST_F(growth_test, goes_on_where_a_kill_left_the_room_open) {
  ASSERT_EQ(::fallocate(file.get(), FALLOC_FL_INSERT_RANGE, 2 * block, 2 * block), 0);
  write_guard guard;
  EXPECT_EQ(guard.grow(file.get(), change()), win32_error::success);
  EXPECT_TRUE(content(path) == grown());
}

TEST_F(growth_test, a_file_of_another_size_is_refused_untouched) {
  put(path, "other");
  write_guard guard;
  EXPECT_EQ(guard.grow(file.get(), change()), win32_error::gen_failure);
  EXPECT_EQ(content(path), "other");
}

TEST_F(growth_test, the_file_is_whole_when_the_program_is_killed_at_any_moment) {
  std::minstd_rand random(5);
  int changed = 0;
  for (int round = 0; round < 100; ++round) {
    put(path, old);
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const pid_t child = host_test::start_child([&] {
      ::dup2(ends[1], STDERR_FILENO);
      write_guard own;
      if (own.prepare() != win32_error::success || ::write(STDERR_FILENO, "!", 1) != 1) return 1;
      return own.grow(file.get(), change()) == win32_error::success ? 0 : 1;
    });
    ::close(ends[1]);
    const unique_descriptor reading(ends[0]);
    char byte = 0;
    ASSERT_EQ(::read(reading.get(), &byte, 1), 1);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 400));
    ::kill(child, SIGKILL);  // it may have ended
    static_cast<void>(host_test::wait_for(child));
    // Whoever keeps standard error open is still at work.
    while (::read(reading.get(), &byte, 1) > 0) {
    }
    const std::string now = content(path);
    ASSERT_TRUE(now == old || now == grown()) << "torn in round " << round;
    changed += now == grown() ? 1 : 0;
  }
  EXPECT_GT(changed, 0);
}

}  // namespace
