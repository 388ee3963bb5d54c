#include "batch_driver/process_job.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "logging/log.h"
#include "platform/property_keys.h"
#include "settings/high_level_settings.h"
#include "support/job_text.h"
#include "support/jpeg_bytes.h"
#include "support/recording_callbacks.h"
#include "support/simulated_machine.h"

namespace {

using namespace quill_box::batch_processor;
using quill_box::action_types::actions;
using support::job_text;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using strings = std::vector<std::string>;

constexpr const wchar_t* job_path = LR"(C:\Temp\job.json)";

class process_job_test : public testing::Test {
 protected:
  process_job_test() {
    high_level_settings::forget_settings_instance();
    logging::logger()->make_log_directory_and_open(L"", L"Processor", L"Quill Box");
    machine.properties.handler(L".jpg");
    machine.properties.handler(L".mp3");
  }

  ~process_job_test() override { high_level_settings::forget_settings_instance(); }

  // One rated file type, so that set_rating just works.
  std::wstring make_photo(const std::wstring& name) {
    std::wstring path = LR"(C:\Photos\)" + name;
    machine.write_file(path, "not really a photo");
    return path;
  }

  std::vector<std::wstring> make_photos(int count) {
    std::vector<std::wstring> paths;
    for (int i = 1; i <= count; ++i)
      paths.push_back(make_photo(std::to_wstring(i) + L".jpg"));
    return paths;
  }

  void run(const std::string& text) {
    machine.write_file(job_path, text);
    machine.calls.clear();
    context.callbacks = &callbacks;
    context.job_path = job_path;
    process_job(context);
  }

  void run_rating(const std::vector<std::wstring>& files) { run(job_text("set_rating", "4", files)); }

  support::scoped_machine machine;
  support::recording_callbacks callbacks;
  processing_context context;
};

TEST_F(process_job_test, one_rated_photo_takes_every_step_in_order) {
  const std::wstring photo = make_photo(L"a.jpg");
  run_rating({photo});
  EXPECT_EQ(context.item_count, 1);
  EXPECT_EQ(context.error_count, 0);
  EXPECT_EQ(context.action, actions::set_rating);
  EXPECT_EQ(machine.properties.handler_value(photo, platform::rating_key), platform::property_value(std::uint32_t{75}));
  EXPECT_THAT(callbacks.said, IsEmpty());
  EXPECT_EQ(machine.calls.named({"enter_apartment", "leave_apartment", "notify", "renew_thumbnail",
                                 "set_last_write_time", "delete_file"}),
            (strings{"enter_apartment()", R"(notify(update_item, path_and_return, C:\Photos\a.jpg))",
                     R"(renew_thumbnail(C:\Photos\a.jpg, 256))", machine.calls.named({"set_last_write_time"}).at(0),
                     R"(notify(update_item, path_and_return, C:\Photos\a.jpg))",
                     R"(notify(update_directory, path_and_wait, C:\Photos))", R"(delete_file(C:\Temp\job.json))",
                     "leave_apartment()"}));
  EXPECT_EQ(context.changed_folders, (std::set<std::wstring>{LR"(C:\Photos)"}));
  EXPECT_FALSE(machine.exists(job_path));
}

struct dispatch_row {
  const char* action;
  const char* parameters;
  std::uint32_t percent;
  std::vector<std::wstring> tags;
};

TEST_F(process_job_test, each_action_does_its_own_to_the_item) {
  const dispatch_row rows[] = {
      {"set_rating", "4", 75, {L"a", L"b"}},
      {"remove_rating", "4", 0, {L"a", L"b"}},
      {"remove_tags", "c", 25, {}},
      {"toggle_tags", "+c;a", 25, {L"+c", L"b"}},
      {"update_tags", "+c;-a", 25, {L"b", L"c"}},
  };
  for (const dispatch_row& row : rows) {
    SCOPED_TRACE(row.action);
    const std::wstring photo = make_photo(L"a.jpg");
    machine.properties.set_handler_value(photo, platform::rating_key, 25U);
    machine.properties.set_handler_value(photo, platform::keywords_key, std::vector<std::wstring>{L"a", L"b"});
    run(job_text(row.action, row.parameters, {photo}));
    EXPECT_EQ(machine.properties.handler_value(photo, platform::rating_key), platform::property_value(row.percent));
    const platform::property_value tags = machine.properties.handler_value(photo, platform::keywords_key);
    // Without tags the property is gone.
    EXPECT_EQ(tags, row.tags.empty() ? platform::property_value() : platform::property_value(row.tags));
  }
}

TEST_F(process_job_test, nineteen_items_open_no_window_and_twenty_do_before_the_first_item) {
  run_rating(make_photos(19));
  EXPECT_THAT(callbacks.said, IsEmpty());
  callbacks.percents.clear();
  run_rating(make_photos(20));
  EXPECT_THAT(callbacks.said, ElementsAre(L"status Processing 20 files", L"bring_to_front"));
  EXPECT_EQ(callbacks.said_at_first_percent, 2U);
}

struct threshold_row {
  const char* action;
  int items;
  std::wstring status;
};

TEST_F(process_job_test, each_action_has_its_display_threshold) {
  const threshold_row rows[] = {
      {"auto_tag", 0, L"status Auto-tagging 0 files using local and private AI"},
      {"auto_tag", 1, L"status Auto-tagging file using local and private AI"},
      {"wipe_all_people", 0, L"status Processing 0 files"},
      {"recognize_faces", 1, L""},
      {"recognize_faces", 2, L"status Recognizing and applying people tags in 2 photos using local AI"},
      {"run_context_menu_command", 9, L""},
      {"run_context_menu_command", 10, L"status Processing 10 files"},
      {"remove_rating", 19, L""},
      {"organize_folder", 20, L"status Processing 20 files"},
  };
  for (const threshold_row& row : rows) {
    SCOPED_TRACE(row.action);
    callbacks.said.clear();
    run(job_text(row.action, "", make_photos(row.items)));
    if (row.status.empty()) {
      EXPECT_THAT(callbacks.said, testing::Not(Contains(L"bring_to_front")));
    } else {
      ASSERT_GE(callbacks.said.size(), 2U);
      EXPECT_EQ(callbacks.said[0], row.status);
      EXPECT_EQ(callbacks.said[1], L"bring_to_front");
    }
  }
}

TEST_F(process_job_test, the_status_of_recognition_follows_the_setting) {
  machine.write_file(
      LR"(C:\Users\user\AppData\Local\Larkspur Forge LLC\Tessel Works Kit\High Level Settings\Settings.json)",
      R"({"apps":[{"app_id":"orchid-lens-ai","settings":{"people_recognition.write_people_tags":false}}]})");
  ASSERT_TRUE(high_level_settings::settings_instance().load(false));
  run(job_text("recognize_faces", "", make_photos(2)));
  ASSERT_FALSE(callbacks.said.empty());
  EXPECT_EQ(callbacks.said[0], L"status Recognizing faces in 2 photos using local and private AI");
}

TEST_F(process_job_test, below_the_threshold_no_setting_is_asked_for) {
  run(job_text("recognize_faces", "", make_photos(1)));
  run_rating(make_photos(19));
  EXPECT_THAT(machine.calls.about(L"Settings"), IsEmpty());
}

TEST_F(process_job_test, the_bar_starts_at_7_and_ends_at_96) {
  run(job_text("no such action", "", make_photos(200)));
  ASSERT_EQ(callbacks.percents.size(), 200U);
  EXPECT_EQ(callbacks.percents.front(), 7);
  EXPECT_EQ(callbacks.percents[99], 50);
  EXPECT_EQ(callbacks.percents.back(), 96);
  EXPECT_EQ(*std::max_element(callbacks.percents.begin(), callbacks.percents.end()), 96);
}

TEST_F(process_job_test, a_pause_holds_the_next_item_back_and_polls_every_50_ms) {
  callbacks.paused_questions = 3;
  run_rating(make_photos(2));
  EXPECT_EQ(machine.calls.named({"sleep"}), (strings{"sleep(50 ms)", "sleep(50 ms)", "sleep(50 ms)"}));
  EXPECT_EQ(context.item_count, 2);
}

TEST_F(process_job_test, a_pause_during_an_item_lets_it_finish) {
  const auto photos = make_photos(2);
  bool first_is_rated = false;
  machine.calls.before("open_handler_store", 1, [this] { callbacks.paused_questions = 2; });
  machine.calls.before("sleep", 1, [this, &photos, &first_is_rated] {
    first_is_rated = machine.properties.handler_value(photos[0], platform::rating_key) != platform::property_value();
  });
  run_rating(photos);
  EXPECT_TRUE(first_is_rated);
  EXPECT_EQ(machine.calls.count("sleep"), 2U);
  EXPECT_EQ(context.item_count, 2);
}

TEST_F(process_job_test, a_cancel_while_paused_ends_the_run) {
  callbacks.paused_questions = 1000;
  callbacks.cancel_at_question = 3;
  run_rating(make_photos(2));
  EXPECT_EQ(machine.calls.count("sleep"), 2U);
  EXPECT_EQ(context.item_count, 0);
  EXPECT_FALSE(machine.exists(job_path));
}

TEST_F(process_job_test, a_cancel_lets_the_item_finish_and_closes_what_was_done) {
  callbacks.cancel_at_question = 2;
  const auto photos = make_photos(3);
  run_rating(photos);
  EXPECT_EQ(context.item_count, 1);
  EXPECT_EQ(machine.calls.count("set_last_write_time"), 1U);
  EXPECT_EQ(machine.properties.handler_value(photos[1], platform::rating_key), platform::property_value());
}

TEST_F(process_job_test, the_detail_line_is_for_faces_and_auto_tags_only) {
  const auto photos = make_photos(2);
  run(job_text("recognize_faces", "", photos));
  EXPECT_THAT(callbacks.said, Contains(L"detail Photo 2 of 2 - 2.jpg"));
  callbacks.said.clear();
  run(job_text("auto_tag", "", photos));
  EXPECT_THAT(callbacks.said, Contains(L"detail File 1 of 2 - 1.jpg"));
  callbacks.said.clear();
  run_rating(photos);
  EXPECT_THAT(callbacks.said, IsEmpty());
}

TEST_F(process_job_test, the_bar_moves_before_the_detail_line) {
  run(job_text("auto_tag", "", make_photos(1)));
  EXPECT_THAT(callbacks.said, ElementsAre(L"status Auto-tagging file using local and private AI", L"bring_to_front",
                                          L"detail File 1 of 1 - 1.jpg", L"unexpected action"));
  EXPECT_EQ(callbacks.said_at_first_percent, 2U);
}

TEST_F(process_job_test, an_unknown_action_prompts_for_each_item_and_counts_no_error) {
  const auto photos = make_photos(3);
  run(job_text("Set_Rating", "", photos));
  EXPECT_THAT(callbacks.said, ElementsAre(L"unexpected action", L"unexpected action", L"unexpected action"));
  EXPECT_EQ(context.item_count, 3);
  EXPECT_EQ(context.error_count, 0);
  EXPECT_EQ(context.action, actions::unknown);
  EXPECT_THAT(machine.log_lines(),
              Contains(R"([ERROR] Error processing C:\Photos\1.jpg. Unexpected action requested)"));
  // The shell hears of the items all the same, and nothing of them is refreshed.
  EXPECT_EQ(machine.calls.count("notify"), 3U);
  EXPECT_EQ(machine.calls.count("renew_thumbnail"), 0U);
}

TEST_F(process_job_test, a_command_item_need_not_exist_and_is_not_refreshed) {
  run(job_text("run_context_menu_command", "", {L"some command"}));
  EXPECT_EQ(context.item_count, 1);
  EXPECT_EQ(context.error_count, 0);
  EXPECT_EQ(machine.calls.count("notify"), 0U);
}

TEST_F(process_job_test, an_item_that_is_gone_gets_no_notification) {
  run_rating({LR"(C:\Photos\gone.jpg)"});
  EXPECT_EQ(context.item_count, 1);
  EXPECT_EQ(context.error_count, 0);
  EXPECT_EQ(machine.calls.count("notify"), 0U);
}

TEST_F(process_job_test, a_file_that_its_action_moved_away_gets_no_notification) {
  const std::wstring photo = make_photo(L"a.jpg");
  // The cloud check asks first, the test behind the action second.
  machine.calls.before("kind", 2, [this, &photo] { machine.disk.remove(*machine.disk.find(photo)); });
  run_rating({photo});
  EXPECT_EQ(context.item_count, 1);
  EXPECT_EQ(context.error_count, 0);
  EXPECT_EQ(machine.calls.count("notify"), 0U);
  EXPECT_EQ(machine.calls.count("renew_thumbnail"), 0U);
}

TEST_F(process_job_test, a_missing_item_that_was_passed_over_is_not_looked_for_again) {
  run_rating({LR"(C:\Photos\gone.xyz)"});
  EXPECT_EQ(context.error_count, 0);
  EXPECT_EQ(machine.calls.count("notify"), 0U);
  // The cloud check, the action's test for a folder, and the deletion of the job file.
  EXPECT_EQ(machine.calls.named({"kind"}),
            (strings{R"(kind(C:\Photos\gone.xyz))", R"(kind(C:\Photos\gone.xyz))", R"(kind(C:\Temp\job.json))"}));
}

TEST_F(process_job_test, the_embedded_preview_is_cut_before_the_thumbnail_is_renewed) {
  using namespace jpeg_bytes;
  const std::wstring photo = LR"(C:\Photos\a.jpg)";
  const auto with_link = [](std::uint64_t link) {
    return start_of_image + exif_segment(tiff(true, 1, link)) + image_data;
  };
  machine.write_file(photo, with_link(99));
  std::string at_renewal;
  machine.calls.before("renew_thumbnail", 1, [this, &photo, &at_renewal] { at_renewal = machine.read_file(photo); });
  run_rating({photo});
  EXPECT_EQ(at_renewal, with_link(0));
}

TEST_F(process_job_test, all_times_move_before_any_closing_notification) {
  for (const wchar_t* path : {LR"(C:\A\1.jpg)", LR"(C:\B\2.jpg)"})
    machine.write_file(path, "photo");
  run_rating({LR"(C:\A\1.jpg)", LR"(C:\B\2.jpg)"});
  const strings closing = machine.calls.named({"set_last_write_time", "notify"});
  ASSERT_EQ(closing.size(), 8U);
  EXPECT_TRUE(closing[2].starts_with("set_last_write_time(")) << closing[2];
  EXPECT_TRUE(closing[3].starts_with("set_last_write_time(")) << closing[3];
  EXPECT_THAT(strings(closing.begin() + 4, closing.end()),
              ElementsAre(R"(notify(update_item, path_and_return, C:\A\1.jpg))",
                          R"(notify(update_item, path_and_return, C:\B\2.jpg))",
                          R"(notify(update_directory, path_and_wait, C:\A))",
                          R"(notify(update_directory, path_and_wait, C:\B))"));
  EXPECT_THAT(machine.calls.named({"open"}),
              Contains(R"(open(C:\A\1.jpg, write_attributes, share read|write, open_existing))"));
  EXPECT_EQ(machine.entry(LR"(C:\A\1.jpg)").last_written, machine.clock.time());
}

TEST_F(process_job_test, folders_that_an_action_added_are_told_among_those_of_the_files) {
  const auto photos = make_photos(2);
  machine.calls.before("open_handler_store", 1, [this] {
    context.changed_folders = {LR"(C:\Albums)", LR"(D:\Scans)"};
  });
  run_rating(photos);
  const strings told = machine.calls.named({"notify"});
  ASSERT_EQ(told.size(), 7U);
  EXPECT_THAT(strings(told.begin() + 4, told.end()),
              ElementsAre(R"(notify(update_directory, path_and_wait, C:\Albums))",
                          R"(notify(update_directory, path_and_wait, C:\Photos))",
                          R"(notify(update_directory, path_and_wait, D:\Scans))"));
}

TEST_F(process_job_test, without_a_changed_file_no_folder_is_told) {
  context.changed_folders = {LR"(C:\Albums)"};
  run_rating({make_photo(L"a.xyz")});
  EXPECT_EQ(machine.calls.named({"notify"}), (strings{R"(notify(update_item, path_and_return, C:\Photos\a.xyz))"}));
  EXPECT_EQ(context.changed_folders, (std::set<std::wstring>{LR"(C:\Albums)"}));
}

TEST_F(process_job_test, a_failing_existence_test_is_an_item_failure_named_exists) {
  const std::wstring photo = make_photo(L"a.jpg");
  machine.errors.set_text(platform::win32_error::access_denied, L"Access is denied.\r\n");
  // The cloud check asks first; the second question is the existence test.
  machine.calls.before("kind", 2,
                       [this, &photo] { machine.calls.refuse("kind", photo, platform::win32_error::access_denied); });
  run_rating({photo});
  EXPECT_EQ(context.error_count, 1);
  EXPECT_THAT(callbacks.said, ElementsAre(LR"(error C:\Photos\a.jpg: exists: Access is denied.: "C:\Photos\a.jpg")"));
}

TEST_F(process_job_test, a_folder_is_notified_and_not_bumped) {
  machine.make_directory(LR"(C:\Photos\Holiday)");
  run_rating({LR"(C:\Photos\Holiday)"});
  EXPECT_EQ(context.error_count, 0);
  EXPECT_EQ(machine.calls.named({"notify", "renew_thumbnail", "set_last_write_time"}),
            (strings{R"(notify(update_item, path_and_return, C:\Photos\Holiday))"}));
  EXPECT_THAT(context.changed_folders, IsEmpty());
}

TEST_F(process_job_test, an_unsupported_type_counts_as_processed_and_only_its_thumbnail_is_renewed) {
  const std::wstring file = make_photo(L"a.xyz");
  run_rating({file});
  EXPECT_EQ(context.item_count, 1);
  EXPECT_EQ(context.error_count, 0);
  EXPECT_THAT(machine.log_lines(),
              Contains(R"([INFO] Set Rating: Skipping file C:\Photos\a.xyz. Unsupported filetype .xyz)"));
  EXPECT_EQ(machine.calls.named({"notify", "renew_thumbnail", "set_last_write_time"}),
            (strings{R"(notify(update_item, path_and_return, C:\Photos\a.xyz))",
                     R"(renew_thumbnail(C:\Photos\a.xyz, 256))"}));
}

struct refresh_row {
  const char* action;
  const char* parameters;
  bool song;  // an MP3 can be rated and not tagged
};

TEST_F(process_job_test, each_action_refreshes_what_it_can_change) {
  constexpr refresh_row rows[] = {{"set_rating", "4", true},
                                  {"remove_rating", "", true},
                                  {"remove_tags", "", false},
                                  {"toggle_tags", "Beach", false},
                                  {"update_tags", "+Beach", false}};
  const std::wstring photo = make_photo(L"a.JPG");
  const std::wstring song = make_photo(L"a.Mp3");
  for (const refresh_row& row : rows) {
    SCOPED_TRACE(row.action);
    run(job_text(row.action, row.parameters, {photo, song}));
    EXPECT_EQ(machine.calls.count("set_last_write_time"), row.song ? 2U : 1U);
    EXPECT_EQ(machine.calls.count("renew_thumbnail"), 2U);
    EXPECT_THAT(callbacks.said, IsEmpty());
  }
}

TEST_F(process_job_test, a_failing_thumbnail_leaves_the_item_processed) {
  const std::wstring photo = make_photo(L"a.jpg");
  machine.calls.refuse("renew_thumbnail", photo, platform::hresult::fail);
  run_rating({photo});
  EXPECT_EQ(context.error_count, 0);
  EXPECT_EQ(machine.calls.count("set_last_write_time"), 1U);
}

TEST_F(process_job_test, a_file_that_cannot_be_opened_for_its_time_is_skipped_in_silence) {
  const auto photos = make_photos(2);
  machine.calls.before("renew_thumbnail", 2, [this, &photos] {
    machine.calls.refuse("open", photos[0], platform::win32_error::sharing_violation);
  });
  run_rating(photos);
  EXPECT_EQ(machine.calls.count("set_last_write_time"), 1U);
  EXPECT_EQ(context.error_count, 0);
  EXPECT_EQ(machine.calls.named({"notify"}).size(), 5U);
}

TEST_F(process_job_test, a_failed_item_is_logged_then_shown_and_the_run_goes_on) {
  const auto photos = make_photos(2);
  machine.properties.handler(L".jpg").open_error = platform::hresult::fail;
  machine.calls.refuse("open_property_set_storage", photos[0], platform::hresult::storage_access_denied);
  strings log_at_prompt;
  callbacks.on_prompt = [this, &log_at_prompt] { log_at_prompt = machine.log_lines(); };
  run_rating(photos);
  EXPECT_EQ(context.item_count, 2);
  EXPECT_EQ(context.error_count, 1);
  ASSERT_EQ(callbacks.said.size(), 1U);
  EXPECT_TRUE(callbacks.said[0].starts_with(LR"(error C:\Photos\1.jpg: Failed to write new metadata.)"));
  ASSERT_FALSE(log_at_prompt.empty());
  EXPECT_TRUE(log_at_prompt.back().starts_with(
      R"([ERROR] Error processing C:\Photos\1.jpg Details: Failed to write new metadata.)"));
}

TEST_F(process_job_test, every_failure_is_logged_before_its_prompt) {
  std::string last_line;
  callbacks.on_prompt = [this, &last_line] { last_line = machine.log_lines().back(); };
  const auto photos = make_photos(1);
  run(job_text("no such action", "", photos));
  EXPECT_EQ(last_line, R"([ERROR] Error processing C:\Photos\1.jpg. Unexpected action requested)");
  machine.calls.before("open_handler_store", 1, [] { throw autotagger_exception("no service"); });
  run_rating(photos);
  EXPECT_EQ(last_line, R"([ERROR] Error processing file C:\Photos\1.jpg Details: no service)");
}

TEST_F(process_job_test, a_failure_outside_an_item_is_logged_before_its_prompt) {
  std::string last_line;
  callbacks.on_prompt = [this, &last_line] { last_line = machine.log_lines().back(); };
  run("{");
  EXPECT_EQ(last_line, "[ERROR] Error processing file  Details: JSON root must be an object");
  machine.calls.before("open_handler_store", 1, [] { throw 42; });  // NOLINT(hicpp-exception-baseclass)
  run_rating(make_photos(1));
  EXPECT_EQ(last_line, R"([ERROR] Error processing file C:\Photos\1.jpg)");
}

TEST_F(process_job_test, ticking_all_current_items_hides_only_the_identical_message) {
  const auto photos = make_photos(4);
  machine.properties.handler(L".jpg").open_error = platform::hresult::fail;
  for (std::size_t i = 0; i < 3; ++i) {
    machine.calls.refuse("open_property_set_storage", photos[i], platform::hresult::storage_access_denied);
  }
  machine.properties.handler(L".mp3").open_error = platform::hresult::storage_sharing_violation;
  const std::wstring song = make_photo(L"b.mp3");
  machine.calls.refuse("open_property_set_storage", song, platform::hresult::storage_access_denied);
  callbacks.tick_all_current_items = true;
  run_rating({photos[0], photos[1], song, photos[2]});
  EXPECT_EQ(context.error_count, 4);
  ASSERT_EQ(callbacks.said.size(), 2U);
  EXPECT_TRUE(callbacks.said[0].starts_with(LR"(error C:\Photos\1.jpg)"));
  EXPECT_TRUE(callbacks.said[1].starts_with(LR"(error C:\Photos\b.mp3)"));
  ASSERT_EQ(context.suppressed_errors.size(), 2U);
  for (const auto& [message, is_suppressed] : context.suppressed_errors)
    EXPECT_TRUE(is_suppressed) << message;
  const strings log = machine.log_lines();
  EXPECT_EQ(std::count_if(log.begin(), log.end(),
                          [](const std::string& line) {
                            return line.starts_with(R"([INFO] Suppressed the error processing file C:\Photos\)");
                          }),
            2);
}

TEST_F(process_job_test, an_untouched_tick_box_shows_every_failure) {
  const auto photos = make_photos(3);
  machine.properties.handler(L".jpg").open_error = platform::hresult::fail;
  machine.calls.refuse("open_property_set_storage", L"", platform::hresult::storage_access_denied);
  run_rating(photos);
  EXPECT_EQ(callbacks.said.size(), 3U);
  EXPECT_THAT(context.suppressed_errors, IsEmpty());
}

TEST_F(process_job_test, a_cloud_placeholder_is_fetched_for_every_action_even_one_that_skips_its_type) {
  const std::wstring file = make_photo(L"a.xyz");
  machine.entry(file).attributes |= platform::attribute::recall_on_data_access;
  run_rating({file});
  EXPECT_EQ(machine.calls.count("download"), 1U);
  EXPECT_EQ(machine.calls.named({"open"}).at(1), R"(open(C:\Photos\a.xyz, read, share read, open_existing))");
}

TEST_F(process_job_test, a_cloud_file_that_cannot_be_fetched_is_a_failure) {
  for (const std::uint32_t bit : {platform::attribute::offline, platform::attribute::recall_on_open,
                                  platform::attribute::recall_on_data_access}) {
    callbacks.said.clear();
    const std::wstring photo = make_photo(L"a.jpg");
    machine.entry(photo).attributes |= bit;
    machine.calls.refuse("open", photo, platform::win32_error::access_denied, 1);
    run_rating({photo});
    EXPECT_EQ(context.error_count, 1);
    EXPECT_THAT(callbacks.said, ElementsAre(LR"(error C:\Photos\a.jpg: Failed to download the file.)"));
    const strings log = machine.log_lines();
    ASSERT_GE(log.size(), 2U);
    EXPECT_EQ(log[log.size() - 2], R"([ERROR] File C:\Photos\a.jpg is an offline cloud file but hydration failed.)");
    EXPECT_EQ(log.back(), R"([ERROR] Error processing C:\Photos\a.jpg Details: Failed to download the file.)");
    EXPECT_EQ(machine.calls.count("open_handler_store"), 0U);
  }
}

TEST_F(process_job_test, an_empty_or_unreadable_cloud_file_counts_as_not_fetched) {
  machine.write_file(LR"(C:\Photos\empty.jpg)", "").attributes |= platform::attribute::offline;
  run_rating({LR"(C:\Photos\empty.jpg)"});
  EXPECT_EQ(context.error_count, 1);

  const std::wstring photo = make_photo(L"a.jpg");
  machine.entry(photo).attributes |= platform::attribute::offline;
  machine.calls.refuse("read", photo, platform::win32_error::read_fault);
  run_rating({photo});
  EXPECT_EQ(context.error_count, 1);
}

TEST_F(process_job_test, a_placeholder_folder_is_not_read) {
  machine.make_directory(LR"(C:\Photos\Cloud)").attributes |= platform::attribute::recall_on_data_access;
  run_rating({LR"(C:\Photos\Cloud)"});
  EXPECT_EQ(machine.calls.count("download"), 0U);
  EXPECT_EQ(context.error_count, 0);
}

TEST_F(process_job_test, a_job_that_does_not_load_is_deleted_before_the_prompt_and_leaves_minus_one) {
  bool job_gone_at_prompt = false;
  callbacks.on_prompt = [this, &job_gone_at_prompt] { job_gone_at_prompt = !machine.exists(job_path); };
  run("{");
  EXPECT_TRUE(job_gone_at_prompt);
  EXPECT_EQ(context.item_count, -1);
  EXPECT_EQ(context.error_count, 0);
  EXPECT_EQ(context.action, actions::unknown);
  EXPECT_THAT(callbacks.said, ElementsAre(L"error : JSON root must be an object"));
  EXPECT_THAT(machine.log_lines(), Contains("[ERROR] Error processing file  Details: JSON root must be an object"));
}

TEST_F(process_job_test, a_kept_job_file_stays_also_after_a_failed_load) {
  context.delete_job_file = false;
  run("{");
  EXPECT_TRUE(machine.exists(job_path));
}

TEST_F(process_job_test, a_failure_outside_an_item_ends_the_run) {
  const auto photos = make_photos(20);
  // The settings are first asked for when the window opens; their folder can't be made.
  machine.calls.refuse("create_directory", L"", platform::win32_error::access_denied);
  machine.errors.set_text(platform::win32_error::access_denied, L"Access is denied.\r\n");
  run_rating(photos);
  EXPECT_EQ(context.item_count, -1);
  EXPECT_EQ(context.error_count, 0);
  ASSERT_EQ(callbacks.said.size(), 1U);
  EXPECT_TRUE(callbacks.said[0].starts_with(L"error : create_directories: Access is denied."));
  EXPECT_FALSE(machine.exists(job_path));
  EXPECT_EQ(machine.calls.count("notify"), 0U);
}

TEST_F(process_job_test, something_that_is_no_exception_is_reported_as_unknown) {
  const auto photos = make_photos(3);
  machine.calls.before("open_handler_store", 2, [] { throw 42; });  // NOLINT(hicpp-exception-baseclass)
  run_rating(photos);
  EXPECT_THAT(callbacks.said, ElementsAre(LR"(error C:\Photos\2.jpg: Unknown error)"));
  EXPECT_THAT(machine.log_lines(), Contains(R"([ERROR] Error processing file C:\Photos\2.jpg)"));
  EXPECT_EQ(context.item_count, 1);
  EXPECT_EQ(context.error_count, 0);
  // The first photo, rated, gets no closing steps.
  EXPECT_EQ(machine.calls.count("set_last_write_time"), 0U);
  EXPECT_THAT(context.changed_folders, IsEmpty());
}

TEST_F(process_job_test, a_missing_ai_component_stops_the_run_at_its_first_item) {
  const auto photos = make_photos(3);
  machine.calls.before("open_handler_store", 1, [] { throw autotagger_exception("no service"); });
  run_rating(photos);
  EXPECT_THAT(callbacks.said, ElementsAre(L"components missing"));
  EXPECT_EQ(context.item_count, 1);
  EXPECT_EQ(context.error_count, 1);
  EXPECT_THAT(machine.log_lines(), Contains(R"([ERROR] Error processing file C:\Photos\1.jpg Details: no service)"));
}

TEST_F(process_job_test, a_job_without_items_ends_at_once) {
  run_rating({});
  EXPECT_EQ(context.item_count, 0);
  EXPECT_THAT(callbacks.said, IsEmpty());
  EXPECT_FALSE(machine.exists(job_path));
}

TEST_F(process_job_test, ten_thousand_failing_items_are_all_taken_up) {
  std::vector<std::wstring> photos(10000, make_photo(L"a.jpg"));
  machine.properties.handler(L".jpg").open_error = platform::hresult::fail;
  machine.calls.refuse("open_property_set_storage", L"", platform::hresult::storage_access_denied);
  run_rating(photos);
  EXPECT_EQ(context.item_count, 10000);
  EXPECT_EQ(context.error_count, 10000);
}

}  // namespace
