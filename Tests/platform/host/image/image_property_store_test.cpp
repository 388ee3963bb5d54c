#include "platform/host/image/image_property_store.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "platform/host/host_files.h"
#include "platform/host/image/image_bytes.h"
#include "platform/host/imaging.h"
#include "platform/host/unique_descriptor.h"
#include "platform/property_keys.h"
#include "text/conversions.h"

namespace {

using namespace image_bytes;
using namespace platform;
using host_test::content;
using host_test::put;
using host_test::status_of;
using wide_strings = std::vector<std::wstring>;

class image_property_store : public testing::Test {
 protected:
  [[nodiscard]] std::string file(std::string_view name, std::string_view bytes) const {
    put(folder_.path(name), bytes);
    return folder_.path(name);
  }

  static hresult_result<std::unique_ptr<property_store>> open_store(const std::string& path, handler_access access) {
    return host::open_image_store(text::wide_from_utf8(path), access);
  }
  static std::unique_ptr<property_store> writable(const std::string& path) {
    auto store = open_store(path, handler_access::read_write);
    EXPECT_TRUE(store) << path;
    return store ? std::move(*store) : nullptr;
  }
  static property_value stored(const std::string& path, const property_key& key) {
    auto store = open_store(path, handler_access::read);
    if (!store) return other_type{1};
    auto value = (*store)->get(key);
    return value ? *value : other_type{2};
  }
  static void write(const std::string& path, const property_key& key, const property_value& value) {
    const auto store = writable(path);
    ASSERT_TRUE(store);
    ASSERT_EQ(store->set(key, value), hresult::ok);
    ASSERT_EQ(store->commit(), hresult::ok);
  }

  static void touch(const std::string& path) { ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), nullptr, 0), 0); }
  static bool is_locked(const std::string& path) {
    const host::unique_descriptor other(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    return ::flock(other.get(), LOCK_EX | LOCK_NB) != 0;
  }

  const property_value four_stars_ = std::uint32_t{75};
  const property_value two_tags_ = wide_strings{L"a tag", L"\u00e9t\u00e9"};
  const std::string image_ = jpeg(jfif() + exif_segment(camera_exif()), "trailer");
  host_test::temporary_folder folder_;
};

TEST_F(image_property_store, serves_the_types_that_can_be_written) {
  for (const wchar_t* name : {L"a.jpg", L"a.JPEG", L"a.jpe", L"a.jfif", L"a.png", L"a.tif", L"a.Tiff", L"/x/a.webp"}) {
    EXPECT_TRUE(host::has_image_handler(name));
  }
  for (const wchar_t* name : {L"a.gif", L"a.jpg.txt", L"jpg", L".jpg", L""}) {
    EXPECT_FALSE(host::has_image_handler(name));
  }
}

TEST_F(image_property_store, what_is_committed_is_read_by_the_next_one) {
  const std::string path = file("a.jpg", image_);
  EXPECT_EQ(stored(path, rating_key), property_value());
  EXPECT_EQ(stored(path, keywords_key), property_value());
  write(path, rating_key, four_stars_);
  write(path, keywords_key, two_tags_);
  EXPECT_EQ(stored(path, rating_key), four_stars_);
  EXPECT_EQ(stored(path, keywords_key), two_tags_);
  EXPECT_EQ(folder_.names(), std::vector<std::string>{"a.jpg"});
}

TEST_F(image_property_store, a_set_is_read_back_and_reaches_the_file_with_the_commit) {
  const std::string path = file("a.jpg", image_);
  const auto store = writable(path);
  ASSERT_EQ(store->set(rating_key, four_stars_), hresult::ok);
  ASSERT_EQ(store->set(keywords_key, two_tags_), hresult::ok);
  EXPECT_EQ(*store->get(rating_key), four_stars_);
  EXPECT_EQ(*store->get(keywords_key), two_tags_);
  EXPECT_EQ(content(path), image_);
  ASSERT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(stored(path, rating_key), four_stars_);
  EXPECT_EQ(stored(path, keywords_key), two_tags_);
}

TEST_F(image_property_store, what_was_set_and_not_committed_is_dropped) {
  const std::string path = file("a.jpg", image_);
  ASSERT_EQ(writable(path)->set(rating_key, four_stars_), hresult::ok);
  EXPECT_EQ(content(path), image_);
  EXPECT_EQ(folder_.names(), std::vector<std::string>{"a.jpg"});
}

TEST_F(image_property_store, a_commit_without_a_set_and_one_of_equal_values_write_nothing) {
  const std::string path = file("a.jpg", image_);
  write(path, rating_key, four_stars_);
  const struct stat before = status_of(path);
  EXPECT_EQ(writable(path)->commit(), hresult::ok);
  write(path, rating_key, four_stars_);
  const struct stat after = status_of(path);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
  EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
}

TEST_F(image_property_store, the_second_change_is_made_in_place) {
  const std::string path = file("a.jpg", image_);
  write(path, rating_key, four_stars_);
  const struct stat before = status_of(path);
  write(path, rating_key, std::uint32_t{1});
  write(path, keywords_key, two_tags_);
  const struct stat after = status_of(path);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_size, before.st_size);
}

TEST_F(image_property_store, one_store_commits_twice) {
  const std::string path = file("a.jpg", image_);
  const auto store = writable(path);
  ASSERT_EQ(store->set(rating_key, four_stars_), hresult::ok);
  ASSERT_EQ(store->commit(), hresult::ok);
  ASSERT_EQ(store->set(keywords_key, two_tags_), hresult::ok);
  ASSERT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(stored(path, rating_key), four_stars_);
  EXPECT_EQ(stored(path, keywords_key), two_tags_);
}

TEST_F(image_property_store, no_value_and_an_empty_list_remove_the_property) {
  const std::string path = file("a.jpg", image_);
  write(path, rating_key, four_stars_);
  write(path, keywords_key, two_tags_);
  write(path, rating_key, std::uint32_t{0});
  write(path, keywords_key, wide_strings{});
  EXPECT_EQ(stored(path, rating_key), property_value());
  EXPECT_EQ(stored(path, keywords_key), property_value());
}

TEST_F(image_property_store, a_file_that_changed_since_the_set_is_a_sharing_violation_until_read_again) {
  const std::string path = file("a.jpg", image_);
  const auto store = writable(path);
  ASSERT_EQ(store->set(rating_key, four_stars_), hresult::ok);
  const std::string newer = jpeg(segment(0xfe, "edited meanwhile"));
  put(path, newer);
  EXPECT_EQ(store->commit(), hresult::storage_sharing_violation);
  EXPECT_EQ(content(path), newer);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(stored(path, rating_key), four_stars_);
  EXPECT_NE(content(path).find("edited meanwhile"), std::string::npos);
}

TEST_F(image_property_store, tags_that_someone_else_added_since_they_were_read_are_never_overwritten) {
  const std::string path = file("a.jpg", image_);
  const auto store = writable(path);
  ASSERT_EQ(*store->get(keywords_key), property_value());
  ASSERT_EQ(store->set(keywords_key, two_tags_), hresult::ok);
  const std::string newer = jpeg(xmp_segment(packet(description("", bag("dc:subject", {"of another program"})))));
  put(path, newer);
  for (int attempt = 0; attempt < 3; ++attempt) {
    EXPECT_EQ(store->commit(), hresult::storage_sharing_violation);
  }
  EXPECT_EQ(content(path), newer);
}

TEST_F(image_property_store, a_rating_that_someone_else_gave_since_it_was_read_is_never_overwritten) {
  const std::string path = file("a.jpg", image_);
  const auto store = writable(path);
  ASSERT_EQ(store->set(rating_key, four_stars_), hresult::ok);
  const std::string newer = jpeg(xmp_segment(packet(description(" xmp:Rating=\"2\""))));
  put(path, newer);
  for (int attempt = 0; attempt < 3; ++attempt) {
    EXPECT_EQ(store->commit(), hresult::storage_sharing_violation);
  }
  EXPECT_EQ(content(path), newer);
}

TEST_F(image_property_store, what_someone_else_changed_beside_the_value_is_kept_by_the_next_commit) {
  const std::string path = file("a.jpg", image_);
  const auto store = writable(path);
  ASSERT_EQ(*store->get(keywords_key), property_value());
  ASSERT_EQ(store->set(keywords_key, two_tags_), hresult::ok);
  put(path, jpeg(xmp_segment(packet(description(" xmp:Rating=\"4\"")))));
  EXPECT_EQ(store->commit(), hresult::storage_sharing_violation);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(stored(path, rating_key), four_stars_);
  EXPECT_EQ(stored(path, keywords_key), two_tags_);
}

TEST_F(image_property_store, a_file_touched_since_the_open_is_read_again_by_the_second_set) {
  const std::string path = file("a.jpg", image_);
  const auto store = writable(path);
  touch(path);
  EXPECT_EQ(store->set(rating_key, four_stars_), hresult::sharing_violation);
  EXPECT_EQ(store->set(rating_key, four_stars_), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(stored(path, rating_key), four_stars_);
}

// A set that failed would send the caller on to change the XMP alone, with a list that lacks the other one's tag.
TEST_F(image_property_store, tags_added_between_the_read_and_the_set_are_told_by_the_commit) {
  const std::string path = file("a.jpg", image_);
  const auto store = writable(path);
  ASSERT_EQ(*store->get(keywords_key), property_value());
  const std::string newer = jpeg(xmp_segment(packet(description("", bag("dc:subject", {"of another program"})))));
  put(path, newer);
  EXPECT_EQ(store->set(keywords_key, two_tags_), hresult::sharing_violation);
  EXPECT_EQ(store->set(keywords_key, two_tags_), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::storage_sharing_violation);
  EXPECT_EQ(content(path), newer);
}

TEST_F(image_property_store, a_second_writer_waits_and_then_meets_a_sharing_violation) {
  const std::string path = file("a.jpg", image_);
  const auto store = writable(path);
  EXPECT_EQ(open_store(path, handler_access::read_write).error(), hresult::sharing_violation);
  EXPECT_TRUE(open_store(path, handler_access::read));
}

TEST_F(image_property_store, a_second_writer_gets_the_file_when_the_first_is_done) {
  const std::string path = file("a.jpg", image_);
  auto first = writable(path);
  std::thread later([&first] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    first.reset();
  });
  EXPECT_TRUE(open_store(path, handler_access::read_write));
  later.join();
}

TEST_F(image_property_store, the_file_is_locked_from_the_open_to_the_commit) {
  const std::string path = file("a.jpg", image_);
  const auto store = writable(path);
  EXPECT_TRUE(is_locked(path));
  ASSERT_EQ(store->set(rating_key, four_stars_), hresult::ok);
  EXPECT_TRUE(is_locked(path));
  ASSERT_EQ(store->commit(), hresult::ok);
  EXPECT_FALSE(is_locked(path));
}

TEST_F(image_property_store, a_failed_set_leaves_the_file_to_the_other_ways_to_change_it) {
  const std::string path = file("a.jpg", jpeg(xmp_segment(packet(description(" xmp:Rating=\"1\"")))));
  const auto store = writable(path);
  ASSERT_EQ(store->set(keywords_key, wide_strings(3000, L"a keyword of some length")),
            hresult::imaging_too_much_metadata);
  EXPECT_FALSE(is_locked(path));
  auto decoder = host::imaging_instance().open(text::wide_from_utf8(path));
  ASSERT_TRUE(decoder);
  auto encoder = (*decoder)->frame_encoder();
  ASSERT_EQ((*encoder)->set(L"/xmp/xmp:Rating", std::uint32_t{4}), hresult::ok);
  EXPECT_EQ((*encoder)->commit(), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(stored(path, rating_key), four_stars_);
}

TEST_F(image_property_store, a_read_only_file_is_read_and_not_written) {
  const std::string path = file("a.jpg", image_);
  ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
  EXPECT_TRUE(open_store(path, handler_access::read));
  EXPECT_EQ(open_store(path, handler_access::read_write).error(), hresult::access_denied);
  EXPECT_EQ(host::imaging_instance().open(text::wide_from_utf8(path)).error(), hresult::access_denied);
}

TEST_F(image_property_store, one_made_read_only_since_the_open_is_not_read_again_for_a_change) {
  const std::string path = file("a.jpg", image_);
  const auto store = writable(path);
  ASSERT_EQ(store->set(rating_key, four_stars_), hresult::ok);
  touch(path);
  ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
  EXPECT_EQ(store->commit(), hresult::storage_sharing_violation);
  EXPECT_EQ(store->commit(), hresult::storage_sharing_violation);
  EXPECT_EQ(content(path), image_);
}

TEST_F(image_property_store, a_full_disk_is_met_by_the_set_and_leaves_the_file) {
  const host_test::small_file_system disk(folder_.path("disk"), "64k");
  if (!disk.made()) GTEST_SKIP() << "this process may not mount a small file system";
  const std::string path = folder_.path("disk/a.jpg");
  const std::string bytes = jpeg(jfif(), host_test::noise(40000, 1));
  put(path, bytes);
  const auto store = writable(path);
  EXPECT_EQ(store->set(rating_key, four_stars_), hresult::storage_medium_full);
  EXPECT_EQ(*store->get(rating_key), property_value());
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(content(path), bytes);
}

// The kernel's own files claim a page and give less: as a file does that someone cuts short while it is read.
TEST_F(image_property_store, bytes_that_cannot_be_read_are_told_from_bytes_that_make_no_sense) {
  const char* const short_file = "/sys/kernel/mm/transparent_hugepage/enabled";
  if (!std::filesystem::exists(short_file)) GTEST_SKIP() << "this system has no such file";
  for (const char* name : {"a.jpg", "a.png", "a.tif", "a.webp"}) {
    ASSERT_EQ(::symlink(short_file, folder_.path(name).c_str()), 0);
    EXPECT_EQ(open_store(folder_.path(name), handler_access::read).error(), hresult::sharing_violation) << name;
  }
}

TEST_F(image_property_store, a_symbolic_link_stays_one) {
  const std::string path = file("a.jpg", image_);
  ASSERT_EQ(::symlink(path.c_str(), folder_.path("link.jpg").c_str()), 0);
  write(folder_.path("link.jpg"), rating_key, four_stars_);
  struct stat link {};
  ASSERT_EQ(::lstat(folder_.path("link.jpg").c_str(), &link), 0);
  EXPECT_TRUE(S_ISLNK(link.st_mode));
  EXPECT_EQ(stored(path, rating_key), four_stars_);
}

TEST_F(image_property_store, other_properties_are_empty_and_not_supported) {
  const auto store = writable(file("a.jpg", image_));
  EXPECT_EQ(*store->get(people_names_key), property_value());
  EXPECT_EQ(store->set(people_names_key, two_tags_), hresult::imaging_property_not_supported);
}

TEST_F(image_property_store, values_of_another_type_are_refused) {
  const auto store = writable(file("a.jpg", image_));
  EXPECT_EQ(store->set(rating_key, two_tags_), hresult::invalid_argument);
  EXPECT_EQ(store->set(rating_key, std::int32_t{-1}), hresult::invalid_argument);
  EXPECT_EQ(store->set(keywords_key, four_stars_), hresult::invalid_argument);
}

TEST_F(image_property_store, one_opened_for_reading_takes_no_value) {
  const std::string path = file("a.jpg", image_);
  for (const handler_access access : {handler_access::read, handler_access::handler_properties_only}) {
    const auto store = open_store(path, access);
    ASSERT_TRUE(store);
    EXPECT_EQ((*store)->set(rating_key, four_stars_), hresult::storage_access_denied);
  }
}

TEST_F(image_property_store, values_beyond_the_container_are_refused_and_earlier_ones_stay_set) {
  const std::string path = file("a.jpg", image_);
  const auto store = writable(path);
  ASSERT_EQ(store->set(rating_key, four_stars_), hresult::ok);
  EXPECT_EQ(store->set(keywords_key, wide_strings(3000, L"a keyword of some length")),
            hresult::imaging_too_much_metadata);
  EXPECT_EQ(*store->get(rating_key), four_stars_);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(stored(path, rating_key), four_stars_);
  EXPECT_EQ(stored(path, keywords_key), property_value());
}

TEST_F(image_property_store, what_is_not_understood_to_the_last_is_refused_a_change_and_read_as_far_as_it_goes) {
  const std::string bytes = jpeg(exif_segment(tiff(byte_order::little, {short_field(0x4746, 3, byte_order::little)})) +
                                 xmp_segment("<x:xmpmeta>"));
  const std::string path = file("a.jpg", bytes);
  EXPECT_EQ(open_store(path, handler_access::read_write).error(), hresult::imaging_unknown_format);
  for (const handler_access access : {handler_access::read, handler_access::handler_properties_only}) {
    const auto store = open_store(path, access);
    ASSERT_TRUE(store);
    EXPECT_EQ(*(*store)->get(rating_key), property_value(std::uint32_t{50}));
    EXPECT_EQ(*(*store)->get(keywords_key), property_value());
    EXPECT_EQ((*store)->set(rating_key, four_stars_), hresult::storage_access_denied);
  }
  EXPECT_EQ(content(path), bytes);
}

TEST_F(image_property_store, what_is_no_image_is_refused_and_left_alone) {
  const std::string text = file("a.jpg", "not an image");
  const std::string empty = file("c.png", "");
  for (const handler_access access : {handler_access::read, handler_access::read_write}) {
    for (const std::string& path : {text, empty, std::string("/dev/null")}) {
      EXPECT_EQ(open_store(path, access).error(), hresult::imaging_unknown_format) << path;
    }
    EXPECT_EQ(open_store(folder_.path("missing.jpg"), access).error(), hresult::file_not_found);
  }
  EXPECT_EQ(content(text), "not an image");
}

TEST_F(image_property_store, a_pipe_is_refused_without_waiting_for_its_other_end) {
  const std::string path = folder_.path("pipe.jpg");
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_FALSE(open_store(path, handler_access::read));
  EXPECT_FALSE(open_store(path, handler_access::read_write));
}

TEST_F(image_property_store, a_file_of_five_gigabytes_is_changed_in_place) {
  const std::string path = file("a.jpg", image_);
  write(path, rating_key, four_stars_);
  ASSERT_EQ(::truncate(path.c_str(), off_t{5} << 30), 0);
  write(path, rating_key, std::uint32_t{25});
  EXPECT_EQ(stored(path, rating_key), property_value(std::uint32_t{25}));
  EXPECT_LT(status_of(path).st_blocks, 1024) << "the hole is still one";
}

}  // namespace
