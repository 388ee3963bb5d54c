#include "platform/host/property_system.h"

#include <gtest/gtest.h>

#include "platform/property_keys.h"
#include "support/media/containers.h"
#include "support/media/tools.h"

namespace {

using namespace test_support;
using platform::handler_access;
using platform::hresult;
using platform::property_value;
using platform::rating_key;
using platform::storage_access;
using platform::store_access;
using platform::host::property_system_instance;

hresult open_code(const std::wstring& path, handler_access access = handler_access::read_write) {
  return property_system_instance().open_handler_store(path, access).error();
}

TEST(host_property_system, every_type_of_the_table_opens_whatever_the_case_of_its_extension) {
  const media_folder folder;
  const std::string movie = mp4_ftyp() + mp4_atom("moov", mp4_atom("mvhd", zeros(100)));
  const std::pair<const char*, std::string> files[] = {{"a.mp3", mpeg_audio()},
                                                       {"a.MP3", mpeg_audio()},
                                                       {"a.mp4", movie},
                                                       {"a.m4v", movie},
                                                       {"a.MoV", movie},
                                                       {"a.wma", asf_header({}) + asf_data()},
                                                       {"a.wmv", asf_header({}) + asf_data()}};
  for (const auto& [name, bytes] : files) {
    write_file(folder.file(name), bytes);
    EXPECT_EQ(open_code(folder.wide_file(name)), hresult::ok) << name;
  }
  for (const char* name : {"a.jpg", "a.jpeg", "a.png", "a.tif", "a.tiff", "a.webp", "b.JPG"}) {
    output_of("ffmpeg -nostdin -v error -f lavfi -i color=s=16x16 -frames:v 1 " + folder.file(name));
    EXPECT_EQ(open_code(folder.wide_file(name)), hresult::ok) << name;
  }
}

TEST(host_property_system, a_type_without_a_handler_is_a_class_that_is_not_registered) {
  const media_folder folder;
  for (const char* name : {"a.txt", "mp3", ".mp3", "a.mp3.bak", "a", "a.wav", "a.avi", "a.heic"}) {
    write_file(folder.file(name), mpeg_audio());
    EXPECT_EQ(open_code(folder.wide_file(name)), hresult::class_not_registered) << name;
    EXPECT_EQ(open_code(folder.wide_file(name), handler_access::read), hresult::class_not_registered) << name;
  }
}

TEST(host_property_system, a_folder_has_no_handler) {
  const media_folder folder;
  std::filesystem::create_directory(folder.file("a.mp3"));
  EXPECT_EQ(open_code(folder.wide_file("a.mp3")), hresult::class_not_registered);
}

TEST(host_property_system, what_is_not_there_is_not_found_whatever_its_type) {
  const media_folder folder;
  for (const char* name : {"no.mp3", "no.jpg", "no.txt"}) {
    EXPECT_EQ(open_code(folder.wide_file(name)), hresult::file_not_found) << name;
  }
  EXPECT_EQ(open_code(folder.wide_file("no/a.mp3")), hresult::path_not_found);
  EXPECT_EQ(open_code(L"C:\\a.mp3"), hresult::path_not_found);
  EXPECT_EQ(open_code(L"\\\\server\\share\\a.mp3"), hresult::path_not_found);
  EXPECT_EQ(open_code(L""), hresult::path_not_found);
}

TEST(host_property_system, a_file_that_the_handler_can_not_decode_fails_the_open) {
  const media_folder folder;
  write_file(folder.file("a.mp3"), "no sound");
  write_file(folder.file("a.jpg"), "no picture");
  EXPECT_GE(code_of(open_code(folder.wide_file("a.mp3"))), 0x80000000U);
  EXPECT_GE(code_of(open_code(folder.wide_file("a.jpg"))), 0x80000000U);
}

TEST(host_property_system, a_backslash_separates_in_a_path) {
  const media_folder folder;
  write_file(folder.file("a.mp3"), mpeg_audio());
  std::wstring path = folder.wide_file("a.mp3");
  for (wchar_t& c : path)
    c = c == L'/' ? L'\\' : c;
  EXPECT_EQ(open_code(path), hresult::ok);
}

TEST(host_property_system, property_sets_of_what_is_not_there_are_not_found) {
  const media_folder folder;
  EXPECT_EQ(property_system_instance()
                .open_property_set_storage(folder.wide_file("no.txt"), storage_access::read_deny_write)
                .error()
                .code,
            hresult::storage_file_not_found);
}

TEST(host_property_system, property_sets_hold_values_of_a_type_without_a_handler) {
  const media_folder folder;
  write_file(folder.file("a.txt"), "text");
  const property_value four_stars = std::uint32_t{75};
  {
    const auto storage = property_system_instance().open_property_set_storage(folder.wide_file("a.txt"),
                                                                              storage_access::read_write_exclusive);
    if (storage.error().code == hresult::storage_invalid_function) GTEST_SKIP() << "no extended attributes here";
    ASSERT_EQ(storage.error().code, hresult::ok);
    const auto store = (*storage)->create_store(store_access::read_write);
    ASSERT_EQ(store.error().code, hresult::ok);
    EXPECT_EQ((*store)->set(rating_key, four_stars), hresult::ok);
    EXPECT_EQ((*store)->commit(), hresult::ok);
  }
  const auto storage =
      property_system_instance().open_property_set_storage(folder.wide_file("a.txt"), storage_access::read_deny_write);
  ASSERT_EQ(storage.error().code, hresult::ok);
  const auto store = (*storage)->create_store(store_access::read);
  ASSERT_EQ(store.error().code, hresult::ok);
  EXPECT_EQ(*(*store)->get(rating_key), four_stars);
}

}  // namespace
