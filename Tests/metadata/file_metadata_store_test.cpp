#include "metadata/file_metadata_store.h"

#include <chrono>
#include <limits>

#include "metadata/metadata_fixture.h"
#include "support/allocation_faults.h"

namespace quill_box::metadata {

namespace {

using namespace std::chrono_literals;
using platform::hresult;
using platform::keywords_key;
using platform::property_value;
using platform::rating_key;
using testing::ElementsAre;
using testing::IsEmpty;

class file_metadata_store_test : public metadata_test {
 protected:
  file_metadata_store store;

  void open(const std::wstring& path) { ASSERT_TRUE(store.open_for_write(path)); }

  int rating_of(const property_value& stored) {
    machine.properties.set_handler_value(photo, rating_key, stored);
    open(photo);
    const int stars = store.get_rating(has_value);
    store.close();
    return stars;
  }

  bool has_value = false;
};

using set_value_with_retry = file_metadata_store_test;
using get_rating = file_metadata_store_test;
using set_rating = file_metadata_store_test;
using get_tags = file_metadata_store_test;
using set_tags = file_metadata_store_test;
using remove_all_tags = file_metadata_store_test;
using commit = file_metadata_store_test;

// --- set_value_with_retry

TEST_F(set_value_with_retry, a_success_ends_it_at_once) {
  open(photo);
  EXPECT_EQ(store.set_value_with_retry(rating_key, 75U), hresult::ok);
  EXPECT_EQ(machine.calls.count("set"), 1U);
  EXPECT_THAT(machine.clock.sleeps(), IsEmpty());
}

TEST_F(set_value_with_retry, three_attempts_with_a_wait_after_each) {
  machine.calls.refuse("set", photo, hresult::fail);
  open(photo);
  EXPECT_EQ(store.set_value_with_retry(rating_key, 75U), hresult::fail);
  EXPECT_EQ(machine.calls.count("set"), 3U);
  EXPECT_THAT(machine.clock.sleeps(), ElementsAre(50ms, 50ms, 50ms));
}

TEST_F(set_value_with_retry, the_third_attempt_can_succeed) {
  machine.calls.refuse("set", photo, hresult::storage_sharing_violation, 2);
  open(photo);
  EXPECT_EQ(store.set_value_with_retry(rating_key, 75U), hresult::ok);
  EXPECT_THAT(machine.clock.sleeps(), ElementsAre(50ms, 50ms));
}

TEST_F(set_value_with_retry, a_store_that_never_will_is_asked_once) {
  for (const hresult code : {hresult::imaging_property_not_supported, hresult::storage_access_denied}) {
    machine.calls.refuse("set", photo, code, 1);
    machine.calls.clear();
    open(photo);
    EXPECT_EQ(store.set_value_with_retry(rating_key, 75U), code);
    EXPECT_EQ(machine.calls.count("set"), 1U);
  }
  EXPECT_THAT(machine.clock.sleeps(), IsEmpty());
}

TEST_F(set_value_with_retry, without_a_store_it_fails) {
  EXPECT_FALSE(succeeded(store.set_value_with_retry(rating_key, 75U)));
}

// --- get_rating

TEST_F(get_rating, stored_percents_become_stars) {
  EXPECT_EQ(rating_of(50U), 3);
  EXPECT_TRUE(has_value);
  EXPECT_EQ(rating_of(99U), 5);
  EXPECT_EQ(rating_of(100U), 5);
  EXPECT_EQ(rating_of(12U), 1);
  EXPECT_EQ(rating_of(101U), 500);
  EXPECT_EQ(rating_of(0U), 0);
  EXPECT_TRUE(has_value);
}

TEST_F(get_rating, a_number_with_a_sign_counts_too) {
  EXPECT_EQ(rating_of(std::int32_t{75}), 4);
  EXPECT_TRUE(has_value);
  EXPECT_EQ(rating_of(std::int32_t{-1}), 500);
  EXPECT_EQ(rating_of(std::numeric_limits<std::int32_t>::min()), 500);
}

TEST_F(get_rating, any_other_type_is_no_value) {
  for (const property_value& value : {property_value(), property_value(L"75"), property_value(tag_vector{L"75"}),
                                      property_value(platform::other_type{11})}) {
    has_value = true;
    EXPECT_EQ(rating_of(value), 0);
    EXPECT_FALSE(has_value);
  }
}

TEST_F(get_rating, without_a_store_it_is_0_and_no_value) {
  has_value = true;
  EXPECT_EQ(store.get_rating(has_value), 0);
  EXPECT_FALSE(has_value);
}

TEST_F(get_rating, a_failing_read_is_raised) {
  machine.calls.refuse("get", photo, hresult::fail);
  open(photo);
  EXPECT_EQ(raised_by([&] { static_cast<void>(store.get_rating(has_value)); }), "Failed to get rating");
}

// --- set_rating and set_tags by the store

TEST_F(set_rating, is_stored_in_percent_at_the_commit) {
  open(photo);
  store.set_rating(3);
  EXPECT_EQ(handler_value(rating_key), no_value);
  store.commit();
  EXPECT_EQ(handler_value(rating_key), property_value(50U));
  EXPECT_EQ(machine.calls.count("open_image"), 0U);
}

TEST_F(set_rating, off_the_scale_is_stored_as_500) {
  open(photo);
  store.set_rating(7);
  store.commit();
  EXPECT_EQ(handler_value(rating_key), property_value(500U));
}

TEST_F(set_tags, are_stored_sorted_without_regard_to_case) {
  open(photo);
  store.set_tags(tag_vector{L"b", L"A", L"c"});
  store.commit();
  EXPECT_EQ(handler_value(keywords_key), property_value(tag_vector{L"A", L"b", L"c"}));
}

TEST_F(set_tags, a_prefix_stands_first_and_equal_ones_stay) {
  open(photo);
  store.set_tags(tag_vector{L"beach house", L"Beach", L"sea", L"sea", L"\u00c4pfel", L"zoo"});
  store.commit();
  EXPECT_EQ(handler_value(keywords_key),
            property_value(tag_vector{L"Beach", L"beach house", L"sea", L"sea", L"zoo", L"\u00c4pfel"}));
}

TEST_F(set_tags, an_empty_list_removes_the_property) {
  machine.properties.set_handler_value(photo, keywords_key, tag_vector{L"a"});
  open(photo);
  store.set_tags(tag_vector());
  store.commit();
  EXPECT_EQ(handler_value(keywords_key), no_value);
}

TEST_F(set_tags, no_memory_for_the_list_is_raised) {
  open(photo);
  const tag_vector tags = {L"a"};
  machine.calls.clear();
  EXPECT_EQ(raised_by([&] {
              const support::allocation_fault fault(1);
              store.set_tags(tags);
            }),
            "Failed to allocate memory for tags");
  EXPECT_THAT(machine.calls.all(), IsEmpty());
}

TEST_F(set_tags, a_store_without_memory_for_the_list_is_raised) {
  machine.calls.refuse("set", photo, hresult::out_of_memory, 1);
  open(photo);
  machine.calls.clear();
  EXPECT_EQ(raised_by([&] { store.set_tags(tag_vector{L"b", L"a"}); }), "Failed to allocate memory for tags");
  EXPECT_THAT(machine.calls.all(), ElementsAre(R"(set(C:\photo.jpg, keywords, [a, b]))"));
}

TEST_F(remove_all_tags, removes_the_property) {
  machine.properties.set_handler_value(photo, keywords_key, tag_vector{L"a", L"b"});
  open(photo);
  store.remove_all_tags();
  store.commit();
  EXPECT_EQ(handler_value(keywords_key), no_value);
}

// --- get_tags

TEST_F(get_tags, come_in_the_order_stored) {
  machine.properties.set_handler_value(photo, keywords_key, tag_vector{L"b", L"A", L"b"});
  open(photo);
  EXPECT_THAT(store.get_tags(), ElementsAre(L"b", L"A", L"b"));
}

TEST_F(get_tags, without_a_store_there_are_none) { EXPECT_THAT(store.get_tags(), IsEmpty()); }

TEST_F(get_tags, another_type_is_no_list) {
  machine.properties.set_handler_value(photo, keywords_key, property_value(L"a;b"));
  open(photo);
  EXPECT_THAT(store.get_tags(), IsEmpty());
}

TEST_F(get_tags, of_a_folder_without_the_property_come_from_its_desktop_ini) {
  machine.write_file(folder_ini, "[QuillBox]\r\nTags=a;;b\r\n");
  open(folder);
  EXPECT_THAT(store.get_tags(), ElementsAre(L"a", L"b"));
}

TEST_F(get_tags, of_a_folder_whose_desktop_ini_can_not_be_read_are_raised) {
  machine.write_file(folder_ini, "[QuillBox]\r\nTags=a\r\n");
  machine.calls.refuse("read_profile", folder_ini, platform::win32_error::access_denied);
  open(folder);
  EXPECT_EQ(raised_by([&] { static_cast<void>(store.get_tags()); }), "Failed to get tags");
}

TEST_F(get_tags, an_empty_list_of_a_folder_counts_as_present) {
  machine.write_file(folder_ini, "[QuillBox]\r\nTags=a\r\n");
  open(folder);
  store.remove_all_tags();
  EXPECT_THAT(store.get_tags(), IsEmpty());
}

TEST_F(get_tags, of_a_file_never_come_from_a_desktop_ini) {
  machine.write_file(LR"(C:\desktop.ini)", "[QuillBox]\r\nTags=a\r\n");
  open(photo);
  EXPECT_THAT(store.get_tags(), IsEmpty());
  EXPECT_EQ(machine.calls.count("read_profile"), 0U);
}

TEST_F(get_tags, a_failing_read_is_raised_and_does_not_pass_for_an_empty_list) {
  machine.calls.refuse("get", photo, hresult::fail);
  open(photo);
  EXPECT_EQ(raised_by([&] { static_cast<void>(store.get_tags()); }), "Failed to get tags");
}

TEST_F(get_tags, a_handler_that_has_no_tags_has_none) {
  for (const hresult code : {hresult::imaging_property_not_found, hresult::imaging_property_not_supported,
                             hresult::not_supported, hresult::not_implemented}) {
    machine.calls.refuse("get", photo, code, 1);
    open(photo);
    EXPECT_THAT(store.get_tags(), IsEmpty());
    store.close();
  }
}

// --- commit

TEST_F(commit, without_a_store_it_does_nothing) {
  store.commit();
  EXPECT_THAT(machine.calls.all(), IsEmpty());
}

TEST_F(commit, a_sharing_violation_is_waited_for) {
  machine.calls.refuse("commit", photo, hresult::storage_sharing_violation, 2);
  open(photo);
  store.set_rating(5);
  store.commit();
  EXPECT_EQ(handler_value(rating_key), property_value(99U));
  EXPECT_THAT(machine.clock.sleeps(), ElementsAre(50ms, 50ms));
}

TEST_F(commit, three_sharing_violations_are_raised_with_the_code) {
  for (const hresult code : {hresult::storage_sharing_violation, hresult::sharing_violation}) {
    machine.calls.refuse("commit", photo, code, 3);
    machine.calls.clear();
    open(photo);
    store.set_rating(5);
    EXPECT_EQ(raised_by([&] { store.commit(); }), code == hresult::sharing_violation
                                                      ? "Failed to commit changes to metadata. Error: 0x80070020"
                                                      : "Failed to commit changes to metadata. Error: 0x80030020");
    EXPECT_EQ(machine.calls.count("commit"), 3U);
    EXPECT_EQ(machine.calls.count("sleep"), 3U);
    store.close();
  }
  EXPECT_EQ(handler_value(rating_key), no_value);
}

TEST_F(commit, any_other_failure_is_repeated_at_once_and_not_counted) {
  machine.calls.refuse("commit", photo, hresult::storage_medium_full, 1000);
  open(photo);
  store.set_rating(5);
  store.commit();
  EXPECT_EQ(machine.calls.count("commit"), 1001U);
  EXPECT_THAT(machine.clock.sleeps(), IsEmpty());
  EXPECT_EQ(handler_value(rating_key), property_value(99U));
}

TEST_F(commit, only_sharing_violations_count_among_other_failures) {
  machine.calls.refuse("commit", photo, hresult::sharing_violation, 2);
  machine.calls.before("commit", 3, [this] { machine.calls.refuse("commit", photo, hresult::fail, 4); });
  open(photo);
  store.set_rating(5);
  store.commit();
  EXPECT_EQ(machine.calls.count("commit"), 7U);
  EXPECT_EQ(machine.calls.count("sleep"), 2U);
}

TEST_F(commit, of_a_file_touches_no_desktop_ini) {
  open(photo);
  store.set_rating(5);
  store.commit();
  EXPECT_EQ(machine.calls.count("read_profile"), 0U);
  EXPECT_FALSE(machine.exists(LR"(C:\desktop.ini)"));
}

// --- the constructor with a path

TEST_F(file_metadata_store_test, a_store_that_knows_its_path_opens_nothing) {
  {
    const file_metadata_store knowing(photo);
    EXPECT_THAT(knowing.get_tags(), IsEmpty());
  }
  EXPECT_THAT(machine.calls.all(), IsEmpty());
}

}  // namespace

}  // namespace quill_box::metadata
