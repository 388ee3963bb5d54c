#include "support/simulated_properties.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/property_keys.h"
#include "support/simulated_machine.h"

namespace {

namespace attribute = platform::attribute;
using platform::handler_access;
using platform::hresult;
using platform::keywords_key;
using platform::property_value;
using platform::rating_key;
using platform::storage_access;
using platform::store_access;
using platform::win32_error;
using testing::ElementsAre;

using tags = std::vector<std::wstring>;

const std::wstring photo = LR"(C:\a.jpg)";
const std::wstring folder = LR"(C:\folder)";

class simulated_properties : public testing::Test {
 protected:
  simulated_properties() {
    machine.write_file(photo, "");
    machine.make_directory(folder);
    machine.properties.handler(L".JPG");
  }

  support::scoped_machine machine;
  platform::property_system& properties = machine.properties;

  hresult handler_error(const std::wstring& path, handler_access access) {
    return properties.open_handler_store(path, access).error();
  }
  hresult storage_error(const std::wstring& path, storage_access access) {
    return properties.open_property_set_storage(path, access).error().code;
  }
};

TEST_F(simulated_properties, a_staged_value_is_read_back_and_reaches_the_file_at_the_commit) {
  const auto store = *properties.open_handler_store(photo, handler_access::read_write);
  EXPECT_EQ(*store->get(rating_key), property_value());
  EXPECT_EQ(store->set(rating_key, 75u), hresult::ok);
  EXPECT_EQ(*store->get(rating_key), property_value(75u));
  EXPECT_EQ(machine.properties.handler_value(photo, rating_key), property_value());
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(machine.properties.handler_value(photo, rating_key), property_value(75u));
}

TEST_F(simulated_properties, an_uncommitted_value_is_dropped) {
  { EXPECT_EQ((*properties.open_handler_store(photo, handler_access::read_write))->set(rating_key, 75u), hresult::ok); }
  EXPECT_EQ(machine.properties.handler_value(photo, rating_key), property_value());
}

TEST_F(simulated_properties, an_empty_list_removes_the_property) {
  machine.properties.set_handler_value(photo, keywords_key, tags{L"a", L"b"});
  const auto store = *properties.open_handler_store(photo, handler_access::read_write);
  EXPECT_EQ(*store->get(keywords_key), property_value(tags{L"a", L"b"}));
  EXPECT_EQ(store->set(keywords_key, tags()), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(machine.properties.handler_value(photo, keywords_key), property_value());
}

TEST_F(simulated_properties, opening_a_handler_fails_for_missing_files_types_and_rights) {
  EXPECT_EQ(handler_error(LR"(C:\x.jpg)", handler_access::read), hresult::file_not_found);
  EXPECT_EQ(handler_error(LR"(C:\x\x.jpg)", handler_access::read), hresult::path_not_found);
  machine.write_file(LR"(C:\a.txt)", "");
  EXPECT_EQ(handler_error(LR"(C:\a.txt)", handler_access::read_write), support::no_handler_error);
  machine.properties.handler(L".jpg").writable = false;
  EXPECT_EQ(handler_error(photo, handler_access::read_write), support::no_handler_error);
  EXPECT_EQ(handler_error(photo, handler_access::read), hresult::ok);
  machine.properties.handler(L".jpg").open_error = hresult::fail;
  EXPECT_EQ(handler_error(photo, handler_access::read), hresult::fail);
}

TEST_F(simulated_properties, a_read_only_file_is_not_opened_for_writing) {
  machine.entry(photo).attributes = attribute::read_only;
  EXPECT_EQ(handler_error(photo, handler_access::read_write), hresult::access_denied);
  EXPECT_EQ(handler_error(photo, handler_access::read), hresult::ok);
  EXPECT_EQ(storage_error(photo, storage_access::read_write_exclusive), hresult::storage_access_denied);
}

TEST_F(simulated_properties, a_handler_can_refuse_a_key) {
  machine.properties.handler(L".jpg").refused_keys[keywords_key] = hresult::imaging_property_not_supported;
  const auto store = *properties.open_handler_store(photo, handler_access::read_write);
  EXPECT_EQ(store->set(keywords_key, tags{L"a"}), hresult::imaging_property_not_supported);
  EXPECT_EQ(store->set(rating_key, 1u), hresult::ok);
}

TEST_F(simulated_properties, a_store_opened_for_reading_takes_no_values) {
  const auto store = *properties.open_handler_store(photo, handler_access::read);
  EXPECT_EQ(store->set(rating_key, 1u), hresult::storage_access_denied);
  EXPECT_EQ(store->commit(), hresult::storage_access_denied);
}

TEST_F(simulated_properties, a_commit_meets_those_who_have_the_file_open) {
  const auto store = *properties.open_handler_store(photo, handler_access::read_write);
  EXPECT_EQ(store->set(rating_key, 1u), hresult::ok);
  {
    const auto other = machine.files.open(photo, {platform::access::read, platform::share::read});
    EXPECT_EQ(store->commit(), hresult::sharing_violation);
  }
  EXPECT_EQ(store->commit(), hresult::ok);
}

TEST_F(simulated_properties, a_handler_may_keep_the_file_to_itself_while_it_is_open) {
  machine.properties.handler(L".jpg").grip = support::handler_grip::while_open;
  const platform::open_request writing = {platform::access::write, platform::share::all};
  {
    const auto store = properties.open_handler_store(photo, handler_access::read_write);
    EXPECT_EQ(machine.files.open(photo, writing).error(), win32_error::sharing_violation);
  }
  EXPECT_TRUE(machine.files.open(photo, writing));
}

TEST_F(simulated_properties, property_sets_are_kept_apart_from_the_handlers_values) {
  const auto storage = *properties.open_property_set_storage(folder, storage_access::read_write_exclusive);
  const auto store = *storage->create_store(store_access::read_write);
  EXPECT_EQ(store->set(rating_key, 99u), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(machine.properties.property_set_value(folder, rating_key), property_value(99u));
  EXPECT_EQ(machine.properties.handler_value(folder, rating_key), property_value());
}

TEST_F(simulated_properties, a_store_outlives_its_storage_and_keeps_its_claim) {
  std::unique_ptr<platform::property_store> store;
  {
    const auto storage = *properties.open_property_set_storage(photo, storage_access::read_write_exclusive);
    store = *storage->create_store(store_access::read_write);
  }
  EXPECT_EQ(store->set(rating_key, 1u), hresult::ok);
  EXPECT_EQ(storage_error(photo, storage_access::read_deny_write), hresult::storage_sharing_violation);
  EXPECT_EQ(store->commit(), hresult::ok);
  store.reset();
  EXPECT_EQ(storage_error(photo, storage_access::read_deny_write), hresult::ok);
}

TEST_F(simulated_properties, storages_share_as_their_modes_say) {
  const auto reader = properties.open_property_set_storage(photo, storage_access::read_deny_write);
  EXPECT_EQ(storage_error(photo, storage_access::read_deny_write), hresult::ok);
  EXPECT_EQ(storage_error(photo, storage_access::read_write_exclusive), hresult::storage_sharing_violation);
  EXPECT_EQ((*reader)->create_store(store_access::read_write).error().code, hresult::storage_access_denied);
  EXPECT_TRUE((*reader)->create_store(store_access::read));
}

TEST_F(simulated_properties, a_read_only_or_system_folder_refuses_to_be_opened_for_writing) {
  for (const std::uint32_t bit : {attribute::read_only, attribute::system}) {
    machine.entry(folder).attributes = attribute::directory | bit;
    EXPECT_EQ(storage_error(folder, storage_access::read_write_exclusive), hresult::storage_access_denied);
    EXPECT_EQ(storage_error(folder, storage_access::read_deny_write), hresult::ok);
  }
  machine.entry(folder).attributes = attribute::directory | attribute::hidden;
  EXPECT_EQ(storage_error(folder, storage_access::read_write_exclusive), hresult::ok);
}

TEST_F(simulated_properties, a_disk_without_property_sets_has_none) {
  machine.disk.add_drive(L"D:").format = support::disk_format::fat;
  machine.write_file(LR"(D:\a.jpg)", "");
  EXPECT_EQ(storage_error(LR"(D:\a.jpg)", storage_access::read_write_exclusive), hresult::storage_invalid_function);
  EXPECT_EQ(storage_error(LR"(D:\b.jpg)", storage_access::read_deny_write), hresult::storage_file_not_found);
}

TEST_F(simulated_properties, a_failed_opening_of_property_sets_leaves_a_last_error) {
  const auto missing =
      properties.open_property_set_storage(LR"(C:\none\a.jpg)", storage_access::read_deny_write).error();
  EXPECT_EQ(missing.code, hresult::storage_path_not_found);
  EXPECT_EQ(missing.last_error, win32_error::path_not_found);
}

TEST_F(simulated_properties, a_refusal_by_an_hresult_leaves_no_last_error) {
  machine.calls.refuse("open_property_set_storage", photo, hresult::fail, 1);
  const auto by_hresult = properties.open_property_set_storage(photo, storage_access::read_deny_write).error();
  EXPECT_EQ(by_hresult.code, hresult::fail);
  EXPECT_EQ(by_hresult.last_error, win32_error::success);
  machine.calls.refuse("open_property_set_storage", photo, win32_error::access_denied, 1);
  const auto by_code = properties.open_property_set_storage(photo, storage_access::read_deny_write).error();
  EXPECT_EQ(by_code.code, hresult::storage_access_denied);
  EXPECT_EQ(by_code.last_error, win32_error::access_denied);
}

TEST_F(simulated_properties, only_a_handler_downloads_a_placeholder) {
  machine.entry(photo).attributes = attribute::offline;
  EXPECT_EQ(storage_error(photo, storage_access::read_deny_write), hresult::ok);
  EXPECT_EQ(machine.calls.count("download"), 0);
  EXPECT_EQ(handler_error(photo, handler_access::read), hresult::ok);
  EXPECT_EQ(machine.calls.count("download"), 1);
}

TEST_F(simulated_properties, stores_show_in_the_record_and_among_the_open_handles) {
  {
    const auto store = *properties.open_handler_store(photo, handler_access::read_write);
    EXPECT_THAT(machine.open_handles(), ElementsAre(R"(C:\a.jpg)"));
    EXPECT_EQ(store->set(keywords_key, tags{L"a", L"b"}), hresult::ok);
    EXPECT_EQ(store->set(rating_key, 75u), hresult::ok);
    EXPECT_EQ(store->commit(), hresult::ok);
  }
  EXPECT_THAT(machine.open_handles(), ElementsAre());
  EXPECT_THAT(machine.calls.all(),
              ElementsAre(R"(open_handler_store(C:\a.jpg, read_write))", R"(set(C:\a.jpg, keywords, [a, b]))",
                          R"(set(C:\a.jpg, rating, 75))", R"(commit(C:\a.jpg))", R"(release_store(C:\a.jpg))"));
}

}  // namespace
