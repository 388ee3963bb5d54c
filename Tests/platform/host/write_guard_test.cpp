#include "platform/host/write_guard.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <random>
#include <thread>
#include <vector>

#include "platform/host/host_files.h"
#include "platform/host/intercepted_calls.h"
#include "platform/host/unique_descriptor.h"

namespace {

using host_test::content;
using host_test::put;
using platform::win32_error;
using platform::host::byte_run;
using platform::host::marking;
using platform::host::unique_descriptor;
using platform::host::write_guard;

constexpr std::size_t page = 4096;

unique_descriptor open_for_change(const std::string& path) { return unique_descriptor(::open(path.c_str(), O_RDWR)); }

// One run for the whole file.
std::vector<byte_run> whole(std::string_view before, std::string_view after) { return {{0, before, after}}; }

// Without a mark where they are too many for one: what helper and program promise by themselves.
win32_error write(write_guard& guard, const unique_descriptor& file, const std::vector<byte_run>& runs) {
  return guard.write(file.get(), {{}, runs}, marking::if_possible);
}

// The same in many runs, which is the easiest to tear.
std::vector<byte_run> many(std::string_view before, std::string_view after) {
  std::vector<byte_run> runs;
  constexpr std::size_t step = page / 2;
  for (std::size_t at = 0; at < before.size(); at += step) {
    runs.push_back({at, before.substr(at, step), after.substr(at, step)});
  }
  return runs;
}

struct write_guard_test : testing::Test {
  host_test::temporary_folder folder;
  std::string path = folder.path("file");
  std::string before = host_test::noise(50 * page, 1);
  std::string after = host_test::noise(50 * page, 2);
  write_guard guard;

  void SetUp() override { put(path, before); }
};

TEST_F(write_guard_test, a_change_within_one_page_needs_no_helper) {
  const unique_descriptor file = open_for_change(path);
  const std::vector<byte_run> runs = {{page + 10, std::string_view(before).substr(page + 10, 5), "12345"}};
  EXPECT_EQ(write(guard, file, runs), win32_error::success);
  EXPECT_EQ(guard.helper(), 0);
  EXPECT_EQ(content(path), before.replace(page + 10, 5, "12345"));
}

TEST_F(write_guard_test, a_change_of_several_pages_arrives_whole) {
  const unique_descriptor file = open_for_change(path);
  EXPECT_EQ(write(guard, file, whole(before, after)), win32_error::success);
  EXPECT_NE(guard.helper(), 0);
  EXPECT_EQ(content(path), after);
}

TEST_F(write_guard_test, several_runs_change_nothing_between_them) {
  const unique_descriptor file = open_for_change(path);
  const std::string_view old = before;
  const std::vector<byte_run> runs = {{0, old.substr(0, 3), "abc"},
                                      {page - 1, old.substr(page - 1, 2), "de"},
                                      {old.size() - 1, old.substr(old.size() - 1), "f"}};
  EXPECT_EQ(write(guard, file, runs), win32_error::success);
  std::string expected = before;
  expected.replace(0, 3, "abc").replace(page - 1, 2, "de").replace(expected.size() - 1, 1, "f");
  EXPECT_EQ(content(path), expected);
}

TEST_F(write_guard_test, the_helper_serves_many_changes_and_holds_no_descriptor_of_ours) {
  const unique_descriptor file = open_for_change(path);
  ASSERT_EQ(write(guard, file, whole(before, after)), win32_error::success);
  const pid_t helper = guard.helper();
  ASSERT_EQ(write(guard, file, whole(after, before)), win32_error::success);
  EXPECT_EQ(guard.helper(), helper);
  std::vector<std::string> open;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(helper) + "/fd")) {
    open.push_back(std::filesystem::read_symlink(entry.path()));
  }
  // Standard error and the socket to us.
  EXPECT_EQ(open.size(), 2u);
  EXPECT_EQ(::getsid(helper), helper);
}

TEST_F(write_guard_test, more_than_the_limits_is_refused_untouched) {
  const std::string big(write_guard::most_bytes + 1, 'x');
  const unique_descriptor file = open_for_change(path);
  EXPECT_EQ(write(guard, file, whole(big, big)), win32_error::invalid_parameter);
  EXPECT_EQ(content(path), before);
}

TEST_F(write_guard_test, a_helper_killed_between_changes_is_replaced_and_reaped) {
  const unique_descriptor file = open_for_change(path);
  ASSERT_EQ(write(guard, file, whole(before, after)), win32_error::success);
  const pid_t first = guard.helper();
  ASSERT_EQ(::kill(first, SIGKILL), 0);
  EXPECT_EQ(write(guard, file, whole(after, before)), win32_error::success);
  EXPECT_EQ(content(path), before);
  EXPECT_EQ(::waitpid(first, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
  EXPECT_EQ(write(guard, file, whole(before, after)), win32_error::success);
  EXPECT_NE(guard.helper(), 0);
  EXPECT_NE(guard.helper(), first);
  EXPECT_EQ(content(path), after);
}

TEST_F(write_guard_test, a_helper_killed_during_a_change_leaves_the_change_made) {
  const unique_descriptor file = open_for_change(path);
  ASSERT_EQ(write(guard, file, whole(before, after)), win32_error::success);
  const pid_t helper = guard.helper();
  ASSERT_EQ(::kill(helper, SIGSTOP), 0);
  std::thread killer([helper] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    ::kill(helper, SIGKILL);
  });
  EXPECT_EQ(write(guard, file, whole(after, before)), win32_error::success);
  killer.join();
  EXPECT_EQ(content(path), before);
}

TEST_F(write_guard_test, a_helper_that_can_t_answer_leaves_the_change_made) {
  const unique_descriptor file = open_for_change(path);
  const host_test::intercepted_call failing(host_test::system_call::send, [] { return ENOBUFS; });
  EXPECT_EQ(write(guard, file, whole(before, after)), win32_error::success);
  EXPECT_EQ(guard.helper(), 0);
  EXPECT_EQ(content(path), after);
}

TEST_F(write_guard_test, signals_for_the_program_do_not_end_the_helper) {
  const unique_descriptor file = open_for_change(path);
  ASSERT_EQ(write(guard, file, whole(before, after)), win32_error::success);
  const pid_t helper = guard.helper();
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGQUIT})
    ASSERT_EQ(::kill(helper, number), 0);
  EXPECT_EQ(write(guard, file, whole(after, before)), win32_error::success);
  EXPECT_EQ(guard.helper(), helper);
}

TEST_F(write_guard_test, a_write_that_fails_in_the_middle_puts_the_old_bytes_back) {
  const pid_t child = host_test::start_child([this] {
    const rlimit limit{20 * page, 20 * page};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) return 2;
    write_guard own;
    const unique_descriptor file = open_for_change(path);
    const std::string_view old = before;
    const std::string_view fresh = after;
    const std::vector<byte_run> runs = {{0, old.substr(0, 10 * page), fresh.substr(0, 10 * page)},
                                        {15 * page, old.substr(15 * page), fresh.substr(15 * page)}};
    return write(own, file, runs) == win32_error::file_too_large && own.helper() != 0 ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  EXPECT_EQ(content(path), before);
}

TEST_F(write_guard_test, works_with_all_standard_descriptors_closed) {
  const pid_t child = host_test::start_child([this] {
    for (const int standard : {0, 1, 2})
      ::close(standard);
    write_guard own;
    const unique_descriptor file = open_for_change(path);
    const bool written = write(own, file, whole(before, after)) == win32_error::success &&
                         write(own, file, whole(after, before)) == win32_error::success &&
                         write(own, file, whole(before, after)) == win32_error::success;
    return written && own.helper() != 0 ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  EXPECT_EQ(content(path), after);
}

TEST_F(write_guard_test, a_fork_of_the_process_gets_a_helper_of_its_own) {
  const unique_descriptor file = open_for_change(path);
  ASSERT_EQ(write(guard, file, whole(before, after)), win32_error::success);
  const pid_t helper = guard.helper();
  const pid_t child = host_test::start_child([&] {
    const bool written = write(guard, file, whole(after, before)) == win32_error::success;
    return written && guard.helper() != helper ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
  EXPECT_EQ(content(path), before);
  EXPECT_EQ(write(guard, file, whole(before, after)), win32_error::success);
  EXPECT_EQ(guard.helper(), helper);
  EXPECT_EQ(content(path), after);
}

// A child that changes the file back and forth until it is killed. Its standard error is the pipe's end, where a byte
// tells that the helper is at work.
pid_t start_changing(const std::string& path, const std::string& before, const std::string& after, int standard_error) {
  return host_test::start_child([&] {
    ::setpgid(0, 0);
    ::dup2(standard_error, STDERR_FILENO);
    ::close(standard_error);
    write_guard own;
    const unique_descriptor file = open_for_change(path);
    for (bool told = false;; told = true) {
      if (write(own, file, many(before, after)) != win32_error::success) return 1;
      if (write(own, file, many(after, before)) != win32_error::success) return 1;
      if (!told && ::write(STDERR_FILENO, "!", 1) != 1) return 1;
    }
  });
}

// Without the helper the file is torn within five.
constexpr int rounds = 30;

void kill_at_random_moments(const std::string& path, const std::string& before, const std::string& after,
                            bool whole_group) {
  std::minstd_rand random(whole_group ? 7 : 3);
  std::string now = before;
  for (int round = 0; round < rounds; ++round) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const unique_descriptor reading(ends[0]);
    const std::string& other = now == before ? after : before;
    const pid_t child = start_changing(path, now, other, ends[1]);
    ::close(ends[1]);
    char byte = 0;
    ASSERT_EQ(::read(reading.get(), &byte, 1), 1);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
    ASSERT_EQ(::kill(whole_group ? -child : child, SIGKILL), 0);
    ASSERT_EQ(host_test::wait_for(child), -1);
    while (::read(reading.get(), &byte, 1) > 0) {
    }
    now = content(path);
    ASSERT_TRUE(now == before || now == after) << "torn in round " << round;
  }
}

TEST_F(write_guard_test, the_file_is_whole_when_the_program_is_killed_at_any_moment) {
  kill_at_random_moments(path, before, after, false);
}

TEST_F(write_guard_test, the_file_is_whole_when_the_program_s_process_group_is_killed) {
  kill_at_random_moments(path, before, after, true);
}

}  // namespace
