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

#include "platform/host/change_mark.h"
#include "platform/host/file_rewrite.h"
#include "platform/host/host_files.h"
#include "platform/host/intercepted_calls.h"
#include "platform/host/staged_file.h"
#include "platform/host/unique_descriptor.h"
#include "platform/host/write_guard.h"

namespace {

using host_test::can_open_room;
using host_test::content;
using host_test::put;
using platform::win32_error;
using platform::host::block_exchange;
using platform::host::byte_run;
using platform::host::edit_plan;
using platform::host::finish_interrupted_rewrite;
using platform::host::in_place_writes;
using platform::host::prepare_rewrite;
using platform::host::rewrite_mark;
using platform::host::unique_descriptor;
using platform::host::write_guard;

constexpr std::size_t block = 4096;

struct grown_rewrite_test : testing::Test {
  host_test::temporary_folder folder;
  std::string path = folder.path("photo.jpg");
  std::string old = host_test::noise(25 * block + 100, 1);
  unique_descriptor file;

  void SetUp() override {
    put_back();
    if (!can_open_room(folder)) GTEST_SKIP() << "this file system can't open up room in a file";
  }

  win32_error apply(const edit_plan& plan) {
    auto rewrite = prepare_rewrite(file.get(), path, plan);
    return rewrite ? (*rewrite)->commit() : rewrite.error();
  }

  void put_back() {
    put(path, old);
    file = unique_descriptor(::open(path.c_str(), O_RDWR | O_CLOEXEC));
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

// The two ways in which the write guard changes a file whose blocks move.

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

struct moved_blocks_test : grown_rewrite_test {
  write_guard guard;

  void expect(const std::string& bytes) {
    EXPECT_TRUE(content(path) == bytes);
    EXPECT_EQ(host_test::attribute(path, rewrite_mark), "");
  }

  // Makes the change while the helper is stopped, and kills it.
  template <class Make>
  win32_error make_without_helper(Make make) {
    EXPECT_EQ(guard.prepare(), win32_error::success);
    const pid_t helper = guard.helper();
    EXPECT_EQ(::kill(helper, SIGSTOP), 0);
    std::thread killer([helper] {
      std::this_thread::sleep_for(std::chrono::milliseconds(30));
      ::kill(helper, SIGKILL);
    });
    const win32_error made = make(guard);
    killer.join();
    return made;
  }

  // Kills a child that makes the change, and if `both` its helper too, at random moments. How often it came to its end.
  template <class Make>
  int kill_again_and_again(const std::string& changed, bool both, Make make) {
    std::minstd_rand random(5);
    int finished = 0;
    for (int round = 0; round < 100; ++round) {
      put(path, old);
      std::array<int, 2> ends{};
      EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
      const pid_t child = host_test::start_child([&] {
        ::dup2(ends[1], STDERR_FILENO);
        write_guard own;
        if (own.prepare() != win32_error::success) return 1;
        const pid_t helper = own.helper();
        if (::write(STDERR_FILENO, &helper, sizeof helper) != sizeof helper) return 1;
        return make(own) == win32_error::success ? 0 : 1;
      });
      ::close(ends[1]);
      const unique_descriptor reading(ends[0]);
      pid_t helper = 0;
      EXPECT_EQ(::read(reading.get(), &helper, sizeof helper), static_cast<ssize_t>(sizeof helper));
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 400));
      ::kill(child, SIGKILL);  // either may have ended
      if (both) ::kill(helper, SIGKILL);
      static_cast<void>(host_test::wait_for(child));
      // Whoever keeps standard error open is still at work.
      char byte = 0;
      while (::read(reading.get(), &byte, 1) > 0) {
      }
      if (both) {
        EXPECT_EQ(finish_interrupted_rewrite(path), win32_error::success);
      }
      const std::string now = content(path);
      EXPECT_TRUE(now == old || now == changed) << "torn in round " << round;
      finished += now == changed ? 1 : 0;
    }
    return finished;
  }
};

struct opened_room_test : moved_blocks_test {
  static constexpr std::size_t changed = 1000;
  std::string filling = host_test::noise(2 * block + changed, 2);
  std::vector<byte_run> runs = {
      {4 * block, std::string_view(old).substr(2 * block, changed), std::string_view(filling).substr(2 * block)}};

  // Two blocks of room in front of the third block, whose start changes.
  [[nodiscard]] in_place_writes change() const {
    return {{2 * block, old.size(), std::string_view(filling).substr(0, 2 * block)}, runs};
  }
  [[nodiscard]] std::string grown() const { return std::string(old).replace(2 * block, changed, filling); }
};

TEST_F(opened_room_test, is_filled_and_the_mark_goes) {
  EXPECT_EQ(guard.write(file.get(), change()), win32_error::success);
  expect(grown());
}

TEST_F(opened_room_test, a_helper_killed_before_it_answers_leaves_the_change_made_once) {
  EXPECT_EQ(make_without_helper([this](write_guard& own) { return own.write(file.get(), change()); }),
            win32_error::success);
  expect(grown());
}

TEST_F(opened_room_test, is_closed_where_the_write_into_it_fails) {
  for (const std::size_t readable : {std::size_t{0}, block}) {
    const broken_bytes bytes(2 * block, readable);
    in_place_writes failing = change();
    failing.room.content = bytes.view();
    EXPECT_EQ(write_in_place(file.get(), failing), EFAULT);
    expect(old);
  }
}

TEST_F(opened_room_test, is_closed_where_a_write_behind_it_fails) {
  const broken_bytes bytes(changed, 0);
  runs[0].new_bytes = bytes.view();
  EXPECT_EQ(write_in_place(file.get(), change()), EFAULT);
  expect(old);
}

TEST_F(opened_room_test, is_filled_where_a_kill_left_it_open) {
  ASSERT_EQ(::fallocate(file.get(), FALLOC_FL_INSERT_RANGE, 2 * block, 2 * block), 0);
  EXPECT_EQ(guard.write(file.get(), change()), win32_error::success);
  expect(grown());
}

TEST_F(opened_room_test, is_not_opened_in_a_file_of_another_size) {
  put(path, "other");
  EXPECT_EQ(guard.write(file.get(), change()), win32_error::gen_failure);
  EXPECT_EQ(content(path), "other");
}

TEST_F(opened_room_test, without_a_run_that_tells_when_it_is_filled_needs_another_way) {
  EXPECT_NE(guard.write(file.get(), {change().room, {}}), win32_error::success);
  expect(old);
}

TEST_F(opened_room_test, the_file_is_whole_when_the_program_is_killed_at_any_moment) {
  EXPECT_GT(kill_again_and_again(grown(), false, [this](write_guard& own) { return own.write(file.get(), change()); }),
            0);
}

TEST_F(opened_room_test, the_next_open_makes_the_file_whole_when_both_processes_are_killed) {
  EXPECT_GT(kill_again_and_again(grown(), true, [this](write_guard& own) { return own.write(file.get(), change()); }),
            0);
}

struct block_exchange_test : moved_blocks_test {
  std::string fresh = host_test::noise(5 * block, 3);
  std::string new_end = host_test::noise(20 * block + 55, 4);

  // Five blocks in the place of the third to the fifth.
  [[nodiscard]] block_exchange change() const {
    return {2 * block, 5 * block, old.size(), std::string_view(old).substr(2 * block, 3 * block), fresh};
  }
  [[nodiscard]] std::string exchanged() const { return std::string(old).replace(2 * block, 3 * block, fresh); }

  // From the sixth block on to the end, which isn't one of a block.
  [[nodiscard]] block_exchange change_at_end() const {
    return {5 * block, 21 * block, old.size(), std::string_view(old).substr(5 * block), new_end};
  }
  [[nodiscard]] std::string exchanged_at_end() const { return old.substr(0, 5 * block) + new_end; }
};

TEST_F(block_exchange_test, gives_the_new_blocks_the_place_of_the_old_ones) {
  for (const bool needs_sync : {false, true}) {
    put(path, old);
    block_exchange wanted = change();
    wanted.needs_sync = needs_sync;
    EXPECT_EQ(guard.exchange(file.get(), wanted), win32_error::success);
    expect(exchanged());
  }
}

TEST_F(block_exchange_test, reaches_to_the_end_of_the_file) {
  EXPECT_EQ(guard.exchange(file.get(), change_at_end()), win32_error::success);
  expect(exchanged_at_end());
}

TEST_F(block_exchange_test, keeps_the_size_where_as_many_come_as_go) {
  block_exchange wanted = change();
  wanted.room = 3 * block;
  wanted.new_content = std::string_view(fresh).substr(0, 3 * block);
  EXPECT_EQ(guard.exchange(file.get(), wanted), win32_error::success);
  expect(old.replace(2 * block, 3 * block, fresh, 0, 3 * block));
}

TEST_F(block_exchange_test, more_than_the_limit_is_refused_untouched) {
  block_exchange wanted = change();
  wanted.room = platform::host::largest_exchange + block;
  EXPECT_EQ(guard.exchange(file.get(), wanted), win32_error::invalid_parameter);
  expect(old);
}

TEST_F(block_exchange_test, a_helper_killed_before_it_answers_leaves_the_change_made_once) {
  EXPECT_EQ(make_without_helper([this](write_guard& own) { return own.exchange(file.get(), change()); }),
            win32_error::success);
  expect(exchanged());
}

TEST_F(block_exchange_test, goes_on_where_a_kill_left_it) {
  ASSERT_EQ(::fallocate(file.get(), FALLOC_FL_INSERT_RANGE, 2 * block, 5 * block), 0);
  EXPECT_EQ(guard.exchange(file.get(), change()), win32_error::success);
  expect(exchanged());
  EXPECT_EQ(guard.exchange(file.get(), change()), win32_error::success);
  expect(exchanged());
}

TEST_F(block_exchange_test, closes_the_room_where_the_write_into_it_fails) {
  for (const std::size_t readable : {std::size_t{0}, 2 * block}) {
    const broken_bytes bytes(5 * block, readable);
    block_exchange failing = change();
    failing.new_content = bytes.view();
    EXPECT_EQ(exchange_blocks(file.get(), failing), EFAULT);
    expect(old);
  }
}

TEST_F(block_exchange_test, closes_the_room_where_the_old_blocks_can_not_go) {
  int calls = 0;
  const host_test::intercepted_call failing(host_test::system_call::fallocate,
                                            [&calls] { return ++calls == 2 ? EIO : 0; });
  EXPECT_EQ(exchange_blocks(file.get(), change()), EIO);
  expect(old);
}

TEST_F(block_exchange_test, keeps_its_mark_where_the_room_can_not_be_closed_either) {
  {
    int calls = 0;
    const host_test::intercepted_call failing(host_test::system_call::fallocate,
                                              [&calls] { return ++calls == 1 ? 0 : EIO; });
    ASSERT_TRUE(host_test::set_attribute(path, rewrite_mark, change_mark_of(change())));
    EXPECT_EQ(exchange_blocks(file.get(), change()), EIO);
  }
  EXPECT_EQ(finish_interrupted_rewrite(path), win32_error::success);
  expect(old);
}

TEST_F(block_exchange_test, leaves_a_file_of_another_size_alone) {
  put(path, "other");
  EXPECT_EQ(guard.exchange(file.get(), change()), win32_error::gen_failure);
  EXPECT_EQ(content(path), "other");
}

TEST_F(block_exchange_test, the_next_open_makes_the_file_whole_when_both_processes_are_killed) {
  EXPECT_GT(
      kill_again_and_again(exchanged(), true, [this](write_guard& own) { return own.exchange(file.get(), change()); }),
      0);
  EXPECT_GT(kill_again_and_again(exchanged_at_end(), true,
                                 [this](write_guard& own) { return own.exchange(file.get(), change_at_end()); }),
            0);
}

// Which way a plan takes.

TEST_F(grown_rewrite_test, plans_at_random_give_what_they_say) {
  std::minstd_rand random(11);
  const auto below = [&random](std::size_t limit) -> std::size_t { return random() % limit; };
  for (int round = 0; round < 300; ++round) {
    edit_plan plan;
    std::size_t at = below(3 * block);
    std::size_t added = 0;
    for (std::size_t splices = 1 + below(5); plan.size() < splices && at + 200 < old.size();
         at += 1 + below(2 * block)) {
      const std::size_t erased = below(100);
      const std::size_t put = below(3) == 0 ? erased : erased + below(100);
      plan.push_back({at, erased, host_test::noise(put, static_cast<unsigned>(round))});
      added += put - erased;
      at += erased;
    }
    // Up to whole blocks, as the handlers pad what they write.
    if (added % block != 0) plan.back().bytes += std::string(block - added % block, ' ');
    ASSERT_EQ(apply(plan), win32_error::success);
    const std::string wanted = expected(plan);
    ASSERT_TRUE(content(path) == wanted) << "round " << round;
    ASSERT_EQ(host_test::attribute(path, rewrite_mark), "");
    old = wanted.substr(0, 25 * block + below(block));
    put_back();
  }
}

TEST_F(grown_rewrite_test, many_bytes_that_differ_change_in_the_same_file) {
  const std::string fresh = host_test::noise(20 * block, 9);
  expect_grown_in_place({{100, fresh.size(), fresh}});
}

TEST_F(grown_rewrite_test, room_that_takes_the_place_of_much_is_opened_too) {
  const std::string fresh = host_test::noise(20 * block, 9);
  expect_grown_in_place({{100, fresh.size() - 2 * block, fresh}});
}

TEST_F(grown_rewrite_test, room_in_front_of_a_block_that_doesn_t_change_is_opened_too) {
  expect_grown_in_place({{3 * block, 0, host_test::noise(block, 8)}});
}

TEST_F(grown_rewrite_test, a_file_that_can_t_be_marked_gets_a_new_one_or_is_changed_as_it_is) {
  const host_test::intercepted_call failing(host_test::system_call::fsetxattr, [] { return EOPNOTSUPP; });
  const ino_t inode = host_test::status_of(path).st_ino;
  const edit_plan same_size = {{10, 4, "abcd"}, {9 * block, 3, "xyz"}};
  EXPECT_EQ(apply(same_size), win32_error::success);
  EXPECT_TRUE(content(path) == expected(same_size));
  EXPECT_EQ(host_test::status_of(path).st_ino, inode);
  old = content(path);
  const edit_plan growing = {{10, 0, std::string(block, 'x')}};
  EXPECT_EQ(apply(growing), win32_error::success);
  EXPECT_TRUE(content(path) == expected(growing));
  EXPECT_NE(host_test::status_of(path).st_ino, inode);
}

}  // namespace
