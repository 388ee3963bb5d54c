#include <new>

#include "metadata/file_metadata_store.h"
#include "metadata/metadata_fixture.h"

namespace quill_box::metadata {

namespace {

namespace attribute = platform::attribute;
using platform::hresult;
using platform::rating_key;
using platform::win32_error;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t placeholder_bits[] = {attribute::offline, attribute::recall_on_open,
                                              attribute::recall_on_data_access};

using open_for_write = metadata_test;
using open_for_read = metadata_test;
using open_property_set_for_read = metadata_test;

// --- open_for_write

TEST_F(open_for_write, an_empty_path_is_false) {
  file_metadata_store store;
  EXPECT_FALSE(store.open_for_write(L""));
  EXPECT_THAT(machine.calls.all(), IsEmpty());
}

TEST_F(open_for_write, a_missing_file_is_false_and_no_error) {
  file_metadata_store store;
  EXPECT_FALSE(store.open_for_write(LR"(C:\missing.jpg)"));
  EXPECT_THAT(machine.calls.all(), ElementsAre(R"(attributes(C:\missing.jpg))"));
}

TEST_F(open_for_write, a_cloud_placeholder_is_false_and_no_download) {
  for (const std::uint32_t bit : placeholder_bits) {
    machine.entry(photo).attributes = bit;
    machine.calls.clear();
    file_metadata_store store;
    EXPECT_FALSE(store.open_for_write(photo));
    EXPECT_THAT(machine.calls.all(), ElementsAre(R"(attributes(C:\photo.jpg))"));
  }
}

TEST_F(open_for_write, a_placeholder_folder_is_false) {
  machine.entry(folder).attributes |= attribute::recall_on_open;
  file_metadata_store store;
  EXPECT_FALSE(store.open_for_write(folder));
  EXPECT_EQ(machine.calls.count("open_property_set_storage"), 0U);
}

TEST_F(open_for_write, a_file_is_opened_by_the_handler_of_its_type) {
  file_metadata_store store;
  EXPECT_TRUE(store.open_for_write(photo));
  EXPECT_THAT(machine.calls.all(),
              ElementsAre(R"(attributes(C:\photo.jpg))", R"(open_handler_store(C:\photo.jpg, read_write))"));
}

TEST_F(open_for_write, a_file_without_a_handler_is_opened_by_its_property_set) {
  {
    file_metadata_store store;
    ASSERT_TRUE(store.open_for_write(text_file));
    store.set_rating(4);
    store.commit();
  }
  EXPECT_EQ(set_value(text_file, rating_key), platform::property_value(75U));
  EXPECT_THAT(machine.calls.named({"open_handler_store", "open_property_set_storage", "create_store", "release_storage",
                                   "commit", "release_store"}),
              ElementsAre(R"(open_handler_store(C:\text.txt, read_write))",
                          R"(open_property_set_storage(C:\text.txt, read_write_exclusive))",
                          R"(create_store(C:\text.txt, write))", R"(release_storage(C:\text.txt))",
                          R"(commit(C:\text.txt))", R"(release_store(C:\text.txt))"));
}

TEST_F(open_for_write, when_both_routes_fail_the_first_failure_is_raised_in_lower_case_hexadecimal) {
  machine.calls.refuse("open_property_set_storage", text_file, hresult::storage_access_denied);
  file_metadata_store store;
  EXPECT_EQ(raised_by([&] { static_cast<void>(store.open_for_write(text_file)); }),
            "Failed to write new metadata. Error provided by Windows: Class not registered Error code: 0x80040154");
}

TEST_F(open_for_write, a_failure_without_a_text_says_so) {
  machine.calls.refuse("open_handler_store", photo, hresult::imaging_unknown_format);
  machine.calls.refuse("create_store", photo, hresult::fail);
  file_metadata_store store;
  EXPECT_EQ(raised_by([&] { static_cast<void>(store.open_for_write(photo)); }),
            "Failed to write new metadata. Error provided by Windows: Unknown HRESULT error. Error code: 0x88982f07");
}

TEST_F(open_for_write, a_file_that_vanished_meanwhile_is_false) {
  machine.calls.refuse("open_property_set_storage", photo, hresult::fail);
  for (const hresult code : {hresult::storage_file_not_found, hresult::file_not_found, hresult::path_not_found}) {
    machine.calls.refuse("open_handler_store", photo, code, 1);
    file_metadata_store store;
    EXPECT_FALSE(store.open_for_write(photo));
  }
}

TEST_F(open_for_write, a_path_that_storage_does_not_find_is_an_error) {
  machine.calls.refuse("open_handler_store", photo, hresult::storage_path_not_found);
  machine.calls.refuse("open_property_set_storage", photo, hresult::fail);
  file_metadata_store store;
  EXPECT_EQ(raised_by([&] { static_cast<void>(store.open_for_write(photo)); }),
            "Failed to write new metadata. Error provided by Windows: Unknown HRESULT error. Error code: 0x80030003");
}

TEST_F(open_for_write, a_folder_is_opened_by_its_property_set) {
  file_metadata_store store;
  EXPECT_TRUE(store.open_for_write(folder));
  EXPECT_THAT(machine.calls.all(),
              ElementsAre(R"(attributes(C:\folder))", R"(open_property_set_storage(C:\folder, read_write_exclusive))",
                          R"(create_store(C:\folder, write))", R"(release_storage(C:\folder))"));
}

TEST_F(open_for_write, a_folder_that_takes_no_property_set_is_false_and_logged) {
  machine.calls.refuse("open_property_set_storage", folder, hresult::storage_access_denied);
  file_metadata_store store;
  EXPECT_FALSE(store.open_for_write(folder));
  EXPECT_THAT(machine.log_lines(),
              ElementsAre(R"([WARNING] Folder metadata: C:\folder takes no rating and no tags: Access Denied.)"));
}

TEST_F(open_for_write, a_protected_folder_is_writable_until_close) {
  for (const std::uint32_t bits : {attribute::read_only, attribute::system, attribute::read_only | attribute::system}) {
    const std::uint32_t before = attribute::directory | attribute::hidden | bits;
    machine.entry(folder).attributes = before;
    file_metadata_store store;
    ASSERT_TRUE(store.open_for_write(folder));
    EXPECT_EQ(attributes_of(folder), attribute::directory | attribute::hidden);
    store.close();
    EXPECT_EQ(attributes_of(folder), before);
  }
}

TEST_F(open_for_write, a_protected_folder_is_protected_again_after_its_store_is_released) {
  machine.entry(folder).attributes |= attribute::system;
  {
    file_metadata_store store;
    ASSERT_TRUE(store.open_for_write(folder));
  }
  EXPECT_TRUE(machine.entry(folder).has(attribute::system));
  EXPECT_THAT(machine.calls.named({"set_attributes", "release_store"}),
              ElementsAre(R"(set_attributes(C:\folder, directory))", R"(release_store(C:\folder))",
                          R"(set_attributes(C:\folder, system|directory))"));
}

TEST_F(open_for_write, a_protected_folder_whose_open_fails_is_protected_again_at_once) {
  machine.entry(folder).attributes |= attribute::read_only;
  for (const char* operation : {"open_property_set_storage", "create_store"}) {
    machine.calls.refuse(operation, folder, hresult::fail, 1);
    file_metadata_store store;
    EXPECT_FALSE(store.open_for_write(folder));
    EXPECT_TRUE(machine.entry(folder).has(attribute::read_only));
  }
  EXPECT_EQ(machine.calls.count("release_storage"), 1U);
}

TEST_F(open_for_write, a_protected_folder_whose_open_runs_out_of_memory_is_protected_again) {
  machine.entry(folder).attributes |= attribute::read_only;
  for (const char* operation : {"open_property_set_storage", "create_store"}) {
    machine.calls.before(operation, 1, [] { throw std::bad_alloc(); });
    file_metadata_store store;
    EXPECT_THROW(static_cast<void>(store.open_for_write(folder)), std::bad_alloc) << operation;
    EXPECT_TRUE(machine.entry(folder).has(attribute::read_only)) << operation;
  }
}

TEST_F(open_for_write, a_folder_that_can_not_be_protected_again_is_logged) {
  machine.entry(folder).attributes |= attribute::read_only;
  file_metadata_store store;
  ASSERT_TRUE(store.open_for_write(folder));
  machine.calls.refuse("set_attributes", folder, win32_error::access_denied);
  store.close();
  EXPECT_THAT(
      machine.log_lines(),
      ElementsAre(R"([WARNING] Folder metadata: C:\folder could not be given its attributes back: Access is denied.)"));
}

TEST_F(open_for_write, attributes_of_a_file_are_left_alone) {
  machine.entry(text_file).attributes = attribute::system;
  file_metadata_store store;
  EXPECT_TRUE(store.open_for_write(text_file));
  store.close();
  EXPECT_EQ(machine.calls.count("set_attributes"), 0U);
}

TEST_F(open_for_write, a_store_on_another_path_is_closed_first) {
  file_metadata_store store;
  ASSERT_TRUE(store.open_for_write(folder));
  machine.calls.clear();
  EXPECT_TRUE(store.open_for_write(photo));
  EXPECT_EQ(machine.calls.all().front(), R"(release_store(C:\folder))");
}

TEST_F(open_for_write, the_path_is_compared_to_the_letter) {
  file_metadata_store store;
  ASSERT_TRUE(store.open_for_write(folder));
  machine.calls.clear();
  EXPECT_TRUE(store.open_for_write(LR"(C:\FOLDER)"));
  EXPECT_EQ(machine.calls.all().front(), R"(release_store(C:\folder))");
}

TEST_F(open_for_write, a_read_store_on_the_same_path_is_closed_first) {
  file_metadata_store store;
  for (const std::wstring& path : {folder, photo}) {
    ASSERT_TRUE(store.open_for_read(path, read_speed::normal));
    machine.calls.clear();
    EXPECT_TRUE(store.open_for_write(path));
    EXPECT_THAT(machine.calls.all()[1], testing::StartsWith("release_store("));
  }
}

TEST_F(open_for_write, a_write_store_on_the_same_folder_stays) {
  machine.entry(folder).attributes |= attribute::read_only;
  file_metadata_store store;
  ASSERT_TRUE(store.open_for_write(folder));
  store.set_rating(4);
  EXPECT_TRUE(store.open_for_write(folder));
  EXPECT_EQ(machine.calls.count("open_property_set_storage"), 1U);
  bool has_value = false;
  EXPECT_EQ(store.get_rating(has_value), 4);
  store.close();
  EXPECT_TRUE(machine.entry(folder).has(attribute::read_only));
}

// --- open_for_read

TEST_F(open_for_read, an_empty_path_is_false) {
  file_metadata_store store;
  EXPECT_FALSE(store.open_for_read(L"", read_speed::normal));
}

TEST_F(open_for_read, a_missing_file_is_false_and_tells_the_code) {
  file_metadata_store store;
  EXPECT_FALSE(store.open_for_read(LR"(C:\missing.jpg)", read_speed::normal));
  EXPECT_EQ(store.last_error(), hresult::file_not_found);
}

TEST_F(open_for_read, a_cloud_placeholder_is_false_and_no_download) {
  for (const std::uint32_t bit : placeholder_bits) {
    machine.entry(photo).attributes = bit;
    machine.calls.clear();
    file_metadata_store store;
    EXPECT_FALSE(store.open_for_read(photo, read_speed::normal));
    EXPECT_TRUE(store.blocked_by_placeholder());
    EXPECT_THAT(machine.calls.all(), ElementsAre(R"(attributes(C:\photo.jpg))"));
  }
}

TEST_F(open_for_read, normal_speed_takes_all_properties) {
  file_metadata_store store;
  EXPECT_TRUE(store.open_for_read(photo, read_speed::normal));
  EXPECT_THAT(machine.calls.named({"open_handler_store"}), ElementsAre(R"(open_handler_store(C:\photo.jpg, read))"));
}

TEST_F(open_for_read, fast_speed_takes_those_of_the_file_itself) {
  file_metadata_store store;
  EXPECT_TRUE(store.open_for_read(photo, read_speed::fast));
  EXPECT_THAT(machine.calls.named({"open_handler_store"}),
              ElementsAre(R"(open_handler_store(C:\photo.jpg, handler_properties_only))"));
}

TEST_F(open_for_read, fast_speed_takes_all_properties_of_a_link) {
  machine.entry(photo).attributes |= attribute::reparse_point;
  file_metadata_store store;
  EXPECT_TRUE(store.open_for_read(photo, read_speed::fast));
  EXPECT_THAT(machine.calls.named({"open_handler_store"}), ElementsAre(R"(open_handler_store(C:\photo.jpg, read))"));
}

TEST_F(open_for_read, a_failed_fast_open_is_tried_once_more_with_all_properties) {
  machine.calls.refuse("open_handler_store", photo, hresult::fail, 1);
  file_metadata_store store;
  EXPECT_TRUE(store.open_for_read(photo, read_speed::fast));
  EXPECT_THAT(machine.calls.named({"open_handler_store"}),
              ElementsAre(R"(open_handler_store(C:\photo.jpg, handler_properties_only))",
                          R"(open_handler_store(C:\photo.jpg, read))"));
}

TEST_F(open_for_read, a_file_without_a_handler_is_read_by_its_property_set) {
  machine.properties.set_property_set_value(text_file, rating_key, 50U);
  file_metadata_store store;
  EXPECT_TRUE(store.open_for_read(text_file, read_speed::normal));
  bool has_value = false;
  EXPECT_EQ(store.get_rating(has_value), 3);
  EXPECT_TRUE(has_value);
}

TEST_F(open_for_read, a_folder_is_read_by_its_property_set_and_keeps_its_attributes) {
  machine.entry(folder).attributes |= attribute::read_only;
  file_metadata_store store;
  EXPECT_TRUE(store.open_for_read(folder, read_speed::fast));
  EXPECT_THAT(machine.calls.named({"open_property_set_storage", "set_attributes", "open_handler_store"}),
              ElementsAre(R"(open_property_set_storage(C:\folder, read_deny_write))"));
}

TEST_F(open_for_read, when_both_routes_fail_the_last_error_is_raised_in_upper_case_hexadecimal) {
  machine.calls.refuse("open_property_set_storage", text_file, win32_error::invalid_name);
  file_metadata_store store;
  EXPECT_EQ(raised_by([&] { static_cast<void>(store.open_for_read(text_file, read_speed::normal)); }),
            "Failed to open metadata 0x8007007B The filename, directory name, or volume label syntax is incorrect.");
  machine.calls.refuse("create_store", photo, win32_error::access_denied);
  machine.calls.refuse("open_handler_store", photo, hresult::fail);
  EXPECT_EQ(raised_by([&] { static_cast<void>(store.open_for_read(photo, read_speed::fast)); }),
            "Failed to open metadata 0x80070005 Access is denied.");
}

TEST_F(open_for_read, a_failure_that_leaves_no_last_error_is_raised_with_the_code_0) {
  machine.calls.refuse("open_property_set_storage", text_file, hresult::storage_file_not_found);
  machine.errors.set_text(win32_error::success, L"The operation completed successfully.\r\n");
  file_metadata_store store;
  EXPECT_EQ(raised_by([&] { static_cast<void>(store.open_for_read(text_file, read_speed::normal)); }),
            "Failed to open metadata 0x00000000 The operation completed successfully.");
  EXPECT_EQ(store.last_error(), hresult::storage_file_not_found);
}

TEST_F(open_for_read, attributes_that_fail_the_second_time_are_raised_as_an_hresult) {
  machine.calls.before("open_handler_store", 1,
                       [this] { machine.calls.refuse("attributes", text_file, win32_error::access_denied); });
  file_metadata_store store;
  EXPECT_EQ(raised_by([&] { static_cast<void>(store.open_for_read(text_file, read_speed::normal)); }),
            "Failed to open metadata 0x80070005 Access is denied.");
}

TEST_F(open_for_read, a_file_that_vanished_meanwhile_is_false) {
  machine.calls.refuse("open_handler_store", photo, hresult::fail);
  for (const win32_error code : {win32_error::file_not_found, win32_error::path_not_found}) {
    machine.calls.refuse("open_property_set_storage", photo, code, 1);
    file_metadata_store store;
    EXPECT_FALSE(store.open_for_read(photo, read_speed::normal));
  }
}

TEST_F(open_for_read, a_last_error_that_is_an_hresult_already_is_taken_as_it_is) {
  const auto last_error = [this](hresult code) {
    machine.calls.before("open_handler_store", 1, [this, code] {
      machine.calls.refuse("attributes", text_file, static_cast<win32_error>(code_of(code)), 1);
    });
  };
  file_metadata_store store;
  last_error(hresult::storage_file_not_found);
  EXPECT_FALSE(store.open_for_read(text_file, read_speed::normal));
  last_error(hresult::storage_path_not_found);
  EXPECT_EQ(raised_by([&] { static_cast<void>(store.open_for_read(text_file, read_speed::normal)); }),
            "Failed to open metadata 0x80030003 Unknown HRESULT error.");
}

TEST_F(open_for_read, a_failed_fast_open_of_a_link_is_tried_once_more) {
  machine.entry(photo).attributes |= attribute::reparse_point;
  machine.calls.refuse("open_handler_store", photo, hresult::fail, 1);
  file_metadata_store store;
  EXPECT_TRUE(store.open_for_read(photo, read_speed::fast));
  EXPECT_THAT(machine.calls.named({"open_handler_store"}),
              ElementsAre(R"(open_handler_store(C:\photo.jpg, read))", R"(open_handler_store(C:\photo.jpg, read))"));
}

TEST_F(open_for_read, a_file_that_became_a_placeholder_meanwhile_is_false) {
  machine.calls.before("open_handler_store", 1, [this] { machine.entry(text_file).attributes = attribute::offline; });
  file_metadata_store store;
  EXPECT_FALSE(store.open_for_read(text_file, read_speed::normal));
  EXPECT_TRUE(store.blocked_by_placeholder());
  EXPECT_EQ(machine.calls.count("download"), 0U);
}

TEST_F(open_for_read, a_store_on_another_path_is_closed_first) {
  file_metadata_store store;
  ASSERT_TRUE(store.open_for_read(folder, read_speed::normal));
  machine.calls.clear();
  EXPECT_TRUE(store.open_for_read(photo, read_speed::normal));
  EXPECT_EQ(machine.calls.all().front(), R"(release_store(C:\folder))");
}

// --- open_property_set_for_read

TEST_F(open_property_set_for_read, a_missing_path_tells_the_code_of_its_attributes) {
  file_metadata_store store;
  EXPECT_FALSE(store.open_property_set_for_read(LR"(C:\missing)"));
  EXPECT_EQ(store.last_error(), hresult::file_not_found);
  EXPECT_FALSE(store.blocked_by_placeholder());
}

TEST_F(open_property_set_for_read, a_placeholder_is_told_apart_from_a_failure) {
  machine.entry(folder).attributes |= attribute::recall_on_data_access;
  file_metadata_store store;
  EXPECT_FALSE(store.open_property_set_for_read(folder));
  EXPECT_TRUE(store.blocked_by_placeholder());
  EXPECT_EQ(store.last_error(), hresult::ok);
}

TEST_F(open_property_set_for_read, a_failure_of_either_step_is_told_and_never_raised) {
  machine.calls.refuse("open_property_set_storage", folder, hresult::storage_sharing_violation, 1);
  file_metadata_store store;
  EXPECT_FALSE(store.open_property_set_for_read(folder));
  EXPECT_EQ(store.last_error(), hresult::storage_sharing_violation);
  machine.calls.refuse("create_store", folder, hresult::fail, 1);
  EXPECT_FALSE(store.open_property_set_for_read(folder));
  EXPECT_EQ(store.last_error(), hresult::fail);
  EXPECT_TRUE(store.open_property_set_for_read(folder));
  EXPECT_EQ(store.last_error(), hresult::ok);
}

TEST_F(open_property_set_for_read, no_memory_is_told_and_never_raised) {
  for (const char* operation : {"attributes", "open_property_set_storage", "create_store"}) {
    machine.calls.before(operation, 1, [] { throw std::bad_alloc(); });
    file_metadata_store store;
    EXPECT_FALSE(store.open_property_set_for_read(folder)) << operation;
    EXPECT_EQ(store.last_error(), hresult::out_of_memory) << operation;
    EXPECT_FALSE(store.blocked_by_placeholder()) << operation;
  }
}

TEST_F(open_property_set_for_read, a_folder_is_known_as_one_and_a_file_behind_it_as_a_file) {
  machine.write_file(folder_ini, "[QuillBox]\r\nTags=a\r\n");
  machine.write_file(LR"(C:\desktop.ini)", "[QuillBox]\r\nTags=b\r\n");
  file_metadata_store store;
  ASSERT_TRUE(store.open_property_set_for_read(folder));
  EXPECT_THAT(store.get_tags(), ElementsAre(L"a"));
  ASSERT_TRUE(store.open_property_set_for_read(text_file));
  EXPECT_THAT(store.get_tags(), IsEmpty());
}

TEST_F(open_property_set_for_read, a_store_in_any_mode_on_the_same_path_will_do) {
  file_metadata_store store;
  ASSERT_TRUE(store.open_for_write(photo));
  machine.calls.clear();
  EXPECT_TRUE(store.open_property_set_for_read(photo));
  EXPECT_THAT(machine.calls.all(), IsEmpty());
}

TEST_F(open_property_set_for_read, an_open_store_forgets_why_an_earlier_open_failed) {
  machine.entry(folder).attributes |= attribute::offline;
  file_metadata_store store;
  ASSERT_TRUE(store.open_for_write(photo));
  EXPECT_FALSE(store.open_property_set_for_read(folder));
  ASSERT_TRUE(store.open_for_write(photo));
  EXPECT_TRUE(store.open_property_set_for_read(photo));
  EXPECT_FALSE(store.blocked_by_placeholder());

  EXPECT_FALSE(store.open_property_set_for_read(LR"(C:\missing)"));
  ASSERT_TRUE(store.open_for_write(photo));
  EXPECT_TRUE(store.open_property_set_for_read(photo));
  EXPECT_EQ(store.last_error(), hresult::ok);
}

TEST_F(open_property_set_for_read, a_store_on_another_path_is_closed_first) {
  file_metadata_store store;
  ASSERT_TRUE(store.open_for_write(photo));
  machine.calls.clear();
  EXPECT_TRUE(store.open_property_set_for_read(folder));
  EXPECT_EQ(machine.calls.all().front(), R"(release_store(C:\photo.jpg))");
}

}  // namespace

}  // namespace quill_box::metadata
