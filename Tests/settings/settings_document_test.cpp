#include "settings/settings_document.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using namespace high_level_settings;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using strings = std::vector<std::string>;

// The flat map of a section whose "settings" are this object.
std::map<std::string, setting_value> settings_of(const std::string& json) {
  const auto document = parse_settings(R"({"apps":[{"app_id":"a","settings":)" + json + "}]}");
  if (!document || !document->apps) return {};
  return document->apps->at("a").settings;
}

TEST(parse_settings, what_is_no_object_is_nothing) {
  for (const char* json : {"", "[]", "null", "\"x\"", "{", "{}x", R"({"apps":[)", "1"}) {
    EXPECT_FALSE(parse_settings(json)) << json;
  }
}

TEST(parse_settings, a_document_nested_a_million_deep_is_handled) {
  const std::string deep = std::string(1'000'000, '[') + std::string(1'000'000, ']');
  const auto document = parse_settings(R"({"version":"1","x":)" + deep + "}");
  EXPECT_TRUE(!document || document->version == L"1");
}

TEST(parse_settings, the_version_is_kept_when_it_is_a_string) {
  EXPECT_EQ(parse_settings(R"({"version":"1.2"})")->version, L"1.2");
  EXPECT_EQ(parse_settings(R"({"version":2})")->version, std::nullopt);
  EXPECT_EQ(parse_settings("{}")->version, std::nullopt);
}

TEST(parse_settings, without_an_array_of_apps_there_are_none_to_take_over) {
  EXPECT_FALSE(parse_settings("{}")->apps);
  EXPECT_FALSE(parse_settings(R"({"apps":{}})")->apps);
  EXPECT_FALSE(parse_settings(R"({"apps":null})")->apps);
  EXPECT_TRUE(parse_settings(R"({"apps":[]})")->apps);
}

TEST(parse_settings, a_section_has_its_head) {
  const auto document =
      parse_settings(R"({"apps":[{"app_id":"quill-box","name":"Quill \u00e9","version":"3","status":"disabled"}]})");
  const app_record& app = document->apps->at("quill-box");
  EXPECT_EQ(app.app_id, "quill-box");
  EXPECT_EQ(app.name, L"Quill \u00e9");
  EXPECT_EQ(app.version, L"3");
  EXPECT_EQ(app.status, "disabled");
  EXPECT_THAT(app.settings, IsEmpty());
}

TEST(parse_settings, a_head_of_the_wrong_kind_is_empty) {
  const auto document = parse_settings(R"({"apps":[{"app_id":"a","name":1,"version":[],"status":true,"settings":7}]})");
  const app_record& app = document->apps->at("a");
  EXPECT_EQ(app.name, L"");
  EXPECT_EQ(app.version, L"");
  EXPECT_EQ(app.status, "");
  EXPECT_THAT(app.settings, IsEmpty());
}

TEST(parse_settings, an_element_without_an_app_id_is_dropped) {
  const auto document = parse_settings(
      R"({"apps":[{"name":"x"},{"app_id":""},{"app_id":1},7,null,"quill-box",[{"app_id":"b"}],{"app_id":"a"}]})");
  EXPECT_EQ(document->apps->size(), 1U);
  EXPECT_TRUE(document->apps->contains("a"));
}

TEST(parse_settings, of_two_sections_with_one_id_the_first_stays) {
  const auto document =
      parse_settings(R"({"apps":[{"app_id":"a","status":"one"},{"app_id":"a","status":"two"},{"app_id":"A"}]})");
  EXPECT_EQ(document->apps->at("a").status, "one");
  EXPECT_EQ(document->apps->size(), 2U);
}

TEST(parse_settings, the_four_kinds_of_values_are_kept) {
  EXPECT_THAT(settings_of(R"({"b":true,"i":-7,"l":["x","y"],"s":"\u00e9"})"),
              ElementsAre(Pair("b", setting_value(true)), Pair("i", setting_value(-7)),
                          Pair("l", setting_value(strings{"x", "y"})), Pair("s", setting_value("\xc3\xa9"))));
}

TEST(parse_settings, a_number_that_does_not_fit_is_ignored) {
  EXPECT_THAT(settings_of(R"({"a":3000000000,"b":2147483648,"c":-2147483649,"d":1.5,"e":1e3})"), IsEmpty());
  EXPECT_THAT(settings_of(R"({"a":2147483647,"b":-2147483648})"),
              ElementsAre(Pair("a", setting_value(2147483647)), Pair("b", setting_value(-2147483647 - 1))));
}

TEST(parse_settings, null_is_ignored) { EXPECT_THAT(settings_of(R"({"a":null})"), IsEmpty()); }

TEST(parse_settings, an_array_keeps_only_its_strings_in_order) {
  EXPECT_THAT(settings_of(R"({"l":["b",1,null,"a",["x"],{"y":"z"},true,""]})"),
              ElementsAre(Pair("l", setting_value(strings{"b", "a", ""}))));
  EXPECT_THAT(settings_of(R"({"l":[1,2]})"), ElementsAre(Pair("l", setting_value(strings()))));
}

TEST(parse_settings, a_dotted_member_and_a_nested_one_are_the_same_entry) {
  const auto flat = settings_of(R"({"general.showTagsAsIconOverlay":true})");
  const auto nested = settings_of(R"({"general":{"showTagsAsIconOverlay":true}})");
  EXPECT_EQ(flat, nested);
  EXPECT_THAT(flat, ElementsAre(Pair("general.showTagsAsIconOverlay", setting_value(true))));
}

TEST(parse_settings, objects_are_flattened_by_exactly_one_level) {
  EXPECT_THAT(settings_of(R"({"general":{"tags":{"text_domain":["x"]},"tags.text_purpose":["y"],"n":null}})"),
              ElementsAre(Pair("general.tags.text_purpose", setting_value(strings{"y"}))));
  EXPECT_THAT(settings_of(R"({"general":{}})"), IsEmpty());
}

TEST(parse_settings, of_a_key_that_comes_twice_the_later_value_counts) {
  EXPECT_THAT(settings_of(R"({"a":1,"a":"x"})"), ElementsAre(Pair("a", setting_value("x"))));
  EXPECT_THAT(settings_of(R"({"g":{"a":1},"g.a":2})"), ElementsAre(Pair("g.a", setting_value(2))));
  EXPECT_THAT(settings_of(R"({"g.a":2,"g":{"a":1}})"), ElementsAre(Pair("g.a", setting_value(1))));
  EXPECT_THAT(settings_of(R"({"a":1,"a":null})"), ElementsAre(Pair("a", setting_value(1))))
      << "what is ignored replaces nothing";
}

// A document whose section of ours has this as "settings".
std::string with_settings(const std::string& settings) {
  return R"({"apps":[7,{"app_id":"other","settings":{"organize.categories":[{"name":"No"}]}},)"
         R"({"app_id":"quill-box","settings":)" +
         settings + "}]}";
}

TEST(parse_organize_categories, takes_name_extensions_and_the_switch) {
  const auto categories = parse_organize_categories(
      with_settings(R"({"organize.categories":[{"name":"Pictures \u00e9","extensions":["jpg","png"],"enabled":true},)"
                    R"({"name":"Off","extensions":[],"enabled":false},{"name":"Bare"}]})"));
  ASSERT_TRUE(categories);
  EXPECT_THAT(*categories, ElementsAre(organize_category{L"Pictures \u00e9", {L"jpg", L"png"}, true},
                                       organize_category{L"Off", {}, false}, organize_category{L"Bare", {}, true}));
}

TEST(parse_organize_categories, members_of_the_wrong_kind_leave_their_defaults) {
  const auto categories = parse_organize_categories(with_settings(
      R"({"organize.categories":[{"name":"A","extensions":"jpg","enabled":"no"},{"name":"B","extensions":[1,"x",null]}]})"));
  EXPECT_THAT(*categories, ElementsAre(organize_category{L"A", {}, true}, organize_category{L"B", {L"x"}, true}));
}

TEST(parse_organize_categories, what_has_no_name_is_left_out) {
  const auto categories = parse_organize_categories(with_settings(
      R"({"organize.categories":[{"extensions":["jpg"]},{"name":""},{"name":1},7,null,["x"],{"name":"A"}]})"));
  EXPECT_THAT(*categories, ElementsAre(organize_category{L"A", {}, true}));
}

TEST(parse_organize_categories, an_empty_array_or_one_without_names_gives_none) {
  EXPECT_FALSE(parse_organize_categories(with_settings(R"({"organize.categories":[]})")));
  EXPECT_FALSE(parse_organize_categories(with_settings(R"({"organize.categories":[{"extensions":["jpg"]},1]})")));
}

TEST(parse_organize_categories, the_dotted_name_is_taken_literally) {
  EXPECT_FALSE(parse_organize_categories(with_settings(R"({"organize":{"categories":[{"name":"A"}]}})")));
}

TEST(parse_organize_categories, whatever_is_missing_on_the_way_gives_none) {
  for (const std::string& json :
       {std::string(), std::string("[]"), std::string("{}"), std::string(R"({"apps":{}})"),
        std::string(R"({"apps":[]})"), std::string(R"({"apps":[{"app_id":7}]})"),
        std::string(R"({"apps":[{"app_id":"Quill-Box","settings":{"organize.categories":[{"name":"A"}]}}]})"),
        std::string(R"({"apps":[{"app_id":"quill-box"}]})"), with_settings("[]"), with_settings("{}"),
        with_settings(R"({"organize.categories":{}})"),
        with_settings(R"({"organize.categories":[{"name":"A"}]})") + "x"}) {
    EXPECT_FALSE(parse_organize_categories(json)) << json;
  }
}

TEST(parse_organize_categories, only_the_first_section_of_ours_counts) {
  EXPECT_FALSE(parse_organize_categories(
      R"({"apps":[{"app_id":"quill-box"},{"app_id":"quill-box","settings":{"organize.categories":[{"name":"A"}]}}]})"));
}

TEST(default_organize_categories, are_the_table_in_its_order_and_all_enabled) {
  const auto words = [](std::wstring_view text) {
    std::vector<std::wstring> list;
    for (std::size_t end = text.find(L' '); end != std::wstring_view::npos; end = text.find(L' ')) {
      list.emplace_back(text.substr(0, end));
      text.remove_prefix(end + 1);
    }
    list.emplace_back(text);
    return list;
  };
  EXPECT_THAT(
      default_organize_categories(),
      ElementsAre(
          organize_category{L"Images",
                            words(L"jpg jpeg jpe jfif png gif bmp tif tiff webp heic heif avif jxl svg psd arw cr2 cr3 "
                                  L"nef orf raf rw2 dng"),
                            true},
          organize_category{L"Documents",
                            words(L"pdf doc docx xls xlsx ppt pptx txt rtf odt ods odp md csv one epub mobi xps"),
                            true},
          organize_category{L"Videos", words(L"mp4 mov avi mkv wmv flv webm m4v mpg mpeg 3gp mts m2ts"), true},
          organize_category{L"Music", words(L"mp3 wav flac m4a aac ogg wma opus aiff mid midi"), true},
          organize_category{L"Archives", words(L"zip rar 7z tar gz bz2 xz iso cab"), true},
          organize_category{L"Programs", words(L"exe msi msix msixbundle appx appxbundle apk jar"), true}));
}

}  // namespace
