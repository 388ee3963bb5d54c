#include "batch_driver/console_progress_and_processor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "batch_driver/processing_context.h"
#include "logging/log.h"
#include "settings/high_level_settings.h"
#include "support/job_text.h"
#include "support/simulated_machine.h"
#include "text/conversions.h"

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

  // True once the text was written, which the thread that asks holds up.
  bool wait_for_output(const std::string& text) const {
    for (int i = 0; i < 1000; ++i) {
      if (machine.terminal.output().find(text) != std::string::npos) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }

  // Asks on a worker of its own, with the loop at hand until it is done.
  void ask(const std::function<void(console_progress_and_processor&)>& questions) {
    console_progress_and_processor console;
    std::thread worker([this, &console, &questions] {
      questions(console);
      machine.terminal.interrupt();
    });
    console.message_loop();
    worker.join();
  }

  // Ctrl-C comes while the worker is at the first of two items, which goes on only after the look at the ended loop.
  void cancel_within_an_item(const std::function<void(console_progress_and_processor&)>& look) {
    machine.write_file(LR"(C:\Photos\a.jpg)", "photo");
    machine.write_file(job_path, job_text("set_rating", "4", {LR"(C:\Photos\a.jpg)", LR"(C:\Photos\b.jpg)"}));
    std::promise<void> looked;
    machine.calls.before("notify", 1, [this, &looked] {
      machine.terminal.interrupt();
      looked.get_future().wait();
    });
    console_progress_and_processor console;
    console.job_path = job_path;
    console.create();
    console.message_loop();
    look(console);
    looked.set_value();
    for (int i = 0; i < 1000 && console.results().action == actions::unknown; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(console.results().action, actions::set_rating);
    EXPECT_EQ(console.results().processed_count, 1);
  }

  static std::string blank_line(std::size_t columns) { return "\r" + std::string(columns - 1, ' ') + "\r"; }

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
  machine.terminal.answer("[o] OK", L"\x03");
  const auto photos = failing_photos(3);
  machine.write_file(job_path, job_text("set_rating", "4", photos));
  {
    console_progress_and_processor console;
    console.job_path = job_path;
    console.create();
    console.message_loop();
  }
  EXPECT_EQ(prompts(), 1U);
  EXPECT_THAT(machine.terminal.output(), HasSubstr("[a] Do this for all current items? o\n"));
  EXPECT_FALSE(machine.exists(job_path));
}

TEST_F(console_test, keys_typed_ahead_answer_no_prompt) {
  machine.terminal.set_interactive(true);
  // Typed before any prompt stands there; it would silence the second failure.
  machine.calls.before("open_property_set_storage", 1, [this] { machine.terminal.press(L"a"); });
  machine.terminal.answer("[o] OK", L"o");
  machine.terminal.answer("[o] OK", L"o");
  run(job_text("set_rating", "4", failing_photos(2)));
  EXPECT_EQ(prompts(), 2U);
}

TEST_F(console_test, a_terminal_taken_away_in_a_prompt_gives_the_safe_answer) {
  machine.terminal.set_interactive(true);
  machine.terminal.answer("[o] OK", L"x");
  machine.calls.before("discard_keys", 1, [this] {
    machine.calls.before("read_key", 2, [this] { machine.terminal.set_interactive(false); });
  });
  const run_results results = run(job_text("set_rating", "4", failing_photos(2)));
  EXPECT_EQ(prompts(), 2U);
  EXPECT_EQ(results.error_count, 2);
}

TEST_F(console_test, a_prompt_in_a_small_job_leaves_the_line_visible) {
  machine.terminal.set_interactive(true);
  machine.terminal.answer("[o] OK", L"o");
  machine.terminal.answer("[o] OK", L"o");
  bool line_was_drawn = false;
  machine.calls.before("discard_keys", 1, [this, &line_was_drawn] {
    // The second item is held until the line is there.
    machine.calls.before("open_handler_store", 1,
                         [this, &line_was_drawn] { line_was_drawn = wait_for_output("? o\n\r["); });
  });
  run(job_text("set_rating", "4", failing_photos(2)));
  EXPECT_TRUE(line_was_drawn) << machine.terminal.output();
}

TEST_F(console_test, no_line_is_drawn_over_a_prompt) {
  machine.terminal.set_interactive(true);
  machine.terminal.answer("[o] OK", L"zzzzzzzzo");
  std::vector<std::wstring> photos(25, failing_photos(1)[0]);
  machine.terminal.answer("[o] OK", L"a");
  run(job_text("set_rating", "4", photos));
  // Each prompt starts in the first column of a line of its own and goes on undisturbed to its answer.
  const std::string output = machine.terminal.output();
  std::size_t prompts_seen = 0;
  for (std::size_t at = output.find("Error processing"); at != std::string::npos;
       at = output.find("Error processing", at + 1), ++prompts_seen) {
    EXPECT_TRUE(at == 0 || output[at - 1] == '\r' || output[at - 1] == '\n');
    const std::size_t end = output.find("? ", at);
    EXPECT_EQ(output.substr(at, end - at).find('\r'), std::string::npos);
    EXPECT_EQ(output.substr(end + 3, 1), "\n");
  }
  EXPECT_EQ(prompts_seen, 2U);
}

TEST_F(console_test, progress_is_drawn_where_nobody_can_be_asked) {
  machine.terminal.set_drawable(true);
  machine.terminal.set_columns(120);
  const auto photos = failing_photos(1);
  // Held until the line is there.
  machine.calls.before("open_handler_store", 1, [this] { EXPECT_TRUE(wait_for_output("Processing 25 files")); });
  run(job_text("set_rating", "4", std::vector<std::wstring>(25, photos[0])));
  EXPECT_THAT(machine.terminal.output(), Not(HasSubstr("p pauses"))) << "nobody reads keys";
  EXPECT_THAT(machine.terminal.output(), Not(HasSubstr("[o]")));
}

// Without a worker: what it would say is said here, and the loop ends by Ctrl-C.
TEST_F(console_test, a_visible_run_draws_its_line_pauses_and_takes_the_line_away) {
  machine.terminal.set_interactive(true);
  machine.terminal.set_columns(110);
  console_progress_and_processor console;
  console.set_status_text(L"Processing 25 files");
  console.set_detail_text(L"File 1 of 25 - a.jpg");
  console.set_progress(7);
  console.bring_to_front();
  machine.terminal.press(L"pp\x03");
  console.message_loop();
  EXPECT_FALSE(console.is_paused());
  const std::string running =
      "\r[=                       ]   7%  Processing 25 files  File 1 of 25 - a.jpg  p pauses, Ctrl-C cancels";
  const std::string paused =
      "\r[=                       ]   7%  paused, press p to go on  Processing 25 files  File 1 of 25 - a.jpg";
  EXPECT_EQ(machine.terminal.output(), running + paused + running + blank_line(110));
}

TEST_F(console_test, a_shorter_line_covers_a_longer_one_with_blanks) {
  machine.terminal.set_interactive(true);
  machine.terminal.set_columns(60);
  console_progress_and_processor console;
  console.set_detail_text(L"\u4e2d\u6587.jpg and more of it");
  console.bring_to_front();
  machine.calls.before("read_key", 1, [&console] { console.set_detail_text(L"b.jpg"); });
  machine.calls.before("read_key", 2, [this] { machine.terminal.interrupt(); });
  console.message_loop();
  EXPECT_EQ(machine.terminal.output(),
            "\r[                        ]   0%  \xe4\xb8\xad\xe6\x96\x87.jpg and more of it"
            "\r[                        ]   0%  b.jpg" +
                std::string(18, ' ') + blank_line(60));
}

TEST_F(console_test, a_line_that_another_program_has_written_over_is_left_alone) {
  machine.terminal.set_interactive(true);
  console_progress_and_processor console;
  console.bring_to_front();
  machine.calls.before("read_key", 1, [this] { machine.terminal.set_drawable(false); });
  machine.calls.before("read_key", 2, [this] { machine.terminal.interrupt(); });
  console.message_loop();
  EXPECT_EQ(machine.terminal.output(), "\r[                        ]   0%  p pauses, Ctrl-C cancels");
}

TEST_F(console_test, a_cancelled_run_has_no_results_until_its_worker_ends) {
  cancel_within_an_item([](console_progress_and_processor& console) {
    EXPECT_EQ(console.results().action, actions::unknown);
    EXPECT_EQ(console.results().processed_count, 0);
  });
}

TEST_F(console_test, a_cancel_on_a_terminal_says_what_it_waits_for) {
  machine.terminal.set_interactive(true);
  cancel_within_an_item([this](console_progress_and_processor& /*console*/) {
    EXPECT_EQ(machine.terminal.output(), "Cancelling after this item; Ctrl-C again ends at once.\n");
  });
}

TEST_F(console_test, a_cancel_without_a_terminal_says_nothing) {
  cancel_within_an_item(
      [this](console_progress_and_processor& /*console*/) { EXPECT_EQ(machine.terminal.output(), ""); });
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

TEST_F(console_test, create_folder_is_yes_for_f_and_no_for_c) {
  machine.terminal.set_interactive(true);
  machine.terminal.answer("[f]", L"f");
  machine.terminal.answer("[f]", L"c");
  ask([](console_progress_and_processor& console) {
    EXPECT_TRUE(console.confirm_create_folder(LR"(C:\New)"));
    EXPECT_FALSE(console.confirm_create_folder(LR"(C:\New)"));
  });
  EXPECT_THAT(machine.terminal.output(), HasSubstr("  [f] Create Folder  [c] Cancel? f\n"));
  EXPECT_THAT(machine.terminal.output(), HasSubstr("  [f] Create Folder  [c] Cancel? c\n"));
}

TEST_F(console_test, the_unexpected_action_waits_for_its_letter) {
  machine.terminal.set_interactive(true);
  machine.terminal.answer("Unexpected action requested.", L"o");  // too early
  machine.terminal.answer("[o] OK? ", L"xo");
  machine.terminal.answer("[o] OK? ", L"o");
  const run_results results = run(job_text("no_such_action", "", {L"a", L"b"}));
  EXPECT_EQ(results.processed_count, 2);
  EXPECT_EQ(results.error_count, 0);
  EXPECT_THAT(machine.terminal.output(), HasSubstr("Unexpected action requested.\n  [o] OK? o\n"));
}

TEST_F(console_test, missing_components_wait_for_their_answer_and_publish_the_counts) {
  for (const wchar_t* answer : {L"o", L"c"}) {
    machine.terminal.set_interactive(true);
    const auto photos = failing_photos(3);
    machine.calls.before("open_handler_store", 1, [] { throw autotagger_exception("not installed"); });
    machine.terminal.answer("[o] OK  [c] Cancel? ", answer);
    const run_results results = run(job_text("set_rating", "4", photos));
    EXPECT_EQ(results.action, actions::set_rating);
    EXPECT_EQ(results.processed_count, 1) << "the run stops at once";
    EXPECT_EQ(results.error_count, 1);
    EXPECT_THAT(machine.terminal.output(),
                HasSubstr("get things setup.\n  [o] OK  [c] Cancel? " + text::utf8_from_wide(answer) + "\n"));
    EXPECT_THAT(machine.terminal.output(), Not(HasSubstr("Cancelling")));
  }
}

TEST_F(console_test, control_characters_of_a_name_do_not_reach_a_prompt) {
  console_progress_and_processor console;
  console.report_error(L"C:\\a\x1b[2J\nError\u202e.jpg", L"Bad\x1b]0;x\x07\r\nname\x9b");
  console.confirm_create_folder(L"C:\\N\new\r\x7f");
  EXPECT_EQ(machine.terminal.output(),
            "Error processing\nC:\\\xE2\x80\x8B\\a\ufffd[2J\ufffdError\ufffd.jpg\n\n"
            "Bad\ufffd]0;x\ufffd\nname\ufffd\n"
            "The folder\nC:\\N\ufffdew\ufffd\ufffd\ndoesn't exist yet. Create it now?\n");
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
