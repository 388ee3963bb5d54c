#include "platform/host/property_sets.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/xattr.h>

#include "platform/host/host_files.h"
#include "platform/host/property_text.h"
#include "platform/property_keys.h"

namespace {

using host_test::attribute;
using host_test::set_attribute;
using platform::hresult;
using platform::keywords_key;
using platform::other_type;
using platform::people_names_key;
using platform::property_key;
using platform::property_store;
using platform::property_value;
using platform::rating_key;
using platform::storage_access;
using platform::store_access;
using platform::host::open_property_sets;
using list = std::vector<std::wstring>;

constexpr const char* rating_attribute = "user.quill_box.{64440492-4C8B-11D1-8B70-080036B11A03}.9";
constexpr const char* keywords_attribute = "user.quill_box.{F29F85E0-4FF9-1068-AB91-08002B27B3D9}.5";

struct property_sets_test : testing::Test {
  host_test::temporary_folder folder;
  std::string path = folder.path("file.txt");

  void SetUp() override {
    host_test::put(path, "text");
    if (!set_attribute(path, "user.probe", "1")) GTEST_SKIP() << "no extended attributes in " << folder.folder();
    ::removexattr(path.c_str(), "user.probe");
  }

  static std::wstring wide(const std::string& bytes) { return {bytes.begin(), bytes.end()}; }

  std::unique_ptr<property_store> open(storage_access access) { return open(path, access); }
  static std::unique_ptr<property_store> open(const std::string& item, storage_access access) {
    auto storage = open_property_sets(wide(item), access);
    EXPECT_TRUE(storage);
    auto store = (*storage)->create_store(access == storage_access::read_write_exclusive ? store_access::read_write
                                                                                         : store_access::read);
    EXPECT_TRUE(store);
    return *std::move(store);
  }
  std::unique_ptr<property_store> writer() { return open(storage_access::read_write_exclusive); }
  std::unique_ptr<property_store> reader() { return open(storage_access::read_deny_write); }

  void write(const property_key& key, const property_value& value) {
    const auto store = writer();
    EXPECT_EQ(store->set(key, value), hresult::ok);
    EXPECT_EQ(store->commit(), hresult::ok);
  }
  property_value read(const property_key& key) {
    const auto value = reader()->get(key);
    EXPECT_TRUE(value);
    return *value;
  }
  [[nodiscard]] std::string attributes() const {
    std::string found(10'000, '\0');
    const ssize_t size = ::listxattr(path.c_str(), found.data(), found.size());
    return found.substr(0, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  }
};

TEST_F(property_sets_test, values_of_every_type_come_back_exact) {
  const property_value values[] = {std::uint32_t{75},
                                   std::uint32_t{0xffffffff},
                                   std::int32_t{-2147483647 - 1},
                                   std::uint16_t{65535},
                                   std::wstring(),
                                   std::wstring(L"a:b,c\n\u65e5\U0001f600"),
                                   list{L"one"},
                                   list{L"", L"a,b", L"5:x,", L"\u00e9\U0001f600"},
                                   -151.20929599999999,
                                   0.1,
                                   5e-324,
                                   platform::time_value{0xfedcba9876543210},
                                   std::vector<double>{48, 51.5, -1.0 / 3}};
  for (const property_value& value : values) {
    write(people_names_key, value);
    EXPECT_EQ(read(people_names_key), value);
  }
}

TEST_F(property_sets_test, a_property_that_is_not_there_is_empty) {
  EXPECT_EQ(read(rating_key), property_value());
  EXPECT_EQ(read(keywords_key), property_value());
  EXPECT_EQ(read(people_names_key), property_value());
}

TEST_F(property_sets_test, attributes_have_the_documented_names_and_texts) {
  write(rating_key, std::uint32_t{75});
  write(keywords_key, list{L"Beach", L"S\u00e9a"});
  EXPECT_EQ(attribute(path, rating_attribute), "ui4:75");
  EXPECT_EQ(attribute(path, keywords_attribute),
            "lpwstrs:5:Beach,4:S\xc3\xa9"
            "a,");
}

TEST_F(property_sets_test, a_staged_value_is_read_back_and_reaches_the_file_at_the_commit) {
  const auto store = writer();
  EXPECT_EQ(store->set(rating_key, std::uint32_t{50}), hresult::ok);
  EXPECT_EQ(*store->get(rating_key), property_value(std::uint32_t{50}));
  EXPECT_EQ(attributes(), "");
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(attribute(path, rating_attribute), "ui4:50");
}

TEST_F(property_sets_test, what_was_not_committed_is_dropped) {
  EXPECT_EQ(writer()->set(rating_key, std::uint32_t{50}), hresult::ok);
  EXPECT_EQ(attributes(), "");
}

TEST_F(property_sets_test, an_empty_list_or_value_removes_the_property) {
  write(keywords_key, list{L"a"});
  write(rating_key, std::uint32_t{75});
  write(keywords_key, list{});
  write(rating_key, property_value());
  EXPECT_EQ(attributes(), "");
  EXPECT_EQ(read(keywords_key), property_value());
}

TEST_F(property_sets_test, file_managers_see_tags_and_stars_of_files) {
  write(keywords_key, list{L"Beach", L"Sea"});
  EXPECT_EQ(attribute(path, "user.xdg.tags"), "Beach,Sea");
  struct row {
    std::uint32_t percent;
    const char* mirror;
  };
  for (const row& example : {row{0, ""}, row{1, "2"}, row{12, "2"}, row{13, "4"}, row{37, "4"}, row{38, "6"},
                             row{62, "6"}, row{63, "8"}, row{87, "8"}, row{88, "10"}, row{100, "10"}, row{101, ""}}) {
    write(rating_key, example.percent);
    EXPECT_EQ(attribute(path, "user.baloo.rating"), example.mirror) << example.percent;
    EXPECT_EQ(read(rating_key), property_value(example.percent));
  }
}

TEST_F(property_sets_test, the_mirrors_go_with_the_values) {
  write(keywords_key, list{L"Beach"});
  write(rating_key, std::uint32_t{75});
  write(keywords_key, list{});
  write(rating_key, std::uint32_t{0});
  EXPECT_EQ(::getxattr(path.c_str(), "user.xdg.tags", nullptr, 0), -1);
  EXPECT_EQ(::getxattr(path.c_str(), "user.baloo.rating", nullptr, 0), -1);
}

TEST_F(property_sets_test, folders_have_no_mirrors) {
  ASSERT_TRUE(set_attribute(folder.folder(), "user.xdg.tags", "foreign"));
  const auto store = open(folder.folder(), storage_access::read_write_exclusive);
  EXPECT_EQ(*store->get(keywords_key), property_value());
  EXPECT_EQ(store->set(keywords_key, list{L"a"}), hresult::ok);
  EXPECT_EQ(store->set(rating_key, std::uint32_t{99}), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(attribute(folder.folder(), keywords_attribute), "lpwstrs:1:a,");
  EXPECT_EQ(attribute(folder.folder(), "user.xdg.tags"), "foreign");
  EXPECT_EQ(attribute(folder.folder(), "user.baloo.rating"), "");
}

TEST_F(property_sets_test, what_a_file_manager_has_set_counts_where_we_have_nothing) {
  ASSERT_TRUE(set_attribute(path, "user.xdg.tags", " Beach, Sea,,"));
  ASSERT_TRUE(set_attribute(path, "user.baloo.rating", "8"));
  EXPECT_EQ(read(keywords_key), property_value(list{L"Beach", L"Sea"}));
  EXPECT_EQ(read(rating_key), property_value(std::uint32_t{75}));
}

TEST_F(property_sets_test, what_a_file_manager_has_changed_since_counts) {
  write(keywords_key, list{L"Beach"});
  write(rating_key, std::uint32_t{60});
  ASSERT_TRUE(set_attribute(path, "user.xdg.tags", "Beach,Sea"));
  ASSERT_TRUE(set_attribute(path, "user.baloo.rating", "10"));
  EXPECT_EQ(read(keywords_key), property_value(list{L"Beach", L"Sea"}));
  EXPECT_EQ(read(rating_key), property_value(std::uint32_t{99}));
  write(keywords_key, list{L"Beach", L"Sea", L"Sun"});
  EXPECT_EQ(read(keywords_key), property_value(list{L"Beach", L"Sea", L"Sun"}));
}

TEST_F(property_sets_test, what_a_file_manager_has_removed_since_is_gone) {
  write(keywords_key, list{L"Beach"});
  write(rating_key, std::uint32_t{60});
  ASSERT_EQ(::removexattr(path.c_str(), "user.xdg.tags"), 0);
  ASSERT_EQ(::removexattr(path.c_str(), "user.baloo.rating"), 0);
  EXPECT_EQ(read(keywords_key), property_value());
  EXPECT_EQ(read(rating_key), property_value());
}

TEST_F(property_sets_test, mirrors_that_say_the_same_leave_our_exact_value) {
  write(keywords_key, list{L"one, two", L"three"});
  write(rating_key, std::uint32_t{60});
  EXPECT_EQ(read(keywords_key), property_value(list{L"one, two", L"three"}));
  ASSERT_TRUE(set_attribute(path, "user.xdg.tags", "one,two,three"));
  ASSERT_TRUE(set_attribute(path, "user.baloo.rating", " 6"));
  EXPECT_EQ(read(keywords_key), property_value(list{L"one, two", L"three"}));
  EXPECT_EQ(read(rating_key), property_value(std::uint32_t{60}));
}

TEST_F(property_sets_test, nonsense_of_a_file_manager_is_nothing) {
  for (const char* nonsense : {"", "x", "-2", "12", "99999999999", "8 stars"}) {
    ASSERT_TRUE(set_attribute(path, "user.baloo.rating", nonsense));
    EXPECT_EQ(read(rating_key), property_value()) << nonsense;
  }
  ASSERT_TRUE(set_attribute(path, "user.baloo.rating", "7"));
  EXPECT_EQ(read(rating_key), property_value(std::uint32_t{75}));
  ASSERT_TRUE(set_attribute(path, "user.xdg.tags", " , "));
  EXPECT_EQ(read(keywords_key), property_value());
}

TEST_F(property_sets_test, nonsense_in_our_attributes_is_a_value_of_another_type) {
  for (const char* nonsense :
       {"", "ui4:", "ui4:x", "ui4:4294967296", "ui4:-1", "i4:2147483648", "ui2:65536", "lpwstrs:x", "lpwstrs:5:ab,",
        "lpwstrs:2:abc", "lpwstrs:2:ab", "lpwstrs:18446744073709551615:a,", "vt:1"}) {
    ASSERT_TRUE(set_attribute(path, rating_attribute, nonsense));
    EXPECT_EQ(read(rating_key), property_value(other_type{})) << nonsense;
  }
}

TEST_F(property_sets_test, a_value_too_large_for_the_file_system_fails_at_the_set) {
  write(keywords_key, list{L"kept"});
  const std::string before = attributes();
  const auto store = writer();
  EXPECT_EQ(store->set(keywords_key, list{std::wstring(100'000, L'x')}), hresult::storage_medium_full);
  EXPECT_EQ(*store->get(keywords_key), property_value(list{L"kept"}));
  EXPECT_EQ(store->set(rating_key, std::uint32_t{75}), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(attribute(path, rating_attribute), "ui4:75");
  EXPECT_EQ(*store->get(keywords_key), property_value(list{L"kept"}));
  EXPECT_EQ(attribute(path, "user.quill_box.room"), "");
}

// On file systems with little room for attributes the old and the new value don't fit side by side.
TEST_F(property_sets_test, a_value_that_only_fits_in_the_place_of_the_old_one_is_set) {
  write(people_names_key, std::wstring(2500, L'x'));
  const auto store = writer();
  EXPECT_EQ(store->set(people_names_key, std::wstring(2600, L'y')), hresult::ok);
  EXPECT_EQ(attribute(path, platform::host::attribute_name(people_names_key)), "lpwstr:" + std::string(2500, 'x'));
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(*store->get(people_names_key), property_value(std::wstring(2600, L'y')));
}

TEST_F(property_sets_test, a_value_of_another_type_can_not_be_set) {
  EXPECT_FALSE(succeeded(writer()->set(rating_key, other_type{64})));
  EXPECT_EQ(attributes(), "");
}

TEST_F(property_sets_test, exclusive_access_keeps_others_out_until_the_last_store_is_gone) {
  auto storage = open_property_sets(wide(path), storage_access::read_write_exclusive);
  ASSERT_TRUE(storage);
  auto store = (*storage)->create_store(store_access::read_write);
  *storage = nullptr;
  for (const storage_access access : {storage_access::read_write_exclusive, storage_access::read_deny_write}) {
    EXPECT_EQ(open_property_sets(wide(path), access).error().code, hresult::storage_sharing_violation);
  }
  *store = nullptr;
  EXPECT_TRUE(open_property_sets(wide(path), storage_access::read_write_exclusive));
}

TEST_F(property_sets_test, readers_share_and_keep_writers_out) {
  const auto first = reader();
  const auto second = reader();
  EXPECT_EQ(open_property_sets(wide(path), storage_access::read_write_exclusive).error().code,
            hresult::storage_sharing_violation);
}

TEST_F(property_sets_test, a_store_for_reading_can_not_set) {
  auto storage = open_property_sets(wide(path), storage_access::read_deny_write);
  ASSERT_TRUE(storage);
  EXPECT_EQ((*storage)->create_store(store_access::read_write).error().code, hresult::storage_access_denied);
  EXPECT_EQ((*(*storage)->create_store(store_access::read))->set(rating_key, std::uint32_t{1}),
            hresult::storage_access_denied);
}

TEST_F(property_sets_test, a_missing_file_or_folder_is_not_found) {
  const auto file = open_property_sets(wide(folder.path("none")), storage_access::read_deny_write).error();
  EXPECT_EQ(file.code, hresult::storage_file_not_found);
  EXPECT_EQ(file.last_error, platform::win32_error::file_not_found);
  const auto parent = open_property_sets(wide(folder.path("none/none")), storage_access::read_deny_write).error();
  EXPECT_EQ(parent.code, hresult::storage_path_not_found);
  EXPECT_EQ(parent.last_error, platform::win32_error::path_not_found);
}

TEST_F(property_sets_test, read_only_files_and_folders_are_refused_for_writing_only) {
  for (const std::string& item : {path, folder.folder()}) {
    const mode_t mode = host_test::status_of(item).st_mode & 07777;
    ASSERT_EQ(::chmod(item.c_str(), mode & ~0222u), 0);
    EXPECT_EQ(open_property_sets(wide(item), storage_access::read_write_exclusive).error().code,
              hresult::storage_access_denied);
    EXPECT_TRUE(open_property_sets(wide(item), storage_access::read_deny_write));
    ASSERT_EQ(::chmod(item.c_str(), mode), 0);
  }
}

TEST_F(property_sets_test, someone_else_s_file_is_refused) {
  ASSERT_EQ(::chmod(folder.folder().c_str(), 0755), 0);
  const pid_t child = host_test::start_child([this] {
    if (::geteuid() != 0 || ::seteuid(65534) != 0) return 0;
    const auto storage = open_property_sets(wide(path), storage_access::read_write_exclusive);
    return storage.error().code == hresult::storage_access_denied ? 0 : 1;
  });
  EXPECT_EQ(host_test::wait_for(child), 0);
}

TEST_F(property_sets_test, a_file_system_without_extended_attributes_fails_the_opening) {
  if (::mount("none", folder.folder().c_str(), "ramfs", 0, "") != 0) {
    GTEST_SKIP() << "this machine doesn't allow mounting";
  }
  host_test::put(path, "text");
  const bool has_attributes = set_attribute(path, "user.probe", "1");
  const hresult file = open_property_sets(wide(path), storage_access::read_write_exclusive).error().code;
  const hresult whole = open_property_sets(wide(folder.folder()), storage_access::read_deny_write).error().code;
  ASSERT_EQ(::umount(folder.folder().c_str()), 0);
  ASSERT_FALSE(has_attributes);
  EXPECT_EQ(file, hresult::storage_invalid_function);
  EXPECT_EQ(whole, hresult::storage_invalid_function);
}

TEST_F(property_sets_test, a_symbolic_link_leads_to_its_target) {
  const std::string link = folder.path("link");
  std::filesystem::create_symlink("file.txt", link);
  const auto store = open(link, storage_access::read_write_exclusive);
  EXPECT_EQ(store->set(rating_key, std::uint32_t{99}), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(attribute(path, rating_attribute), "ui4:99");
}

}  // namespace
