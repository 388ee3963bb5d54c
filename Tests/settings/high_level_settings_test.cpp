#include "settings/high_level_settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <variant>

#include "files/filesystem_error.h"
#include "logging/log.h"
#include "shipped_settings.h"
#include "support/allocation_faults.h"
#include "support/failure_of.h"
#include "support/fault_sweep.h"
#include "support/simulated_machine.h"

namespace {

using high_level_settings::settings_file;
using platform::win32_error;
using support::failure_of;
using testing::ElementsAre;
using testing::IsEmpty;
using wide_strings = std::vector<std::wstring>;

const std::wstring folder = LR"(C:\Users\user\AppData\Local\Larkspur Forge LLC\Tessel Works Kit\High Level Settings)";
const std::wstring user_file = folder + LR"(\Settings.json)";
const std::wstring default_file = LR"(C:\Program Files\Quill Box\Content\Configurations\Settings.json)";
const std::string from_to =
    R"( from C:\Program Files\Quill Box\Content\Configurations\Settings.json to )"
    R"(C:\Users\user\AppData\Local\Larkspur Forge LLC\Tessel Works Kit\High Level Settings\Settings.json)";

std::string section(const std::string& app_id, const std::string& settings) {
  return R"({"app_id":")" + app_id + R"(","settings":)" + settings + "}";
}

std::string document(const std::string& sections) { return R"({"version":"1","apps":[)" + sections + "]}"; }

std::string quill_box(const std::string& settings) { return document(section("quill-box", settings)); }

std::string orchid_lens_ai(const std::string& settings) { return document(section("orchid-lens-ai", settings)); }

class settings_test : public testing::Test {
 protected:
  settings_test() { logging::logger()->make_log_directory_and_open(L"", L"Processor", L"Quill Box"); }

  // Each change of the file moves its time, as a real clock would.
  void write(const std::string& json) {
    machine.clock.advance(std::chrono::seconds(1));
    machine.write_file(user_file, json);
  }

  support::scoped_machine machine;
};

// Finding, seeding and reloading.

TEST_F(settings_test, the_folder_is_made_with_its_parents_at_construction) {
  const settings_file settings;
  EXPECT_TRUE(machine.entry(folder).is_directory());
  EXPECT_EQ(settings.file_path(), user_file);
  EXPECT_FALSE(machine.exists(user_file));
}

TEST_F(settings_test, a_folder_that_cannot_be_made_raises_a_filesystem_error) {
  machine.calls.refuse("create_directory", folder, win32_error::access_denied);
  EXPECT_THROW(settings_file(), files::filesystem_error);
}

TEST_F(settings_test, a_missing_file_is_seeded_from_the_default_beside_the_executable) {
  machine.write_file(default_file, quill_box(R"({"general.showTagsAsIconOverlay":false})"));
  settings_file settings;
  EXPECT_TRUE(settings.load(false));
  EXPECT_EQ(machine.read_file(user_file), machine.read_file(default_file));
  EXPECT_FALSE(settings.show_tags_as_icon_overlay());
  EXPECT_THAT(machine.log_lines(), ElementsAre("[INFO] Copied default settings" + from_to));
}

TEST_F(settings_test, a_file_that_is_there_is_never_replaced) {
  machine.write_file(default_file, quill_box(R"({"general.showTagsAsIconOverlay":true})"));
  write(quill_box(R"({"general.showTagsAsIconOverlay":false})"));
  settings_file settings;
  EXPECT_FALSE(settings.show_tags_as_icon_overlay());
  EXPECT_EQ(machine.calls.count("copy_file"), 0U);
  EXPECT_THAT(machine.log_lines(), IsEmpty());
}

TEST_F(settings_test, a_long_module_path_is_asked_for_again_with_a_large_buffer) {
  machine.processes.executable = LR"(C:\)" + std::wstring(200, L'a') + LR"(\)" + std::wstring(200, L'b') + LR"(\p.exe)";
  machine.write_file(LR"(C:\)" + std::wstring(200, L'a') + LR"(\)" + std::wstring(200, L'b') +
                         LR"(\Content\Configurations\Settings.json)",
                     "{}");
  settings_file settings;
  EXPECT_TRUE(settings.load(false));
  EXPECT_THAT(machine.calls.named({"module_path"}), ElementsAre("module_path(260)", "module_path(65535)"));
  EXPECT_EQ(machine.read_file(user_file), "{}");
}

TEST_F(settings_test, a_missing_default_is_critical_and_the_load_fails) {
  settings_file settings;
  EXPECT_FALSE(settings.load(false));
  EXPECT_FALSE(machine.exists(user_file));
  ASSERT_EQ(machine.log_lines().size(), 1U);
  EXPECT_THAT(machine.log_lines()[0], testing::StartsWith("[CRITICAL] Unable to copy settings file. Details "));
}

TEST_F(settings_test, a_copy_that_copies_nothing_is_critical_and_the_load_fails) {
  machine.write_file(default_file, "{}");
  machine.files.let_copies_do_nothing();
  settings_file settings;
  EXPECT_FALSE(settings.load(false));
  EXPECT_THAT(machine.log_lines(),
              ElementsAre("[CRITICAL] Unable to copy default settings" + from_to,
                          "[CRITICAL] Unable to copy settings file. Details Unable to copy fallback settings file. "
                          "See logs for details."));
}

TEST_F(settings_test, a_file_that_cannot_be_tested_is_critical_with_the_operation_exists) {
  settings_file settings;
  machine.calls.refuse("kind", user_file, win32_error::access_denied);
  EXPECT_FALSE(settings.load(false));
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(R"([CRITICAL] Unable to copy settings file. Details exists: Access is denied.: )"
                          R"("C:\Users\user\AppData\Local\Larkspur Forge LLC\Tessel Works Kit\High Level Settings)"
                          R"(\Settings.json")"));
}

TEST_F(settings_test, an_unchanged_file_costs_one_question_and_no_reading) {
  write(quill_box("{}"));
  settings_file settings;
  EXPECT_TRUE(settings.load(false));
  machine.calls.clear();
  EXPECT_TRUE(settings.load(false));
  EXPECT_EQ(machine.calls.all().size(), 1U);
  EXPECT_EQ(machine.calls.count("facts"), 1U);
}

TEST_F(settings_test, force_reads_an_unchanged_file) {
  write(quill_box("{}"));
  settings_file settings;
  EXPECT_TRUE(settings.load(false));
  machine.calls.clear();
  EXPECT_TRUE(settings.load(true));
  EXPECT_EQ(machine.calls.count("open"), 1U);
}

TEST_F(settings_test, the_second_read_sees_a_change) {
  write(quill_box(R"({"general.showTagsAsIconOverlay":false})"));
  settings_file settings;
  EXPECT_FALSE(settings.show_tags_as_icon_overlay());
  write(quill_box(R"({"general.showTagsAsIconOverlay":true})"));
  EXPECT_TRUE(settings.show_tags_as_icon_overlay());
}

TEST_F(settings_test, restoring_the_old_time_hides_a_change) {
  write(quill_box(R"({"general.showTagsAsIconOverlay":false})"));
  const platform::file_time time = machine.entry(user_file).last_written;
  settings_file settings;
  EXPECT_FALSE(settings.show_tags_as_icon_overlay());
  write(quill_box(R"({"general.showTagsAsIconOverlay":true})"));
  machine.entry(user_file).last_written = time;
  EXPECT_FALSE(settings.show_tags_as_icon_overlay());
}

TEST_F(settings_test, a_change_while_the_file_is_read_is_seen_by_the_next_read) {
  write(quill_box(R"({"general.showTagsAsIconOverlay":false})"));
  settings_file settings;
  machine.calls.before("close", 1, [this] { write(quill_box(R"({"general.showTagsAsIconOverlay":true})")); });
  EXPECT_FALSE(settings.show_tags_as_icon_overlay());
  EXPECT_TRUE(settings.show_tags_as_icon_overlay());
}

TEST_F(settings_test, a_time_that_can_not_be_told_is_0_and_the_next_read_reads_again) {
  write(quill_box("{}"));
  settings_file settings;
  ASSERT_TRUE(settings.load(false));
  const platform::file_time time = machine.entry(user_file).last_written;
  write(quill_box(R"({"general.showTagsAsIconOverlay":false})"));
  machine.calls.refuse("facts", user_file, win32_error::access_denied, 2);
  EXPECT_FALSE(settings.show_tags_as_icon_overlay());
  machine.entry(user_file).last_written = time;
  machine.calls.clear();
  EXPECT_FALSE(settings.show_tags_as_icon_overlay());
  EXPECT_EQ(machine.calls.count("open"), 1U);
}

TEST_F(settings_test, a_read_without_memory_fails_the_load_and_the_next_one_reads_again) {
  constexpr std::size_t large = 50'000;
  write(quill_box(R"({"s":")" + std::string(large, 'x') + R"("})"));
  settings_file settings;
  {
    // The first one of this size is for the whole text, the second for the value.
    const support::allocation_fault fault(2, large);
    EXPECT_FALSE(settings.load(false));
    EXPECT_TRUE(fault.struck());
  }
  EXPECT_FALSE(settings.find_value("quill-box", "s"));
  EXPECT_THAT(machine.log_lines(), IsEmpty());
  EXPECT_TRUE(settings.load(false));
  EXPECT_TRUE(settings.find_value("quill-box", "s"));
}

TEST_F(settings_test, what_is_no_exception_is_swallowed_without_a_line) {
  write(quill_box("{}"));
  settings_file settings;
  machine.calls.before("kind", 1, [] { throw 42; });  // NOLINT(hicpp-exception-baseclass)
  EXPECT_FALSE(settings.load(false));
  EXPECT_THAT(machine.log_lines(), IsEmpty());
}

TEST_F(settings_test, a_file_deleted_after_the_first_read_is_seeded_again) {
  machine.write_file(default_file, quill_box(R"({"general.showTagsAsIconOverlay":true})"));
  write(quill_box(R"({"general.showTagsAsIconOverlay":false})"));
  settings_file settings;
  EXPECT_FALSE(settings.show_tags_as_icon_overlay());
  machine.disk.remove(*machine.disk.find(user_file));
  EXPECT_TRUE(settings.show_tags_as_icon_overlay());
}

TEST_F(settings_test, a_damaged_file_counts_as_loaded_and_keeps_what_was_there) {
  write(quill_box(R"({"general.showTagsAsIconOverlay":false})"));
  settings_file settings;
  EXPECT_FALSE(settings.show_tags_as_icon_overlay());
  for (const char* damaged : {"", "{", "[]", "no JSON", "{}", R"({"apps":7})"}) {
    write(damaged);
    EXPECT_TRUE(settings.load(false)) << damaged;
    EXPECT_FALSE(settings.show_tags_as_icon_overlay()) << damaged;
  }
  EXPECT_THAT(machine.log_lines(), IsEmpty());
}

TEST_F(settings_test, a_damaged_file_at_the_first_read_leaves_the_defaults) {
  write("{");
  settings_file settings;
  EXPECT_TRUE(settings.is_enabled());
  EXPECT_TRUE(settings.show_tags_as_icon_overlay());
}

TEST_F(settings_test, an_array_of_apps_replaces_all_sections_at_once) {
  write(document(section("quill-box", R"({"a":1})") + "," + section("orchid-lens-ai", R"({"b":1})")));
  settings_file settings;
  EXPECT_TRUE(settings.load(false));
  EXPECT_TRUE(settings.find_value("orchid-lens-ai", "b"));
  write(quill_box(R"({"c":1})"));
  EXPECT_TRUE(settings.load(false));
  EXPECT_FALSE(settings.find_value("orchid-lens-ai", "b"));
  EXPECT_FALSE(settings.find_value("quill-box", "a"));
  EXPECT_TRUE(settings.find_value("quill-box", "c"));
}

TEST_F(settings_test, a_folder_in_the_place_of_the_file_gives_defaults) {
  machine.make_directory(user_file);
  settings_file settings;
  EXPECT_TRUE(settings.show_tags_as_icon_overlay());
  EXPECT_EQ(settings.organize_categories(), high_level_settings::default_organize_categories());
}

// The kinds of values.

TEST_F(settings_test, a_value_of_the_wrong_kind_gives_the_default) {
  write(quill_box(R"({"b":"true","s":true,"i":1,"l":["x"]})"));
  settings_file settings;
  EXPECT_TRUE(settings.load(false));
  for (const char* key : {"b", "i", "l", "missing"}) {
    EXPECT_TRUE(settings.get_bool("quill-box", key, true)) << key;
    EXPECT_FALSE(settings.get_bool("quill-box", key, false)) << key;
  }
  for (const char* key : {"s", "i", "l", "missing"}) {
    EXPECT_EQ(settings.get_string("quill-box", key, L"default"), L"default") << key;
  }
  EXPECT_TRUE(settings.get_bool("quill-box", "s", false));
  EXPECT_EQ(settings.get_string("quill-box", "b", L"default"), L"true");
  EXPECT_EQ(settings.get_string("another", "b", L"default"), L"default");
}

TEST_F(settings_test, a_string_arrives_as_wide_text) {
  write(quill_box("{\"s\":\"\xc3\xa9\xf0\x9f\x98\x80\"}"));
  settings_file settings;
  EXPECT_TRUE(settings.load(false));
  EXPECT_EQ(settings.get_string("quill-box", "s", L""), L"\u00e9\U0001f600");
}

TEST_F(settings_test, a_number_too_large_gives_the_default) {
  write(quill_box(R"({"general.showTagsAsIconOverlay":3000000000})"));
  settings_file settings;
  EXPECT_TRUE(settings.show_tags_as_icon_overlay());
  EXPECT_FALSE(settings.find_value("quill-box", "general.showTagsAsIconOverlay"));
}

// The switch of the whole section.

TEST_F(settings_test, a_disabled_section_silences_toasts_and_prompts_and_leaves_the_overlays) {
  write(R"({"apps":[{"app_id":"quill-box","status":"disabled"}]})");
  settings_file settings;
  EXPECT_FALSE(settings.is_enabled());
  EXPECT_FALSE(settings.show_tag_completion_toast());
  EXPECT_FALSE(settings.show_rate_completion_toast());
  EXPECT_FALSE(settings.show_recognize_faces_completion_toast());
  EXPECT_FALSE(settings.prompt_when_location_not_indexed());
  EXPECT_FALSE(settings.prompt_when_people_location_not_indexed());
  EXPECT_TRUE(settings.show_tags_as_icon_overlay());
  EXPECT_TRUE(settings.show_rating_as_icon_overlay());
  EXPECT_TRUE(settings.rounded_thumbnail_corners());
}

TEST_F(settings_test, disabled_is_compared_exactly) {
  for (const char* status : {"Disabled", "DISABLED", "disabled ", "enabled", ""}) {
    write(R"({"apps":[{"app_id":"quill-box","status":")" + std::string(status) + R"("}]})");
    settings_file settings;
    EXPECT_TRUE(settings.is_enabled()) << status;
  }
}

TEST_F(settings_test, without_the_section_everything_is_enabled) {
  write(document(R"({"app_id":"orchid-lens-ai","status":"disabled"})"));
  settings_file settings;
  EXPECT_TRUE(settings.is_enabled());
  EXPECT_TRUE(settings.show_tag_completion_toast());
}

TEST_F(settings_test, what_cannot_be_loaded_is_not_enabled_and_an_error_in_the_log) {
  settings_file settings;
  EXPECT_FALSE(settings.is_enabled());
  ASSERT_EQ(machine.log_lines().size(), 2U);
  EXPECT_EQ(machine.log_lines()[1],
            R"([ERROR] Failed to load from high level settings file C:\Users\user\AppData\Local\Larkspur Forge LLC)"
            R"(\Tessel Works Kit\High Level Settings\Settings.json)");
  EXPECT_FALSE(settings.show_rate_completion_toast());
  EXPECT_FALSE(settings.prompt_when_location_not_indexed());
}

// The feature readers.

struct flag_row {
  const char* app_id;
  const char* key;
  bool fallback;
  bool (settings_file::*reader)();
};

constexpr flag_row flags[] = {
    {"quill-box", "general.showTagsAsIconOverlay", true, &settings_file::show_tags_as_icon_overlay},
    {"quill-box", "general.showRatingAsIconOverlay", true, &settings_file::show_rating_as_icon_overlay},
    {"quill-box", "general.roundedThumbnailCorners", true, &settings_file::rounded_thumbnail_corners},
    {"quill-box", "notifications.showTagCompletionToast", true, &settings_file::show_tag_completion_toast},
    {"quill-box", "notifications.showRateCompletionToast", true, &settings_file::show_rate_completion_toast},
    {"quill-box", "notifications.showRecognizeFacesCompletionToast", true,
     &settings_file::show_recognize_faces_completion_toast},
    {"quill-box", "notifications.promptWhenLocationNotIndexed", true, &settings_file::prompt_when_location_not_indexed},
    {"quill-box", "notifications.promptWhenPeopleLocationNotIndexed", true,
     &settings_file::prompt_when_people_location_not_indexed},
    {"orchid-lens-ai", "people_recognition.enabled", false, &settings_file::people_recognition_enabled},
    {"orchid-lens-ai", "people_recognition.consent_accepted", false,
     &settings_file::people_recognition_consent_accepted},
    {"orchid-lens-ai", "people_recognition.write_people_tags", true, &settings_file::write_people_tags},
};

TEST_F(settings_test, every_flag_reads_its_key_and_else_its_default) {
  for (const flag_row& row : flags) {
    SCOPED_TRACE(row.key);
    settings_file settings;
    write(document(""));
    EXPECT_TRUE(settings.load(false));
    EXPECT_EQ((settings.*row.reader)(), row.fallback);
    for (const bool value : {true, false}) {
      write(document(section(row.app_id, R"({")" + std::string(row.key) + (value ? R"(":true})" : R"(":false})"))));
      EXPECT_TRUE(settings.load(false));
      EXPECT_EQ((settings.*row.reader)(), value);
    }
    const std::string other = std::string(row.app_id) == "quill-box" ? "orchid-lens-ai" : "quill-box";
    write(document(section(other, R"({")" + std::string(row.key) + (row.fallback ? R"(":false})" : R"(":true})"))));
    EXPECT_TRUE(settings.load(false));
    EXPECT_EQ((settings.*row.reader)(), row.fallback) << "a key of another section";
  }
}

TEST_F(settings_test, the_shipped_default_has_every_key_of_the_readers) {
  settings_file settings;
  write(shipped_settings);
  ASSERT_TRUE(settings.load(false));
  const auto has = [&settings]<class kind>(const char* app_id, const char* key, kind) {
    const auto value = settings.find_value(app_id, key);
    return value && std::holds_alternative<kind>(*value);
  };
  for (const flag_row& row : flags) {
    EXPECT_TRUE(has(row.app_id, row.key, bool())) << row.key;
  }
  for (const char* key : {"general.ratingOverlayIcon", "organize.photoNamingPattern", "organize.photoPlacementPattern"})
    EXPECT_TRUE(has("quill-box", key, std::string())) << key;
  EXPECT_TRUE(has("quill-box", "organize.excludedNames", std::vector<std::string>()));
  EXPECT_THAT(settings.auto_tag_texts(), testing::Not(IsEmpty()));
  EXPECT_EQ(settings.organize_categories().size(), high_level_settings::default_organize_categories().size());
}

TEST_F(settings_test, overlays_are_shown_when_nothing_can_be_loaded) {
  settings_file settings;
  EXPECT_TRUE(settings.show_tags_as_icon_overlay());
  EXPECT_TRUE(settings.show_rating_as_icon_overlay());
}

// What was read before doesn't count where a reader wants a load that works, and does where it ignores the load.
TEST_F(settings_test, a_later_load_that_fails_gives_each_reader_its_own_answer) {
  write(document(
      section(
          "quill-box",
          R"({"general.showTagsAsIconOverlay":false,"general.showRatingAsIconOverlay":false,)"
          R"("organize.excludedNames":["x"],"organize.photoNamingPattern":"n","organize.photoPlacementPattern":"p"})") +
      "," +
      section("orchid-lens-ai",
              R"({"general":{"tags.text_domain":["a"],"tags.text_purpose":[],"tags.text_specific":[]}})")));
  settings_file settings;
  EXPECT_FALSE(settings.show_tags_as_icon_overlay());
  EXPECT_TRUE(settings.show_tag_completion_toast());
  machine.disk.remove(*machine.disk.find(user_file));  // and there is no default
  EXPECT_TRUE(settings.show_tags_as_icon_overlay());
  EXPECT_TRUE(settings.show_rating_as_icon_overlay());
  EXPECT_FALSE(settings.show_tag_completion_toast());
  EXPECT_EQ(failure_of([&settings] { static_cast<void>(settings.auto_tag_texts()); }),
            "Unable to get list of auto tags");
  EXPECT_THAT(settings.excluded_names(), ElementsAre(L"x"));
  EXPECT_EQ(settings.photo_naming_pattern(), L"n");
  EXPECT_EQ(settings.photo_placement_pattern(), L"p");
}

TEST_F(settings_test, some_readers_do_not_load) {
  write(document(section("quill-box", R"({"general.roundedThumbnailCorners":false,"general.ratingOverlayIcon":"x"})") +
                 "," + section("orchid-lens-ai", R"({"people_recognition.enabled":true})")));
  settings_file settings;
  machine.calls.clear();
  EXPECT_TRUE(settings.rounded_thumbnail_corners());
  EXPECT_EQ(settings.rating_overlay_icon(), LR"(\Content\Icons\rating_star.ico)");
  EXPECT_FALSE(settings.people_recognition_enabled());
  EXPECT_FALSE(settings.people_recognition_consent_accepted());
  EXPECT_TRUE(settings.write_people_tags());
  EXPECT_THAT(machine.calls.all(), IsEmpty());
  EXPECT_TRUE(settings.load(false));
  EXPECT_FALSE(settings.rounded_thumbnail_corners());
  EXPECT_EQ(settings.rating_overlay_icon(), L"x");
  EXPECT_TRUE(settings.people_recognition_enabled());
}

TEST_F(settings_test, the_organize_patterns_have_their_defaults) {
  settings_file settings;
  EXPECT_EQ(settings.photo_naming_pattern(), L"<Date> - <Location> - <People> - <Original Filename>");
  EXPECT_EQ(settings.photo_placement_pattern(), LR"(<Date>\<Location>)");
  write(quill_box(R"({"organize":{"photoNamingPattern":"<Date>","photoPlacementPattern":""}})"));
  EXPECT_EQ(settings.photo_naming_pattern(), L"<Date>");
  EXPECT_EQ(settings.photo_placement_pattern(), L"");
}

TEST_F(settings_test, excluded_names_are_a_list_or_none) {
  settings_file settings;
  EXPECT_THAT(settings.excluded_names(), IsEmpty());
  write(quill_box("{\"organize.excludedNames\":[\"a\",1,\"\xc3\xa9\"]}"));
  EXPECT_THAT(settings.excluded_names(), ElementsAre(L"a", L"\u00e9"));
  write(quill_box(R"({"organize.excludedNames":"a"})"));
  EXPECT_THAT(settings.excluded_names(), IsEmpty());
}

TEST_F(settings_test, auto_tag_texts_are_the_three_lists_in_order) {
  write(orchid_lens_ai(R"({"general":{"tags.text_specific":["e"],"tags.text_purpose":["c","d"]},)"
                       R"("general.tags.text_domain":["a","b"]})"));
  settings_file settings;
  EXPECT_EQ(settings.auto_tag_texts(), (wide_strings{L"a", L"b", L"c", L"d", L"e"}));
}

TEST_F(settings_test, an_auto_tag_entry_of_another_kind_adds_nothing) {
  write(orchid_lens_ai(
      R"({"general.tags.text_domain":"a","general.tags.text_purpose":true,"general.tags.text_specific":["e"]})"));
  settings_file settings;
  EXPECT_EQ(settings.auto_tag_texts(), (wide_strings{L"e"}));
}

TEST_F(settings_test, each_way_for_auto_tag_texts_to_be_missing_has_its_message) {
  settings_file settings;
  const auto failure = [&settings] {
    return failure_of([&settings] { static_cast<void>(settings.auto_tag_texts()); });
  };
  EXPECT_EQ(failure(), "Unable to get list of auto tags");
  write(quill_box("{}"));
  EXPECT_EQ(failure(), "Orchid Lens AI settings not found");
  const std::string path =
      R"(C:\Users\user\AppData\Local\Larkspur Forge LLC\Tessel Works Kit\High Level Settings\Settings.json)";
  write(orchid_lens_ai("{}"));
  EXPECT_EQ(failure(), "Orchid Lens AI text_domain tag 'general.tags.text_domain' settings not found in " + path);
  write(orchid_lens_ai(R"({"general.tags.text_domain":[]})"));
  EXPECT_EQ(failure(), "Orchid Lens AI text_purpose tag 'general.tags.text_purpose' settings not found in " + path);
  write(orchid_lens_ai(R"({"general.tags.text_domain":[],"general.tags.text_purpose":[]})"));
  EXPECT_EQ(failure(), "Orchid Lens AI text_specific tag 'general.tags.text_specific' settings not found in " + path);
}

TEST_F(settings_test, categories_come_from_the_file_itself) {
  write(quill_box(R"({"organize.categories":[{"name":"A","extensions":["x"],"enabled":false}]})"));
  settings_file settings;
  EXPECT_EQ(settings.organize_categories(),
            (std::vector<high_level_settings::organize_category>{{L"A", {L"x"}, false}}));
}

TEST_F(settings_test, categories_come_from_a_file_that_was_seeded_for_them) {
  machine.write_file(default_file, quill_box(R"({"organize.categories":[{"name":"A"}]})"));
  settings_file settings;
  EXPECT_EQ(settings.organize_categories(), (std::vector<high_level_settings::organize_category>{{L"A", {}, true}}));
}

TEST_F(settings_test, without_categories_the_table_serves) {
  settings_file settings;
  EXPECT_EQ(settings.organize_categories(), high_level_settings::default_organize_categories());
  write(quill_box(R"({"organize.categories":[]})"));
  EXPECT_EQ(settings.organize_categories(), high_level_settings::default_organize_categories());
  write("no JSON");
  EXPECT_EQ(settings.organize_categories(), high_level_settings::default_organize_categories());
}

TEST_F(settings_test, the_file_is_never_written) {
  const std::string json = quill_box(R"({"organize.categories":[{"name":"A"}]})");
  write(json);
  settings_file settings;
  static_cast<void>(settings.is_enabled());
  static_cast<void>(settings.organize_categories());
  EXPECT_EQ(machine.read_file(user_file), json);
  for (const std::string& line : machine.calls.named({"open"})) {
    if (line.find("Settings.json") != std::string::npos) {
      EXPECT_THAT(line, testing::HasSubstr("Settings.json, read, "));
    }
  }
}

// Several threads.

TEST_F(settings_test, a_load_does_not_wait_for_another_one_that_is_reading) {
  write(quill_box(R"({"s":"x"})"));
  settings_file settings;
  std::promise<void> is_reading;
  std::promise<void> other_is_done;
  machine.calls.before("read", 1, [&is_reading, &other_is_done] {
    is_reading.set_value();
    EXPECT_EQ(other_is_done.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
  });
  bool slow_loaded = false;
  std::thread slow([&settings, &slow_loaded] { slow_loaded = settings.load(true); });
  is_reading.get_future().wait();
  EXPECT_TRUE(settings.load(true));
  EXPECT_EQ(settings.get_string("quill-box", "s", L""), L"x");
  other_is_done.set_value();
  slow.join();
  EXPECT_TRUE(slow_loaded);
  EXPECT_EQ(settings.get_string("quill-box", "s", L""), L"x");
}

TEST_F(settings_test, threads_that_load_at_once_give_readers_whole_sections) {
  // The three lists of one file always hold the same word.
  const auto with_word = [](const std::string& word) {
    return orchid_lens_ai(R"({"general":{"tags.text_domain":[")" + word + R"("],"tags.text_purpose":[")" + word +
                          R"("],"tags.text_specific":[")" + word + R"("]}})");
  };
  write(with_word("a"));
  settings_file settings;
  ASSERT_TRUE(settings.load(false));
  std::atomic<int> loading = 2;
  const auto load_often = [&] {
    for (int i = 0; i < 100; ++i) {
      {
        const auto guard = machine.calls.hold();
        write(with_word(i % 2 == 0 ? "b" : "a"));
      }
      EXPECT_TRUE(settings.load(true));
    }
    --loading;
  };
  std::thread one(load_often);
  std::thread other(load_often);
  while (loading > 0) {
    const wide_strings texts = settings.auto_tag_texts();
    EXPECT_EQ(texts, wide_strings(3, texts.empty() ? L"none" : texts[0]));
    EXPECT_TRUE(settings.find_value("orchid-lens-ai", "general.tags.text_domain"));
    EXPECT_TRUE(settings.is_enabled());
  }
  one.join();
  other.join();
}

TEST_F(settings_test, there_is_one_instance_until_it_is_forgotten) {
  high_level_settings::forget_settings_instance();
  settings_file* const first = &high_level_settings::settings_instance();
  EXPECT_EQ(&high_level_settings::settings_instance(), first);
  high_level_settings::forget_settings_instance();
}

TEST(settings_faults, whatever_fails_the_readers_answer_and_a_failed_load_is_in_the_log) {
  const std::array<support::fault_code, 2> codes = {win32_error::gen_failure, win32_error::access_denied};
  std::optional<bool> loaded;
  const auto prepare = [](support::simulated_machine& machine) {
    machine.write_file(default_file, quill_box(R"({"notifications.showTagCompletionToast":true})"));
    machine.make_directory(folder);
  };
  const auto run = [&loaded](support::simulated_machine&) {
    loaded.reset();
    try {
      logging::logger()->make_log_directory_and_open(L"", L"Processor", L"Quill Box");
      settings_file settings;
      loaded = settings.load(false);
      EXPECT_TRUE(settings.show_tags_as_icon_overlay());
    } catch (const files::filesystem_error&) {
      // Neither the log's directory nor that of the settings is optional.
    }
  };
  support::for_each_fault(codes, {prepare, run}, [&loaded](const support::fault_round& round) {
    if (!round.struck) {
      EXPECT_EQ(loaded, true);
    }
    const bool once = round.planned.lasting == support::fault_lasting::once;
    if (loaded == false && once) {
      EXPECT_THAT(round.machine.log_lines(), testing::Contains(testing::StartsWith("[CRITICAL] ")));
    }
  });
}

}  // namespace
