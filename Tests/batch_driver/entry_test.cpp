#include "batch_driver/entry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "files/filesystem_error.h"
#include "platform/property_keys.h"
#include "settings/high_level_settings.h"
#include "support/job_text.h"
#include "support/simulated_machine.h"

namespace {

using quill_box::batch_processor::run;
using support::job_text;
using testing::Contains;
using testing::ElementsAre;
using strings = std::vector<std::string>;

constexpr const wchar_t* job_path = LR"(C:\Temp\job.json)";
constexpr const char* started = "[INFO] BatchProcessor started. Process Architecture: x64 (64-bit)";

class entry_test : public testing::Test {
 protected:
  entry_test() {
    high_level_settings::forget_settings_instance();
    machine.properties.handler(L".jpg");
    machine.write_file(LR"(C:\Photos\a.jpg)", "not really a photo");
    machine.write_file(LR"(C:\Program Files\Quill Box\Content\Configurations\Settings.json)", "{}");
    machine.write_file(job_path, job_text("set_rating", "4", {LR"(C:\Photos\a.jpg)"}));
  }
  ~entry_test() override { high_level_settings::forget_settings_instance(); }

  int start(std::vector<std::wstring> arguments) {
    arguments.insert(arguments.begin(), machine.processes.executable);
    return run(arguments);
  }

  bool rated() {
    return machine.properties.handler_value(LR"(C:\Photos\a.jpg)", platform::rating_key) ==
           platform::property_value(std::uint32_t{75});
  }

  support::scoped_machine machine;
};

TEST_F(entry_test, without_arguments_logs_the_missing_parameters_and_exits_with_0) {
  EXPECT_EQ(start({}), 0);
  EXPECT_EQ(machine.log_lines(), (strings{started, "[ERROR] Missing paramters..."}));
  EXPECT_EQ(machine.terminal.output(), "");
}

TEST_F(entry_test, a_job_is_run_and_its_file_deleted) {
  EXPECT_EQ(start({job_path}), 0);
  EXPECT_TRUE(rated());
  EXPECT_FALSE(machine.exists(job_path));
}

TEST_F(entry_test, only_the_worker_enters_an_apartment) {
  EXPECT_EQ(start({job_path}), 0);
  EXPECT_EQ(machine.calls.count("enter_apartment"), 1U);
  EXPECT_EQ(machine.calls.count("leave_apartment"), 1U);
}

TEST_F(entry_test, a_second_argument_that_holds_no_keeps_the_job_file) {
  for (const wchar_t* marker : {L"--no-delete", L"annotate", L"no"}) {
    EXPECT_EQ(start({job_path, marker}), 0);
    EXPECT_TRUE(machine.exists(job_path)) << testing::PrintToString(std::wstring(marker));
  }
}

TEST_F(entry_test, other_second_arguments_and_later_ones_do_not_keep_it) {
  for (const std::vector<std::wstring>& further :
       {std::vector<std::wstring>{L"NO"}, {L"n"}, {L""}, {L"yes", L"--no-delete"}}) {
    machine.write_file(job_path, job_text("set_rating", "4", {}));
    std::vector<std::wstring> arguments = {job_path};
    arguments.insert(arguments.end(), further.begin(), further.end());
    EXPECT_EQ(start(arguments), 0);
    EXPECT_FALSE(machine.exists(job_path)) << testing::PrintToString(further);
  }
}

TEST_F(entry_test, quotes_around_the_path_are_trimmed) {
  EXPECT_EQ(start({LR"("'C:\Temp\job.json'")"}), 0);
  EXPECT_TRUE(rated());
}

TEST_F(entry_test, a_path_of_quotes_only_becomes_empty_and_cannot_be_opened) {
  EXPECT_EQ(start({LR"(""'')"}), 0);
  EXPECT_THAT(machine.log_lines(), Contains("[ERROR] Error processing file  Details: Failed to open JSON file: "));
}

TEST_F(entry_test, the_add_to_index_modes_say_that_they_are_not_built) {
  for (const wchar_t* mode : {L"--add-index-scope", L"--add-index-scope-elevated"}) {
    EXPECT_EQ(start({mode, L"--subject:x", LR"(C:\Photos)"}), 1);
  }
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(started,
                          "[ERROR] Adding folders to the search index is not built into this version: "
                          "--add-index-scope",
                          started,
                          "[ERROR] Adding folders to the search index is not built into this version: "
                          "--add-index-scope-elevated"));
}

TEST_F(entry_test, a_switch_that_only_starts_like_a_mode_is_a_job_path) {
  EXPECT_EQ(start({L"--add-index-scope-other"}), 0);
  EXPECT_THAT(machine.log_lines(), Contains("[ERROR] Error processing file  Details: Failed to open JSON file: "
                                            "--add-index-scope-other"));
  EXPECT_EQ(start({L"--ADD-INDEX-SCOPE"}), 0);
}

TEST_F(entry_test, a_process_without_package_identity_gets_the_model_id_after_the_first_line) {
  EXPECT_EQ(start({}), 0);
  strings calls = machine.calls.named({"write", "package_full_name", "set_app_user_model_id"});
  ASSERT_EQ(calls.size(), 5U);
  // The log's two lines: the start, and the missing parameters.
  EXPECT_TRUE(calls.front().starts_with("write("));
  EXPECT_TRUE(calls.back().starts_with("write("));
  EXPECT_THAT(strings(calls.begin() + 1, calls.end() - 1),
              ElementsAre("package_full_name(0)", "set_app_user_model_id(LarkspurForge.TesselWorksKit)",
                          "package_full_name(0)"));
}

TEST_F(entry_test, a_process_with_package_identity_keeps_its_id_and_logs_two_errors) {
  machine.processes.package = L"Kit_1.0_x64__abc";
  EXPECT_EQ(start({}), 0);
  EXPECT_EQ(machine.calls.count("set_app_user_model_id"), 0U);
  EXPECT_EQ(machine.log_lines(),
            (strings{started, "[ERROR] CRITICAL: Process is running with PACKAGE IDENTITY: Kit_1.0_x64__abc",
                     "[ERROR] Registry writes to HKCU will be VIRTUALIZED (redirected to private hive) and NOT "
                     "visible to Explorer.",
                     "[ERROR] Missing paramters..."}));
}

TEST_F(entry_test, a_log_directory_that_cannot_be_made_leaves_as_a_filesystem_error) {
  machine.calls.refuse("create_directory", L"", platform::win32_error::access_denied);
  EXPECT_THROW(start({job_path}), files::filesystem_error);
  EXPECT_FALSE(rated());
}

TEST_F(entry_test, a_broken_job_exits_with_0_and_is_deleted) {
  machine.write_file(job_path, "{");
  EXPECT_EQ(start({job_path}), 0);
  EXPECT_FALSE(machine.exists(job_path));
  EXPECT_EQ(machine.terminal.output(), "Error processing\n\n\nJSON root must be an object\n");
}

TEST_F(entry_test, failing_items_never_reach_the_exit_code) {
  machine.properties.handler(L".jpg").open_error = platform::hresult::fail;
  machine.calls.refuse("open_property_set_storage", L"", platform::hresult::storage_access_denied);
  EXPECT_EQ(start({job_path}), 0);
}

TEST_F(entry_test, a_rating_run_seeds_the_settings_at_its_end) {
  EXPECT_EQ(start({job_path}), 0);
  const std::string settings = R"(C:\Users\user\AppData\Local\Larkspur Forge LLC\Tessel Works Kit\)"
                               R"(High Level Settings\Settings.json)";
  EXPECT_THAT(machine.log_lines(),
              Contains(R"([INFO] Copied default settings from C:\Program Files\Quill Box\Content\Configurations\)"
                       R"(Settings.json to )" +
                       settings));
}

TEST_F(entry_test, a_cancelled_run_exits_with_0_and_still_deletes_its_job) {
  machine.terminal.interrupt();
  EXPECT_EQ(start({job_path}), 0);
  EXPECT_FALSE(rated());
  EXPECT_FALSE(machine.exists(job_path));
}

TEST_F(entry_test, a_failing_index_check_is_logged_and_goes_no_further) {
  // The settings' folder can't be made; the log's folder was made before.
  machine.calls.before("leave_apartment", 1,
                       [this] { machine.calls.refuse("create_directory", L"", platform::win32_error::access_denied); });
  EXPECT_EQ(start({job_path}), 0);
  EXPECT_THAT(machine.log_lines(), Contains(testing::StartsWith("[ERROR] Exception during add-to-index prompt: "
                                                                "create_directories: ")));
}

}  // namespace
