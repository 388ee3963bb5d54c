#include "logging/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "files/filesystem_error.h"
#include "support/fault_machine.h"
#include "support/fault_sweep.h"
#include "support/simulated_machine.h"

namespace {

using logging::level;
using platform::win32_error;
using testing::ElementsAre;
using testing::IsEmpty;

const std::wstring family = LR"(C:\Users\user\AppData\Local\Larkspur Forge LLC\Tessel Works Kit)";
const std::wstring directory = family + LR"(\Quill Box\Processor\Logs)";
const std::wstring file = directory + LR"(\Processor 2026-11-14.log)";
const std::string prefix = "[2026-11-14 12:05:17.1234567] [P:4120 T:8836] ";

void open_log() { logging::logger()->make_log_directory_and_open(L"", L"Processor", L"Quill Box"); }

class log_test : public testing::Test {
 protected:
  support::scoped_machine machine;
};

TEST_F(log_test, the_days_file_lies_in_a_directory_that_is_made) {
  open_log();
  EXPECT_TRUE(machine.entry(directory).is_directory());
  EXPECT_EQ(machine.read_file(file), "");
}

TEST_F(log_test, a_directory_that_is_there_is_used) {
  machine.write_file(file, "earlier\n");
  open_log();
  EXPECT_THAT(machine.calls.named({"create_directory"}), IsEmpty());
  logging::log(level::info, "x");
  EXPECT_EQ(machine.read_file(file), "earlier\n" + prefix + "[INFO] x\n");
}

TEST_F(log_test, the_file_is_opened_for_appending_and_shared_with_everybody) {
  open_log();
  const std::vector<std::string> opened = machine.calls.named({"open"});
  ASSERT_EQ(opened.size(), 1);
  EXPECT_THAT(opened[0], testing::EndsWith("Processor 2026-11-14.log, append, share all, open_always)"));
}

TEST_F(log_test, the_file_is_named_after_its_prefix_else_the_inner_folder_else_the_application) {
  logging::plain_text_logger().make_log_directory_and_open(L"Helper", L"Processor", L"Quill Box");
  EXPECT_TRUE(machine.exists(directory + LR"(\Helper 2026-11-14.log)"));
  logging::plain_text_logger().make_log_directory_and_open(L"", L"", L"Quill Box");
  EXPECT_TRUE(machine.exists(family + LR"(\Quill Box\Logs\Quill Box 2026-11-14.log)"));
}

TEST_F(log_test, the_path_is_relative_when_the_system_names_no_local_application_data) {
  machine.calls.refuse("local_app_data", {}, platform::hresult::fail);
  open_log();
  EXPECT_TRUE(
      machine.exists(LR"(C:\Larkspur Forge LLC\Tessel Works Kit\Quill Box\Processor\Logs\Processor 2026-11-14.log)"));
}

TEST_F(log_test, a_line_has_local_time_with_seven_fractional_digits_process_thread_and_level) {
  open_log();
  logging::log(level::info, "Organize folder: moved {} files into {} subfolders of {} ({} failures)", 3, 2,
               LR"(C:\Pictures)", 0);
  EXPECT_EQ(machine.read_file(file),
            "[2026-11-14 12:05:17.1234567] [P:4120 T:8836] [INFO] Organize folder: moved 3 files into 2 subfolders of "
            "C:\\Pictures (0 failures)\n");
}

TEST_F(log_test, every_number_of_the_time_keeps_its_width) {
  machine.clock.set_zone(std::chrono::minutes(0));
  machine.clock.set_time(support::ticks_of({2027, 1, 2, 3, 4, 5, 7}));
  EXPECT_EQ(logging::log_prefix(level::debug), "[2027-01-02 03:04:05.0000007] [P:4120 T:8836] [DEBUG] ");
  machine.clock.set_time(support::ticks_of({2027, 12, 31, 23, 59, 59, 0}));
  EXPECT_EQ(logging::log_prefix(level::debug), "[2027-12-31 23:59:59.0000000] [P:4120 T:8836] [DEBUG] ");
}

TEST_F(log_test, a_day_later_at_the_same_second_the_date_is_another) {
  EXPECT_EQ(logging::log_prefix(level::info), prefix + "[INFO] ");
  machine.clock.advance(std::chrono::hours(24));
  EXPECT_EQ(logging::log_prefix(level::info), "[2026-11-15 12:05:17.1234567] [P:4120 T:8836] [INFO] ");
}

TEST_F(log_test, every_level_has_its_name) {
  constexpr std::array names = {"[DEBUG] ", "[INFO] ", "[WARNING] ", "[ERROR] ", "[CRITICAL] "};
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_TRUE(logging::log_prefix(static_cast<level>(i)).ends_with(names[i])) << i;
  }
}

TEST_F(log_test, a_level_outside_the_five_writes_unknown) {
  open_log();
  logging::log(static_cast<level>(5), "five");
  logging::log(static_cast<level>(255), "most");
  EXPECT_THAT(machine.log_lines(), ElementsAre("[UNKNOWN] five", "[UNKNOWN] most"));
}

TEST_F(log_test, an_empty_message_gives_the_prefix_alone_with_its_blank) {
  open_log();
  logging::log(level::warning, "");
  EXPECT_EQ(machine.read_file(file), prefix + "[WARNING] \n");
}

TEST_F(log_test, an_empty_line_is_a_line_feed) {
  open_log();
  logging::logger()->write_line(L"");
  logging::logger()->write_utf8_line("");
  EXPECT_EQ(machine.read_file(file), "\n\n");
}

TEST_F(log_test, nothing_is_filtered_by_level) {
  open_log();
  for (const level each : {level::debug, level::info, level::warning, level::error, level::critical}) {
    logging::log(each, "x");
  }
  EXPECT_EQ(machine.log_lines().size(), 5);
}

TEST_F(log_test, names_beyond_ascii_appear_as_utf8_without_a_byte_order_mark) {
  open_log();
  logging::log(level::info, "{}", L"C:\\\u00dcbung\\\u96ea \U0001f600.jpg");
  EXPECT_EQ(machine.read_file(file), prefix +
                                         "[INFO] C:\\\xc3\x9c"
                                         "bung\\\xe9\x9b\xaa \xf0\x9f\x98\x80.jpg\n");
}

TEST_F(log_test, a_message_that_is_utf8_already_is_written_as_it_stands) {
  open_log();
  logging::log(level::critical, "{}", "Details {} \xc3\xa9");
  EXPECT_EQ(machine.read_file(file), prefix + "[CRITICAL] Details {} \xc3\xa9\n");
}

TEST_F(log_test, braces_in_an_argument_are_text) {
  open_log();
  logging::log(level::info, "{}", L"{0} {}");
  EXPECT_THAT(machine.log_lines(), ElementsAre("[INFO] {0} {}"));
}

TEST_F(log_test, each_line_is_one_write_at_once) {
  open_log();
  machine.calls.clear();
  logging::log(level::info, "one");
  logging::log(level::info, "two");
  EXPECT_EQ(machine.calls.count("write"), 2);
}

TEST_F(log_test, two_processes_append_to_the_same_file) {
  logging::plain_text_logger one;
  logging::plain_text_logger two;
  one.make_log_directory_and_open(L"", L"Processor", L"Quill Box");
  two.make_log_directory_and_open(L"", L"Processor", L"Quill Box");
  one.write_line(L"one");
  two.write_line(L"two");
  one.write_line(L"three");
  EXPECT_EQ(machine.read_file(file), "one\ntwo\nthree\n");
}

TEST_F(log_test, lines_of_several_threads_stay_whole) {
  open_log();
  constexpr int lines_each = 200;
  std::vector<std::thread> threads;
  for (const wchar_t letter : {L'a', L'b', L'c', L'd'}) {
    threads.emplace_back([letter] {
      for (int i = 0; i < lines_each; ++i)
        logging::log(level::info, "{}", std::wstring(50, letter));
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  std::vector<std::string> expected;
  for (const char letter : {'a', 'b', 'c', 'd'}) {
    expected.insert(expected.end(), lines_each, "[INFO] " + std::string(50, letter));
  }
  EXPECT_THAT(machine.log_lines(), testing::UnorderedElementsAreArray(expected));
}

TEST_F(log_test, a_run_past_midnight_keeps_the_file_of_its_first_day) {
  open_log();
  machine.clock.advance(std::chrono::hours(12));
  logging::log(level::info, "late");
  EXPECT_EQ(machine.read_file(file), "[2026-11-15 00:05:17.1234567] [P:4120 T:8836] [INFO] late\n");
  EXPECT_FALSE(machine.exists(directory + LR"(\Processor 2026-11-15.log)"));
}

TEST_F(log_test, the_day_in_the_name_is_the_local_one) {
  machine.clock.set_zone(std::chrono::hours(13));
  open_log();
  EXPECT_TRUE(machine.exists(directory + LR"(\Processor 2026-11-15.log)"));
}

TEST_F(log_test, opening_twice_keeps_the_first_file) {
  open_log();
  machine.clock.advance(std::chrono::hours(24));
  open_log();
  logging::log(level::info, "x");
  EXPECT_NE(machine.read_file(file), "");
  EXPECT_FALSE(machine.exists(directory + LR"(\Processor 2026-11-15.log)"));
}

// The message of the failure that opening the log raises; empty when it raises none.
std::string opening_failure() {
  try {
    open_log();
  } catch (const files::filesystem_error& error) {
    return error.what();
  }
  return {};
}

TEST_F(log_test, a_directory_that_cannot_be_tested_raises_an_error_named_exists) {
  machine.calls.refuse("kind", directory, win32_error::access_denied);
  EXPECT_EQ(opening_failure(),
            R"(exists: Access is denied.: "C:\Users\user\AppData\Local\Larkspur Forge LLC\Tessel Works Kit)"
            R"(\Quill Box\Processor\Logs")");
}

TEST_F(log_test, a_directory_that_cannot_be_made_raises_an_error_named_create_directories) {
  machine.calls.refuse("create_directory", family, win32_error::access_denied);
  machine.make_directory(LR"(C:\Users\user\AppData\Local\Larkspur Forge LLC)");
  EXPECT_EQ(opening_failure(), R"(create_directories: Access is denied.: "C:\Users\user\AppData\Local)"
                               R"(\Larkspur Forge LLC\Tessel Works Kit")");
}

TEST_F(log_test, a_file_in_the_place_of_the_directory_raises_an_error) {
  machine.write_file(LR"(C:\Users\user\AppData\Local\Larkspur Forge LLC)", "");
  EXPECT_NE(opening_failure(), "");
}

TEST_F(log_test, a_file_that_cannot_be_opened_loses_all_lines_in_silence) {
  machine.calls.refuse("open", file, win32_error::access_denied);
  open_log();
  logging::log(level::info, "lost");
  EXPECT_FALSE(machine.exists(file));
}

TEST_F(log_test, a_folder_in_the_place_of_the_file_loses_all_lines_in_silence) {
  machine.make_directory(file);
  open_log();
  logging::log(level::info, "lost");
  EXPECT_TRUE(machine.entry(file).is_directory());
}

TEST_F(log_test, a_line_before_the_opening_is_lost) {
  logging::log(level::info, "lost");
  open_log();
  EXPECT_EQ(machine.read_file(file), "");
}

TEST_F(log_test, a_full_disk_loses_lines_in_silence_and_later_ones_arrive) {
  open_log();
  machine.disk.drive(L"C:").free_bytes = 0;
  logging::log(level::info, "lost");
  machine.disk.drive(L"C:").free_bytes.reset();
  logging::log(level::info, "kept");
  EXPECT_THAT(machine.log_lines(), ElementsAre("[INFO] kept"));
}

TEST(log_faults, whatever_fails_opening_raises_or_lines_are_lost_and_nothing_else_happens) {
  const std::array<support::fault_code, 3> codes = {win32_error::disk_full, win32_error::access_denied,
                                                    support::short_write{}};
  std::string failure;
  const auto run = [&failure](support::simulated_machine&) {
    failure = opening_failure();
    logging::log(level::info, "one");
    logging::log(level::info, "two");
  };
  support::for_each_fault(codes, {[](support::simulated_machine&) {}, run}, [&failure](const auto& round) {
    const std::string struck = round.struck.value_or("");
    EXPECT_EQ(!failure.empty(), struck.starts_with("kind") || struck.starts_with("create_directory"));
    if (!round.struck) {
      EXPECT_THAT(round.machine.log_lines(), ElementsAre("[INFO] one", "[INFO] two"));
    }
  });
}

}  // namespace
