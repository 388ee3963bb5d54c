#include "metadata/rating_and_tag_actions.h"

#include <limits>

#include "metadata/metadata_fixture.h"

namespace quill_box::metadata {

namespace {

namespace attribute = platform::attribute;
using platform::hresult;
using platform::keywords_key;
using platform::property_value;
using platform::rating_key;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class rating_and_tag_actions : public metadata_test {
 protected:
  void has_tags(const tag_vector& tags) { machine.properties.set_handler_value(photo, keywords_key, tags); }
  [[nodiscard]] property_value tags() const { return handler_value(keywords_key); }

  void expect_skipped(const std::string& line) {
    EXPECT_THAT(machine.log_lines(), ElementsAre(line));
    EXPECT_EQ(machine.calls.count("open_handler_store"), 0U);
    EXPECT_EQ(machine.calls.count("open_property_set_storage"), 0U);
  }
};

using set_rating_item = rating_and_tag_actions;
using remove_rating_item = rating_and_tag_actions;
using remove_tags_item = rating_and_tag_actions;
using toggle_tags_item = rating_and_tag_actions;
using update_tags_item = rating_and_tag_actions;
using all_actions = rating_and_tag_actions;

const std::wstring program = LR"(C:\a.EXE)";
const std::wstring song = LR"(C:\a.Mp3)";

// --- leading_number

TEST(leading_number, reads_digits_up_to_the_first_other_character) {
  EXPECT_EQ(leading_number(L"4"), 4);
  EXPECT_EQ(leading_number(L"  \t\r\n\v\f3"), 3);
  EXPECT_EQ(leading_number(L"+5"), 5);
  EXPECT_EQ(leading_number(L"-2"), -2);
  EXPECT_EQ(leading_number(L"0042stars"), 42);
  EXPECT_EQ(leading_number(L"3.9"), 3);
}

TEST(leading_number, is_0_without_digits) {
  for (const wchar_t* text : {L"", L" ", L"stars", L"+", L"-", L"+-3", L"- 3", L"\uff13"}) {
    EXPECT_EQ(leading_number(text), 0);
  }
}

TEST(leading_number, stays_within_its_range) {
  EXPECT_EQ(leading_number(L"2147483647"), std::numeric_limits<int>::max());
  EXPECT_EQ(leading_number(L"2147483648"), std::numeric_limits<int>::max());
  EXPECT_EQ(leading_number(L"-2147483648"), std::numeric_limits<int>::min());
  EXPECT_EQ(leading_number(L"-99999999999999999999999999"), std::numeric_limits<int>::min());
  EXPECT_EQ(leading_number(L"99999999999999999999999999"), std::numeric_limits<int>::max());
}

// --- set_rating

TEST_F(set_rating_item, stores_the_stars_in_percent) {
  set_rating_action(photo, L"4");
  EXPECT_EQ(handler_value(rating_key), property_value(75U));
  EXPECT_THAT(machine.log_lines(), IsEmpty());
}

TEST_F(set_rating_item, of_7_is_stored_as_500) {
  set_rating_action(photo, L"7");
  EXPECT_EQ(handler_value(rating_key), property_value(500U));
}

TEST_F(set_rating_item, of_no_number_removes_the_rating) {
  machine.properties.set_handler_value(photo, rating_key, 75U);
  set_rating_action(photo, L"many");
  EXPECT_EQ(handler_value(rating_key), property_value(0U));
}

TEST_F(set_rating_item, can_rate_an_mp3) {
  machine.write_file(song, "");
  set_rating_action(song, L"5");
  EXPECT_EQ(set_value(song, rating_key), property_value(99U));
}

TEST_F(set_rating_item, skips_a_type_that_can_not_be_rated) {
  machine.write_file(program, "");
  set_rating_action(program, L"4");
  expect_skipped(R"([INFO] Set Rating: Skipping file C:\a.EXE. Unsupported filetype .exe)");
}

TEST_F(set_rating_item, rates_a_folder_whatever_its_name) {
  machine.make_directory(LR"(C:\folder.exe)");
  set_rating_action(LR"(C:\folder.exe)", L"2");
  EXPECT_EQ(set_value(LR"(C:\folder.exe)", rating_key), property_value(25U));
}

TEST_F(set_rating_item, opens_commits_and_closes_once) {
  set_rating_action(photo, L"4");
  EXPECT_THAT(
      machine.calls.all(),
      ElementsAre(R"(attributes(C:\photo.jpg))", R"(open_handler_store(C:\photo.jpg, read_write))",
                  R"(set(C:\photo.jpg, rating, 75))", R"(commit(C:\photo.jpg))", R"(release_store(C:\photo.jpg))"));
}

// --- remove_rating

TEST_F(remove_rating_item, stores_0) {
  machine.properties.set_handler_value(photo, rating_key, 75U);
  remove_rating_action(photo);
  EXPECT_EQ(handler_value(rating_key), property_value(0U));
}

TEST_F(remove_rating_item, skips_a_type_that_can_not_be_rated) {
  machine.write_file(program, "");
  remove_rating_action(program);
  expect_skipped(R"([INFO] Remove Rating: Skipping file C:\a.EXE. Unsupported filetype .exe)");
}

// --- remove_tags

TEST_F(remove_tags_item, removes_the_property) {
  has_tags({L"a", L"b"});
  remove_tags_action(photo);
  EXPECT_EQ(tags(), no_value);
}

TEST_F(remove_tags_item, skips_an_mp3) {
  machine.write_file(song, "");
  remove_tags_action(song);
  expect_skipped(R"([INFO] Remove Tags: Skipping file C:\a.Mp3. Unsupported filetype .mp3)");
}

// --- toggle_tags

TEST_F(toggle_tags_item, adds_the_missing_and_removes_the_present) {
  has_tags({L"a", L"b"});
  toggle_tags(photo, L"b;c");
  EXPECT_EQ(tags(), property_value(tag_vector{L"a", L"c"}));
}

TEST_F(toggle_tags_item, tells_spellings_apart) {
  has_tags({L"beach"});
  toggle_tags(photo, L"Beach");
  EXPECT_EQ(tags(), property_value(tag_vector{L"beach", L"Beach"}));
}

TEST_F(toggle_tags_item, removes_the_first_match_only) {
  has_tags({L"a", L"b", L"a"});
  toggle_tags(photo, L"a");
  EXPECT_EQ(tags(), property_value(tag_vector{L"a", L"b"}));
}

TEST_F(toggle_tags_item, of_one_tag_twice_changes_nothing_in_the_end) {
  has_tags({L"a"});
  toggle_tags(photo, L"b;b");
  EXPECT_EQ(tags(), property_value(tag_vector{L"a"}));
}

TEST_F(toggle_tags_item, a_missing_tag_is_added_to_what_a_second_read_gives) {
  has_tags({L"a"});
  machine.calls.before("get", 2, [this] { has_tags({L"a", L"x"}); });
  toggle_tags(photo, L"c");
  EXPECT_EQ(tags(), property_value(tag_vector{L"a", L"c", L"x"}));
  EXPECT_EQ(machine.calls.count("get"), 2U);
}

TEST_F(toggle_tags_item, a_present_tag_is_removed_from_what_the_first_read_gave) {
  has_tags({L"a", L"b"});
  toggle_tags(photo, L"a");
  EXPECT_EQ(machine.calls.count("get"), 1U);
}

TEST_F(toggle_tags_item, of_two_tags_on_a_refusing_type_stores_the_first_and_raises) {
  machine.properties.handler(L".jpg").refused_keys[keywords_key] = hresult::storage_access_denied;
  EXPECT_EQ(raised_by([] { toggle_tags(photo, L"a;b"); }), "Failed to set tags");
  EXPECT_EQ(set_value(photo, keywords_key), property_value(tag_vector{L"a"}));
  EXPECT_EQ(tags(), no_value);
}

TEST_F(toggle_tags_item, opens_and_commits_once) {
  toggle_tags(photo, L"a;b;c");
  EXPECT_EQ(machine.calls.count("open_handler_store"), 1U);
  EXPECT_EQ(machine.calls.count("commit"), 1U);
  EXPECT_EQ(machine.calls.count("set"), 3U);
}

TEST_F(toggle_tags_item, each_call_has_its_own_parameters) {
  toggle_tags(photo, L"a");
  toggle_tags(photo, L"b");
  EXPECT_EQ(tags(), property_value(tag_vector{L"a", L"b"}));
}

TEST_F(toggle_tags_item, one_job_toggles_the_same_tags_on_each_of_its_items) {
  const std::wstring other = LR"(C:\other.jpg)";
  machine.write_file(other, "photo");
  text::split_once parameters(L"a;b");
  toggle_tags_action(photo, parameters);
  toggle_tags_action(other, parameters);
  EXPECT_EQ(tags(), property_value(tag_vector{L"a", L"b"}));
  EXPECT_EQ(machine.properties.handler_value(other, keywords_key), property_value(tag_vector{L"a", L"b"}));
}

TEST_F(toggle_tags_item, without_tags_changes_nothing) {
  has_tags({L"b", L"a"});
  toggle_tags(photo, L";;");
  EXPECT_EQ(tags(), property_value(tag_vector{L"b", L"a"}));
}

TEST_F(toggle_tags_item, skips_an_mp3) {
  machine.write_file(song, "");
  toggle_tags(song, L"a");
  expect_skipped(R"([INFO] Toggle Tags: Skipping file C:\a.Mp3. Unsupported filetype .mp3)");
}

TEST_F(toggle_tags_item, that_can_not_be_read_are_not_replaced) {
  has_tags({L"a", L"b"});
  machine.calls.refuse("get", photo, hresult::fail);
  EXPECT_EQ(raised_by([] { toggle_tags(photo, L"c"); }), "Failed to get tags");
  EXPECT_EQ(tags(), property_value(tag_vector{L"a", L"b"}));
}

// --- update_tags

TEST_F(update_tags_item, adds_and_removes) {
  has_tags({L"a", L"b"});
  update_tags(photo, L"+c;-a");
  EXPECT_EQ(tags(), property_value(tag_vector{L"b", L"c"}));
}

TEST_F(update_tags_item, ignores_case) {
  has_tags({L"Beach", L"\u00c4pfel"});
  update_tags(photo, L"+beach;-\u00e4PFEL");
  EXPECT_EQ(tags(), property_value(tag_vector{L"Beach"}));
}

TEST_F(update_tags_item, stores_nothing_when_nothing_changed) {
  has_tags({L"a"});
  for (const wchar_t* edits : {L"", L"+a", L"-b", L"+A;-c", L"a;b", L"+;-", L"*a", L" +b"}) {
    machine.calls.clear();
    update_tags(photo, edits);
    EXPECT_EQ(machine.calls.count("set"), 0U);
    EXPECT_EQ(machine.calls.count("commit"), 0U);
    EXPECT_EQ(machine.calls.count("release_store"), 1U);
  }
}

TEST_F(update_tags_item, what_comes_back_to_the_start_is_stored_all_the_same) {
  has_tags({L"a"});
  update_tags(photo, L"+b;-b");
  EXPECT_EQ(machine.calls.count("commit"), 1U);
  EXPECT_EQ(tags(), property_value(tag_vector{L"a"}));
}

TEST_F(update_tags_item, reads_and_stores_once) {
  update_tags(photo, L"+a;+b;-c;+d");
  EXPECT_EQ(machine.calls.count("get"), 1U);
  EXPECT_EQ(machine.calls.count("set"), 1U);
}

TEST_F(update_tags_item, skips_an_mp3) {
  machine.write_file(song, "");
  update_tags(song, L"+a");
  expect_skipped(R"([INFO] Update Tags: Skipping file C:\a.Mp3. Unsupported filetype .mp3)");
}

TEST_F(update_tags_item, of_a_folder_start_from_its_own_tags) {
  machine.write_file(folder_ini, "[QuillBox]\r\nTags=a;b\r\n");
  update_tags(folder, L"+c");
  EXPECT_EQ(set_value(folder, keywords_key), property_value(tag_vector{L"a", L"b", L"c"}));
}

// --- all of them

void run_all(const std::wstring& path) {
  set_rating_action(path, L"4");
  remove_rating_action(path);
  remove_tags_action(path);
  toggle_tags(path, L"a");
  update_tags(path, L"+a");
}

TEST_F(all_actions, pass_over_a_missing_file_in_silence) {
  run_all(LR"(C:\missing.jpg)");
  EXPECT_THAT(machine.log_lines(), IsEmpty());
  EXPECT_FALSE(machine.exists(LR"(C:\missing.jpg)"));
  EXPECT_FALSE(machine.exists(LR"(C:\missing.jpg.xmp)"));
}

TEST_F(all_actions, pass_over_a_cloud_placeholder_without_a_download) {
  machine.entry(photo).attributes = attribute::recall_on_data_access;
  run_all(photo);
  EXPECT_EQ(machine.calls.count("download"), 0U);
  EXPECT_EQ(machine.calls.count("open_handler_store"), 0U);
}

TEST_F(all_actions, raise_a_failed_open) {
  machine.calls.refuse("open_handler_store", photo, hresult::fail);
  machine.calls.refuse("open_property_set_storage", photo, hresult::fail);
  const std::string message =
      "Failed to write new metadata. Error provided by Windows: Unspecified error Error code: 0x80004005";
  EXPECT_EQ(raised_by([] { set_rating_action(photo, L"4"); }), message);
  EXPECT_EQ(raised_by([] { remove_rating_action(photo); }), message);
  EXPECT_EQ(raised_by([] { remove_tags_action(photo); }), message);
  EXPECT_EQ(raised_by([] { toggle_tags(photo, L"a"); }), message);
  EXPECT_EQ(raised_by([] { update_tags(photo, L"+a"); }), message);
}

TEST_F(all_actions, give_a_protected_folder_its_attributes_back) {
  machine.entry(folder).attributes |= attribute::read_only;
  run_all(folder);
  EXPECT_EQ(attributes_of(folder), attribute::directory | attribute::read_only);
}

}  // namespace

}  // namespace quill_box::metadata
