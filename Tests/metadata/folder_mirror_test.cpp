#include "metadata/folder_mirror.h"

#include <optional>

#include "metadata/file_metadata_store.h"
#include "metadata/metadata_fixture.h"
#include "text/conversions.h"

namespace quill_box::metadata {

namespace {

namespace attribute = platform::attribute;
using namespace std::string_view_literals;
using platform::hresult;
using platform::keywords_key;
using platform::property_value;
using platform::rating_key;
using platform::win32_error;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

const std::wstring keyword_section = L"{F29F85E0-4FF9-1068-AB91-08002B27B3D9}";
constexpr std::uint32_t hidden_and_system = attribute::hidden | attribute::system;

class folder_mirror : public metadata_test {
 protected:
  std::wstring value(const std::wstring& section, const std::wstring& key) {
    const auto read = machine.profiles.read(folder_ini, section, key, 100'000);
    return read ? *read : L"?";
  }
  std::wstring tags() { return value(L"QuillBox", L"Tags"); }
  std::wstring rating() { return value(L"QuillBox", L"Rating"); }
  std::wstring keywords() { return value(keyword_section, L"Prop5"); }

  // As an action does it.
  template <class Change>
  void change_folder(Change change) {
    file_metadata_store store;
    ASSERT_TRUE(store.open_for_write(folder));
    change(store);
    store.commit();
  }
  void tag_folder(const tag_vector& list) {
    change_folder([&](file_metadata_store& store) { store.set_tags(list); });
  }
  void rate_folder(int stars) {
    change_folder([&](file_metadata_store& store) { store.set_rating(stars); });
  }
};

TEST_F(folder_mirror, the_path_of_the_ini_keeps_the_style_of_its_folder) {
  EXPECT_EQ(desktop_ini_path(LR"(C:\folder)"), LR"(C:\folder\desktop.ini)");
  EXPECT_EQ(desktop_ini_path(LR"(C:\)"), LR"(C:\desktop.ini)");
  EXPECT_EQ(desktop_ini_path(L"/home/u"), L"/home/u/desktop.ini");
}

// --- read_own_folder_tags

TEST_F(folder_mirror, own_tags_are_split_and_empty_ones_dropped) {
  machine.write_file(folder_ini, "[QuillBox]\r\nTags=;a; b;;c;\r\n");
  EXPECT_THAT(*read_own_folder_tags(folder), ElementsAre(L"a", L" b", L"c"));
}

TEST_F(folder_mirror, without_an_ini_there_are_no_own_tags) { EXPECT_THAT(*read_own_folder_tags(folder), IsEmpty()); }

TEST_F(folder_mirror, own_tags_beyond_the_buffer_are_read_truncated) {
  machine.write_file(folder_ini, "[QuillBox]\r\nTags=" + std::string(4090, 'a') + ";bcdefgh\r\n");
  EXPECT_THAT(*read_own_folder_tags(folder), ElementsAre(std::wstring(4090, L'a'), L"bcde"));
}

TEST_F(folder_mirror, own_tags_that_can_not_be_read_are_a_failure) {
  machine.write_file(folder_ini, "[QuillBox]\r\nTags=a\r\n");
  machine.calls.refuse("read_profile", folder_ini, win32_error::sharing_violation, 1);
  EXPECT_EQ(read_own_folder_tags(folder).error(), win32_error::sharing_violation);
}

// --- merged_keywords

TEST_F(folder_mirror, others_keywords_stay_in_place_and_new_tags_follow) {
  EXPECT_THAT(merged_keywords({L"x", L"a", L"y"}, tag_vector{L"a"}, tag_vector{L"a", L"b"}),
              ElementsAre(L"x", L"y", L"a", L"b"));
}

TEST_F(folder_mirror, keywords_are_compared_without_case) {
  EXPECT_THAT(merged_keywords({L"X", L"A", L"\u00c4"}, tag_vector{L"a"}, tag_vector{L"x", L"b", L"B", L"\u00e4"}),
              ElementsAre(L"X", L"\u00c4", L"b"));
}

TEST_F(folder_mirror, every_entry_that_equals_an_old_tag_goes) {
  EXPECT_THAT(merged_keywords({L"a", L"x", L"A", L"b"}, tag_vector{L"A", L"B"}, tag_vector{}), ElementsAre(L"x"));
}

// --- commit on a folder

TEST_F(folder_mirror, a_new_ini_starts_with_the_utf16_mark_and_an_empty_line) {
  change_folder([](file_metadata_store& store) {
    store.set_tags(tag_vector{L"b", L"a\u0416"});
    store.set_rating(4);
  });
  EXPECT_THAT(machine.read_file(folder_ini), StartsWith("\xff\xfe\r\0\n\0"sv));
  EXPECT_EQ(tags(), L"a\u0416;b");
  EXPECT_EQ(rating(), L"4");
  EXPECT_EQ(keywords(), L"31,a\u0416;b");
}

TEST_F(folder_mirror, a_new_ini_is_made_for_us_alone_and_never_over_another) {
  rate_folder(4);
  EXPECT_THAT(machine.calls.named({"open", "write"}),
              ElementsAre(R"(open(C:\folder\desktop.ini, write, share none, create_new))",
                          R"(write(C:\folder\desktop.ini, 6))"));
}

TEST_F(folder_mirror, a_new_ini_ends_up_hidden_and_system) {
  rate_folder(4);
  EXPECT_EQ(attributes_of(folder_ini), hidden_and_system);
}

TEST_F(folder_mirror, an_existing_ini_keeps_its_attributes) {
  for (const std::uint32_t bits : {attribute::read_only | hidden_and_system, attribute::hidden,
                                   attribute::system | attribute::archive, attribute::archive}) {
    machine.write_file(folder_ini, "[Other]\r\nKey=value\r\n");
    machine.entry(folder_ini).attributes = bits;
    rate_folder(3);
    EXPECT_EQ(attributes_of(folder_ini), bits);
    EXPECT_EQ(rating(), L"3");
    EXPECT_EQ(value(L"Other", L"Key"), L"value");
  }
}

TEST_F(folder_mirror, a_protected_ini_is_normal_for_the_duration) {
  machine.write_file(folder_ini, "");
  machine.entry(folder_ini).attributes = attribute::hidden;
  rate_folder(3);
  EXPECT_EQ(machine.calls.named({"set_attributes"}).front(), R"(set_attributes(C:\folder\desktop.ini, normal))");
  EXPECT_EQ(machine.calls.named({"set_attributes"}).back(), R"(set_attributes(C:\folder\desktop.ini, hidden))");
}

TEST_F(folder_mirror, an_ini_without_protection_is_given_its_attributes_once) {
  machine.write_file(folder_ini, "");
  machine.entry(folder_ini).attributes = attribute::archive;
  rate_folder(3);
  EXPECT_THAT(machine.calls.named({"set_attributes"}),
              ElementsAre(R"(set_attributes(C:\folder\desktop.ini, archive))"));
}

TEST_F(folder_mirror, nothing_to_mirror_makes_no_ini) {
  rate_folder(0);
  EXPECT_FALSE(machine.exists(folder_ini));
  EXPECT_EQ(machine.calls.count("write_profile"), 0U);
  EXPECT_EQ(machine.calls.count("delete_section"), 0U);
}

TEST_F(folder_mirror, a_rating_of_0_removes_its_key_and_tags_stay) {
  change_folder([](file_metadata_store& store) {
    store.set_tags(tag_vector{L"a"});
    store.set_rating(4);
  });
  rate_folder(0);
  EXPECT_EQ(rating(), L"");
  EXPECT_EQ(tags(), L"a");
  EXPECT_EQ(keywords(), L"31,a");
}

TEST_F(folder_mirror, removing_the_tags_removes_their_key_and_the_rating_stays) {
  change_folder([](file_metadata_store& store) {
    store.set_tags(tag_vector{L"a"});
    store.set_rating(4);
  });
  change_folder([](file_metadata_store& store) { store.remove_all_tags(); });
  EXPECT_EQ(tags(), L"");
  EXPECT_EQ(rating(), L"4");
  EXPECT_EQ(keywords(), L"");
}

TEST_F(folder_mirror, without_tags_and_rating_the_whole_own_section_goes) {
  rate_folder(4);
  ASSERT_EQ(machine.profiles.write(folder_ini, L"QuillBox", L"Other", L"value"), win32_error::success);
  machine.calls.clear();
  rate_folder(0);
  EXPECT_EQ(value(L"QuillBox", L"Other"), L"");
  EXPECT_THAT(machine.calls.named({"delete_section", "write_profile"}),
              ElementsAre(R"(delete_section(C:\folder\desktop.ini, QuillBox))"));
}

TEST_F(folder_mirror, a_rating_alone_leaves_others_keywords_alone) {
  machine.write_file(folder_ini, "[{F29F85E0-4FF9-1068-AB91-08002B27B3D9}]\r\nProp5=31,x\r\n");
  rate_folder(4);
  EXPECT_EQ(keywords(), L"31,x");
}

TEST_F(folder_mirror, keywords_of_other_programs_stand_in_front_of_ours) {
  machine.write_file(folder_ini,
                     "[QuillBox]\r\nTags=a\r\n[{F29F85E0-4FF9-1068-AB91-08002B27B3D9}]\r\nProp5=31,x;a\r\n");
  tag_folder({L"a", L"b"});
  EXPECT_EQ(keywords(), L"31,x;a;b");
  EXPECT_EQ(tags(), L"a;b");
}

TEST_F(folder_mirror, removing_all_our_tags_deletes_keywords_of_others_too) {
  machine.write_file(folder_ini,
                     "[QuillBox]\r\nTags=a\r\n[{F29F85E0-4FF9-1068-AB91-08002B27B3D9}]\r\nProp5=31,x;a\r\n");
  change_folder([](file_metadata_store& store) { store.remove_all_tags(); });
  EXPECT_EQ(keywords(), L"");
  EXPECT_EQ(tags(), L"");
}

TEST_F(folder_mirror, a_tag_that_we_no_longer_have_leaves_the_keywords) {
  machine.write_file(folder_ini,
                     "[QuillBox]\r\nTags=a;b\r\n[{F29F85E0-4FF9-1068-AB91-08002B27B3D9}]\r\nProp5=31,A;;x;b\r\n");
  tag_folder({L"b", L"X"});
  EXPECT_EQ(keywords(), L"31,x;b");
}

TEST_F(folder_mirror, keywords_without_the_type_in_front_are_taken_as_they_are) {
  machine.write_file(folder_ini, "[{F29F85E0-4FF9-1068-AB91-08002B27B3D9}]\r\nProp5=x;31,y\r\n");
  tag_folder({L"a"});
  EXPECT_EQ(keywords(), L"31,x;31,y;a");
}

TEST_F(folder_mirror, keywords_of_others_beyond_the_buffer_are_cut_when_rewritten) {
  const std::string others = "31," + std::string(4090, 'x') + ";lost";
  machine.write_file(folder_ini, "[{F29F85E0-4FF9-1068-AB91-08002B27B3D9}]\r\nProp5=" + others + "\r\n");
  tag_folder({L"a"});
  EXPECT_EQ(keywords(), L"31," + std::wstring(4090, L'x') + L";l;a");
}

TEST_F(folder_mirror, tags_rating_and_keywords_are_written_in_this_order) {
  change_folder([](file_metadata_store& store) {
    store.set_tags(tag_vector{L"a", L"b"});
    store.set_rating(4);
  });
  EXPECT_THAT(
      machine.calls.named({"open", "write_profile", "delete_section", "set_attributes"}),
      ElementsAre(R"(open(C:\folder\desktop.ini, write, share none, create_new))",
                  R"(write_profile(C:\folder\desktop.ini, QuillBox, Tags, a;b))",
                  R"(write_profile(C:\folder\desktop.ini, QuillBox, Rating, 4))",
                  R"(write_profile(C:\folder\desktop.ini, {F29F85E0-4FF9-1068-AB91-08002B27B3D9}, Prop5, 31,a;b))",
                  R"(set_attributes(C:\folder\desktop.ini, hidden|system))"));
}

TEST_F(folder_mirror, a_stored_rating_off_the_scale_is_mirrored_as_500) {
  rate_folder(7);
  EXPECT_EQ(set_value(folder, rating_key), property_value(500U));
  EXPECT_EQ(rating(), L"500");
}

TEST_F(folder_mirror, a_rating_of_another_type_counts_as_0) {
  machine.properties.set_property_set_value(folder, rating_key, property_value(L"4"));
  tag_folder({L"a"});
  EXPECT_EQ(rating(), L"");
}

TEST_F(folder_mirror, own_tags_of_the_ini_are_not_mirrored_as_new_ones) {
  machine.write_file(folder_ini, "[QuillBox]\r\nTags=a\r\n");
  rate_folder(4);
  EXPECT_EQ(tags(), L"");
  EXPECT_EQ(rating(), L"4");
}

TEST_F(folder_mirror, a_rating_that_can_not_be_read_back_is_raised) {
  machine.calls.before("commit", 1, [this] {
    // The first value read behind the commit is the tag list.
    machine.calls.before("get", 2, [this] { machine.calls.refuse("get", folder, hresult::fail); });
  });
  EXPECT_EQ(raised_by([this] { rate_folder(4); }), "Failed to get rating");
}

TEST_F(folder_mirror, tags_that_can_not_be_read_back_are_raised_and_nothing_is_deleted) {
  machine.write_file(folder_ini, "[QuillBox]\r\nTags=a\r\n");
  machine.calls.refuse("get", folder, hresult::fail);
  EXPECT_EQ(raised_by([this] { rate_folder(4); }), "Failed to get tags");
  EXPECT_EQ(tags(), L"a");
}

// --- failures of the mirror: logged, and the other steps run

const char* const logged_denial =
    R"([WARNING] Folder metadata: C:\folder\desktop.ini could not be brought up to date: Access is denied.)";

TEST_F(folder_mirror, without_a_new_ini_the_keys_are_written_regardless) {
  machine.calls.refuse("open", folder_ini, win32_error::access_denied);
  rate_folder(4);
  EXPECT_EQ(rating(), L"4");
  EXPECT_EQ(attributes_of(folder_ini), hidden_and_system);
  EXPECT_THAT(machine.log_lines(), ElementsAre(logged_denial));
}

TEST_F(folder_mirror, an_ini_that_takes_no_keys_is_logged_and_protected_again) {
  machine.write_file(folder_ini, "[QuillBox]\r\nTags=a\r\n");
  machine.entry(folder_ini).attributes = hidden_and_system;
  for (const char* step : {"write_profile", "delete_section"}) {
    machine.calls.refuse(step, folder_ini, win32_error::access_denied);
  }
  rate_folder(4);
  rate_folder(0);
  EXPECT_EQ(attributes_of(folder_ini), hidden_and_system);
  EXPECT_THAT(machine.log_lines(), ElementsAre(logged_denial, logged_denial));
  EXPECT_EQ(set_value(folder, rating_key), property_value(0U));
}

TEST_F(folder_mirror, keywords_that_can_not_be_read_are_not_replaced) {
  // The first read is of the own tags, the second of all keywords.
  for (const std::size_t failing_read : {1U, 2U}) {
    machine.write_file(folder_ini, "[{F29F85E0-4FF9-1068-AB91-08002B27B3D9}]\r\nProp5=31,x\r\n");
    machine.calls.before("read_profile", failing_read,
                         [this] { machine.calls.refuse("read_profile", folder_ini, win32_error::access_denied, 1); });
    tag_folder({L"a"});
    EXPECT_EQ(keywords(), L"31,x");
    EXPECT_EQ(tags(), L"a");
    EXPECT_EQ(set_value(folder, keywords_key), property_value(tag_vector{L"a"}));
  }
  EXPECT_THAT(machine.log_lines(), ElementsAre(logged_denial, logged_denial));
}

TEST_F(folder_mirror, without_the_old_tags_the_keywords_are_not_deleted) {
  machine.write_file(folder_ini,
                     "[QuillBox]\r\nTags=a\r\n[{F29F85E0-4FF9-1068-AB91-08002B27B3D9}]\r\nProp5=31,x;a\r\n");
  machine.calls.refuse("read_profile", folder_ini, win32_error::access_denied, 1);
  change_folder([](file_metadata_store& store) { store.remove_all_tags(); });
  EXPECT_EQ(keywords(), L"31,x;a");
  EXPECT_THAT(machine.log_lines(), ElementsAre(logged_denial));
}

TEST_F(folder_mirror, an_ini_that_keeps_its_protection_is_logged) {
  machine.write_file(folder_ini, "");
  machine.entry(folder_ini).attributes = attribute::read_only;
  machine.calls.refuse("set_attributes", folder_ini, win32_error::access_denied, 1);
  rate_folder(4);
  EXPECT_THAT(machine.log_lines(), ElementsAre(logged_denial));
}

TEST_F(folder_mirror, a_full_disk_is_logged) {
  machine.disk.drive(L"C:").free_bytes = 0;
  machine.calls.refuse("write", folder_ini, win32_error::access_denied, 1);
  mirror_folder_metadata(folder, tag_vector{L"a"}, 4);
  machine.disk.drive(L"C:").free_bytes.reset();
  logging::log(logging::level::info, "space again");
  EXPECT_EQ(tags(), L"");
  EXPECT_EQ(attributes_of(folder_ini), hidden_and_system);
}

TEST_F(folder_mirror, a_mark_that_is_written_in_part_is_logged) {
  machine.calls.before("write", 1, [this] { machine.disk.drive(L"C:").free_bytes = 3; });
  machine.calls.before("write_profile", 1, [this] { machine.disk.drive(L"C:").free_bytes.reset(); });
  rate_folder(4);
  EXPECT_THAT(machine.log_lines(), ElementsAre(R"([WARNING] Folder metadata: C:\folder\desktop.ini could not be )"
                                               "brought up to date: There is not enough space on the disk."));
}

TEST_F(folder_mirror, an_ini_whose_attributes_can_not_be_read_keeps_them) {
  machine.write_file(folder_ini, "");
  machine.entry(folder_ini).attributes = attribute::hidden;
  machine.calls.refuse("attributes", folder_ini, win32_error::access_denied);
  rate_folder(4);
  EXPECT_EQ(machine.calls.count("set_attributes"), 0U);
  EXPECT_TRUE(machine.entry(folder_ini).has(attribute::hidden));
  EXPECT_EQ(rating(), L"4");
  EXPECT_THAT(machine.log_lines(), ElementsAre(logged_denial));
}

TEST_F(folder_mirror, an_ini_that_is_missing_behind_failing_attributes_is_made_as_any_new_one) {
  machine.calls.refuse("attributes", folder_ini, win32_error::access_denied);
  rate_folder(4);
  EXPECT_THAT(machine.read_file(folder_ini), StartsWith("\xff\xfe\r\0\n\0"sv));
  EXPECT_EQ(attributes_of(folder_ini), hidden_and_system);
  EXPECT_THAT(machine.log_lines(), ElementsAre(logged_denial));
}

TEST_F(folder_mirror, an_ini_that_can_not_be_looked_for_is_logged_when_nothing_is_to_be_written) {
  machine.write_file(folder_ini, "[QuillBox]\r\nTags=a\r\n");
  machine.calls.refuse("attributes", folder_ini, win32_error::access_denied);
  mirror_folder_metadata(folder, {}, 0);
  EXPECT_EQ(tags(), L"a");
  EXPECT_THAT(machine.log_lines(), ElementsAre(logged_denial));
}

}  // namespace

}  // namespace quill_box::metadata
