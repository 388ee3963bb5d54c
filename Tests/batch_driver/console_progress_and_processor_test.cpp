#include "batch_driver/console_progress_and_processor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "logging/log.h"
#include "settings/high_level_settings.h"
#include "support/job_text.h"
#include "support/simulated_machine.h"

namespace {

using namespace quill_box::batch_processor;
using quill_box::action_types::actions;
using support::job_text;
using testing::HasSubstr;
using testing::Not;

constexpr const wchar_t* job_path = LR"(C:\Temp\job.json)";

class console_test : public testing::Test {
 protected:
  console_test() {
    high_level_settings::forget_settings_instance();
    logging::logger()->make_log_directory_and_open(L"", L"Processor", L"Quill Box");
    machine.properties.handler(L".jpg");
  }
  ~console_test() override { high_level_settings::forget_settings_instance(); }

  run_results run(const std::string& job) {
    machine.write_file(job_path, job);
    console_progress_and_processor console;
    console.job_path = job_path;
    console.create();
    console.message_loop();
    return console.results();
  }

  // Photos whose rating fails with the same message.
  std::vector<std::wstring> failing_photos(int count) {
    std::vector<std::wstring> paths;
    for (int i = 0; i < count; ++i) {
      paths.push_back(LR"(C:\Photos\)" + std::to_wstring(i) + L".jpg");
      machine.write_file(paths.back(), "photo");
    }
    machine.properties.handler(L".jpg").open_error = platform::hresult::fail;
    machine.calls.refuse("open_property_set_storage", L"", platform::hresult::storage_access_denied);
    return paths;
  }

  std::size_t prompts() const {
    std::size_t count = 0;
    const std::string output = machine.terminal.output();
    for (std::size_t at = output.find("Error processing"); at != std::string::npos;
         at = output.find("Error processing", at + 1)) {
      ++count;
    }
    return count;
  }

  support::scoped_machine machine;
};

TEST_F(console_test, publishes_what_the_worker_counted) {
  const run_results results = run(job_text("set_rating", "4", failing_photos(3)));
  EXPECT_EQ(results.processed_count, 3);
  EXPECT_EQ(results.error_count, 3);
  EXPECT_EQ(results.action, actions::set_rating);
  EXPECT_TRUE(results.changed_folders.empty());
}

TEST_F(console_test, publishes_the_changed_folders_in_their_order) {
  for (const wchar_t* path : {LR"(C:\B\1.jpg)", LR"(C:\A\1.jpg)", LR"(C:\B\2.jpg)"})
    machine.write_file(path, "photo");
  const run_results results = run(job_text("set_rating", "4", {LR"(C:\B\1.jpg)", LR"(C:\A\1.jpg)", LR"(C:\B\2.jpg)"}));
  EXPECT_EQ(results.changed_folders, (std::vector<std::wstring>{LR"(C:\A)", LR"(C:\B)"}));
}

TEST_F(console_test, without_a_terminal_a_failure_goes_to_standard_error_and_is_never_answered_for_all) {
  run(job_text("set_rating", "4", failing_photos(2)));
  EXPECT_THAT(machine.terminal.output(),
              testing::StartsWith("Error processing\nC:\\Photos\xE2\x80\x8B\\0.jpg\n\n"
                                  "Failed to write new metadata. Error provided by Windows: "));
  EXPECT_EQ(prompts(), 2U);
  EXPECT_THAT(machine.terminal.output(), Not(HasSubstr("[o]")));
}

TEST_F(console_test, without_a_terminal_no_progress_is_drawn) {
  std::vector<std::wstring> photos(25, LR"(C:\Photos\a.jpg)");
  machine.write_file(photos[0], "photo");
  run(job_text("set_rating", "4", photos));
  EXPECT_EQ(machine.terminal.output(), "");
}

TEST_F(console_test, on_a_terminal_a_failure_waits_for_its_letter) {
  machine.terminal.set_interactive(true);
  machine.terminal.answer("[o] OK", L"xo");
  machine.terminal.answer("[o] OK", L"O");
  run(job_text("set_rating", "4", failing_photos(2)));
  EXPECT_EQ(prompts(), 2U);
  EXPECT_THAT(machine.terminal.output(), HasSubstr("[o] OK"));
  EXPECT_THAT(machine.terminal.output(), HasSubstr("[a] Do this for all current items"));
}

TEST_F(console_test, the_answer_for_all_hides_the_same_failure) {
  machine.terminal.set_interactive(true);
  machine.terminal.answer("[o] OK", L"a");
  const run_results results = run(job_text("set_rating", "4", failing_photos(5)));
  EXPECT_EQ(prompts(), 1U);
  EXPECT_EQ(results.error_count, 5);
}

TEST_F(console_test, enter_gives_the_safe_answer) {
  machine.terminal.set_interactive(true);
  machine.terminal.answer("[o] OK", L"\n");
  machine.terminal.answer("[o] OK", L"\r");
  const run_results results = run(job_text("set_rating", "4", failing_photos(2)));
  EXPECT_EQ(prompts(), 2U);
  EXPECT_EQ(results.error_count, 2);
}

TEST_F(console_test, ctrl_c_in_a_prompt_takes_the_safe_answer_and_ends_the_run) {
  machine.terminal.set_interactive(true);
  machine.calls.before("write_terminal", 3, [this] { machine.terminal.interrupt(); });
  const auto photos = failing_photos(3);
  machine.write_file(job_path, job_text("set_rating", "4", photos));
  {
    console_progress_and_processor console;
    console.job_path = job_path;
    console.create();
    console.message_loop();
  }
  EXPECT_EQ(prompts(), 1U);
  EXPECT_FALSE(machine.exists(job_path));
}

// Without a worker: what it would say is said here, and the loop ends by Ctrl-C.
TEST_F(console_test, a_visible_run_draws_its_line_pauses_and_takes_the_line_away) {
  machine.terminal.set_interactive(true);
  machine.terminal.set_columns(120);
  console_progress_and_processor console;
  console.set_status_text(L"Processing 25 files");
  console.set_detail_text(L"File 1 of 25 - a.jpg");
  console.set_progress(7);
  console.bring_to_front();
  machine.terminal.press(L"p");
  machine.calls.before("read_key", 3, [this] { machine.terminal.interrupt(); });
  console.message_loop();
  EXPECT_TRUE(console.is_paused());
  EXPECT_EQ(
      machine.terminal.output(),
      "\r[=                       ]   7%  Processing 25 files  File 1 of 25 - a.jpg\x1b[K"
      "\r[=                       ]   7%  paused, press p to go on  Processing 25 files  File 1 of 25 - a.jpg\x1b[K"
      "\r\x1b[K");
}

TEST_F(console_test, a_cancelled_run_has_no_results_until_its_worker_ends) {
  machine.terminal.interrupt();
  console_progress_and_processor console;
  console.message_loop();
  EXPECT_EQ(console.results().action, actions::unknown);
  EXPECT_EQ(console.results().processed_count, 0);
}

TEST_F(console_test, p_pressed_again_goes_on) {
  machine.terminal.set_interactive(true);
  console_progress_and_processor console;
  console.bring_to_front();
  machine.terminal.press(L"pP");
  machine.calls.before("read_key", 3, [this] { machine.terminal.interrupt(); });
  console.message_loop();
  EXPECT_FALSE(console.is_paused());
}

TEST(console_texts, raises_the_unsupported_type_with_the_list_or_the_settings) {
  console_progress_and_processor console;
  try {
    console.raise_unsupported_autotag_type(L"a", L"b", L".jpg, .png");
  } catch (const std::runtime_error& failure) {
    EXPECT_STREQ(
        failure.what(),
        "The file type is currently not supported for auto-tagging.\n\nCurrently supported file types include: "
        ".jpg, .png");
  }
  try {
    console.raise_unsupported_autotag_type(L"a", L"b", L"");
  } catch (const std::runtime_error& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("include: (see Orchid Lens AI settings)"));
  }
}

TEST_F(console_test, a_question_about_a_folder_is_never_yes_without_a_terminal) {
  console_progress_and_processor console;
  EXPECT_FALSE(console.confirm_create_folder(LR"(C:\New)"));
  EXPECT_EQ(machine.terminal.output(), "The folder\nC:\\New\ndoesn't exist yet. Create it now?\n");
}

TEST_F(console_test, missing_components_stop_the_run_first) {
  console_progress_and_processor console;
  EXPECT_FALSE(console.is_cancelled());
  console.report_autotag_components_missing();
  EXPECT_TRUE(console.is_cancelled());
  EXPECT_THAT(machine.terminal.output(), HasSubstr("on your machine.   Let's jump to Orchid Lens AI"));
}

TEST_F(console_test, the_unexpected_action_has_its_words) {
  console_progress_and_processor console;
  console.report_unexpected_action();
  EXPECT_EQ(machine.terminal.output(), "Unexpected action requested.\n");
}

}  // namespace
