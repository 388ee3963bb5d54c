#include "platform/host/media/media_property_store.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/host/host_files.h"
#include "platform/property_keys.h"
#include "support/media/containers.h"
#include "support/media/tools.h"

namespace {

using namespace test_support;
using platform::handler_access;
using platform::hresult;
using platform::keywords_key;
using platform::property_store;
using platform::property_value;
using platform::rating_key;
using platform::host::open_media_store;

const property_value four_stars = std::uint32_t{75};

std::string plain_movie() {
  return mp4_ftyp() + mp4_atom("mdat", "sound") + mp4_atom("moov", mp4_atom("mvhd", zeros(100)));
}

std::unique_ptr<property_store> opened(const std::wstring& path, handler_access access) {
  auto store = open_media_store(path, access);
  EXPECT_EQ(store.error(), hresult::ok);
  return store ? *std::move(store) : nullptr;
}

hresult open_code(const std::wstring& path, handler_access access) { return open_media_store(path, access).error(); }

property_value rating_in(const std::wstring& path) {
  const auto store = opened(path, handler_access::read);
  const auto value = store->get(rating_key);
  EXPECT_EQ(value.error(), hresult::ok);
  return *value;
}

struct stat status_of(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0);
  return status;
}

class media_property_store : public ::testing::Test {
 protected:
  void SetUp() override { write_file(movie, plain_movie()); }

  media_folder folder;
  std::string movie = folder.file("a.mp4");
  std::wstring wide_movie = folder.wide_file("a.mp4");
};

TEST_F(media_property_store, a_committed_rating_is_read_back_for_every_type) {
  write_file(folder.file("a.mp3"), mpeg_audio());
  write_file(folder.file("a.wma"), asf_header({}) + asf_data());
  for (const char* name : {"a.mp3", "a.mp4", "a.wma"}) {
    const auto store = opened(folder.wide_file(name), handler_access::read_write);
    EXPECT_EQ(*store->get(rating_key), property_value());
    EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
    EXPECT_EQ(*store->get(rating_key), four_stars);
    EXPECT_EQ(store->commit(), hresult::ok);
    EXPECT_EQ(*store->get(rating_key), four_stars);
    EXPECT_EQ(rating_in(folder.wide_file(name)), four_stars) << name;
  }
}

TEST_F(media_property_store, nothing_is_written_before_the_commit) {
  {
    const auto store = opened(wide_movie, handler_access::read_write);
    EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
    EXPECT_EQ(read_file(movie), plain_movie());
  }
  EXPECT_EQ(read_file(movie), plain_movie());
}

TEST_F(media_property_store, the_last_value_set_counts) {
  const auto store = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
  EXPECT_EQ(store->set(rating_key, std::uint32_t{25}), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(rating_in(wide_movie), property_value(std::uint32_t{25}));
}

TEST_F(media_property_store, setting_the_old_value_again_drops_the_change) {
  const auto store = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
  EXPECT_EQ(store->set(rating_key, std::uint32_t{0}), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(read_file(movie), plain_movie());
}

TEST_F(media_property_store, a_store_can_be_changed_again_after_its_commit) {
  const auto store = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(store->set(rating_key, std::uint32_t{1}), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(rating_in(wide_movie), property_value(std::uint32_t{1}));
}

TEST_F(media_property_store, an_empty_value_and_zero_remove_the_rating) {
  for (const property_value& none : {property_value(), property_value(std::uint32_t{0})}) {
    const auto store = opened(wide_movie, handler_access::read_write);
    EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
    EXPECT_EQ(store->commit(), hresult::ok);
    EXPECT_EQ(store->set(rating_key, none), hresult::ok);
    EXPECT_EQ(*store->get(rating_key), property_value());
    EXPECT_EQ(store->commit(), hresult::ok);
    EXPECT_EQ(rating_in(wide_movie), property_value());
  }
}

TEST_F(media_property_store, the_same_value_leaves_the_file_untouched) {
  const auto first = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(first->set(rating_key, four_stars), hresult::ok);
  EXPECT_EQ(first->commit(), hresult::ok);
  const struct stat before = status_of(movie);
  EXPECT_EQ(first->set(rating_key, four_stars), hresult::ok);
  EXPECT_EQ(first->commit(), hresult::ok);
  const struct stat after = status_of(movie);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
  EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
  EXPECT_EQ(after.st_ctim.tv_nsec, before.st_ctim.tv_nsec);
}

TEST_F(media_property_store, a_second_change_keeps_the_file) {
  const auto store = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  const struct stat before = status_of(movie);
  EXPECT_EQ(store->set(rating_key, std::uint32_t{99}), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(status_of(movie).st_ino, before.st_ino);
  EXPECT_EQ(status_of(movie).st_size, before.st_size);
}

TEST_F(media_property_store, hard_links_show_the_change_too) {
  ASSERT_EQ(::link(movie.c_str(), folder.file("b.mp4").c_str()), 0);
  const auto store = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(rating_in(folder.wide_file("b.mp4")), four_stars);
  EXPECT_EQ(status_of(movie).st_nlink, 2U);
}

TEST_F(media_property_store, a_symbolic_link_stays_one) {
  ASSERT_EQ(::symlink("a.mp4", folder.file("l.mp4").c_str()), 0);
  const auto store = opened(folder.wide_file("l.mp4"), handler_access::read_write);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_TRUE(std::filesystem::is_symlink(folder.file("l.mp4")));
  EXPECT_EQ(rating_in(wide_movie), four_stars);
}

TEST_F(media_property_store, tags_stand_beside_the_content_and_add_up) {
  for (const wchar_t* tag : {L"a", L"b"}) {
    const auto store = opened(wide_movie, handler_access::read_write);
    const property_value before = *store->get(keywords_key);
    std::vector<std::wstring> tags;
    if (const auto* list = std::get_if<std::vector<std::wstring>>(&before)) tags = *list;
    tags.emplace_back(tag);
    EXPECT_EQ(store->set(keywords_key, tags), hresult::ok);
    EXPECT_EQ(*store->get(keywords_key), property_value(tags));
    EXPECT_EQ(store->commit(), hresult::ok);
  }
  EXPECT_EQ(*opened(wide_movie, handler_access::read)->get(keywords_key),
            property_value(std::vector<std::wstring>{L"a", L"b"}));
  EXPECT_EQ(read_file(movie), plain_movie());
}

TEST_F(media_property_store, tags_stay_when_a_rating_gives_the_file_a_new_content) {
  const auto store = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(store->set(keywords_key, std::vector<std::wstring>{L"a"}), hresult::ok);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(rating_in(wide_movie), four_stars);
  EXPECT_EQ(*opened(wide_movie, handler_access::read)->get(keywords_key),
            property_value(std::vector<std::wstring>{L"a"}));
}

TEST_F(media_property_store, other_properties_are_not_supported) {
  const auto store = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(store->set(platform::people_names_key, std::wstring(L"x")), hresult::imaging_property_not_supported);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(read_file(movie), plain_movie());
}

TEST_F(media_property_store, a_value_of_another_type_is_refused) {
  const auto store = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(store->set(rating_key, std::wstring(L"4")), hresult::invalid_argument);
  EXPECT_EQ(store->set(rating_key, std::int32_t{-1}), hresult::invalid_argument);
  EXPECT_EQ(store->set(rating_key, std::vector<std::wstring>()), hresult::invalid_argument);
}

TEST_F(media_property_store, a_value_out_of_the_scale_is_kept_where_the_type_can_hold_it) {
  write_file(folder.file("a.mp3"), mpeg_audio());
  EXPECT_EQ(opened(folder.wide_file("a.mp3"), handler_access::read_write)->set(rating_key, std::uint32_t{500}),
            hresult::invalid_argument);
  const auto store = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(store->set(rating_key, std::uint32_t{500}), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(rating_in(wide_movie), property_value(std::uint32_t{500}));
}

TEST_F(media_property_store, a_refused_value_leaves_the_one_set_before) {
  write_file(folder.file("a.mp3"), mpeg_audio());
  const auto store = opened(folder.wide_file("a.mp3"), handler_access::read_write);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
  EXPECT_EQ(store->set(rating_key, std::uint32_t{500}), hresult::invalid_argument);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(rating_in(folder.wide_file("a.mp3")), four_stars);
}

TEST_F(media_property_store, a_store_for_reading_refuses_changes) {
  for (const auto access : {handler_access::read, handler_access::handler_properties_only}) {
    EXPECT_EQ(opened(wide_movie, access)->set(rating_key, four_stars), hresult::storage_access_denied);
  }
}

TEST_F(media_property_store, a_file_with_no_place_for_a_rating_refuses_the_set) {
  const std::string file = mp4_ftyp() + mp4_atom("moov", mp4_atom("mvhd", zeros(100))) + mp4_atom("abcd", zeros(8));
  write_file(movie, file);
  const auto store = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::imaging_property_not_supported);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(read_file(movie), file);
}

TEST_F(media_property_store, a_file_that_can_not_be_decoded_is_refused) {
  write_file(movie, plain_movie().substr(0, 60));
  EXPECT_EQ(open_code(wide_movie, handler_access::read_write), hresult::fail);
  EXPECT_EQ(open_code(wide_movie, handler_access::read), hresult::fail);
  write_file(movie, "");
  EXPECT_EQ(open_code(wide_movie, handler_access::read_write), hresult::fail);
}

TEST_F(media_property_store, a_file_of_another_type_under_the_extension_is_refused) {
  write_file(folder.file("a.mp3"), plain_movie());
  EXPECT_EQ(open_code(folder.wide_file("a.mp3"), handler_access::read_write), hresult::fail);
}

TEST_F(media_property_store, a_pipe_is_refused_without_waiting) {
  ASSERT_EQ(::mkfifo(folder.file("p.mp4").c_str(), 0600), 0);
  EXPECT_EQ(open_code(folder.wide_file("p.mp4"), handler_access::read), hresult::fail);
  EXPECT_EQ(open_code(folder.wide_file("p.mp4"), handler_access::read_write), hresult::fail);
}

TEST_F(media_property_store, a_missing_file_and_a_missing_folder_are_told_apart) {
  EXPECT_EQ(open_code(folder.wide_file("no.mp4"), handler_access::read_write), hresult::file_not_found);
  EXPECT_EQ(open_code(folder.wide_file("no/a.mp4"), handler_access::read_write), hresult::path_not_found);
  EXPECT_EQ(open_code(L"", handler_access::read_write), hresult::path_not_found);
}

TEST_F(media_property_store, a_second_writer_meets_a_sharing_violation) {
  {
    const auto store = opened(wide_movie, handler_access::read_write);
    EXPECT_EQ(open_code(wide_movie, handler_access::read_write), hresult::sharing_violation);
    EXPECT_EQ(open_code(wide_movie, handler_access::read), hresult::ok);
    // The lock outlives a commit that gives the path a new file only with that; another change takes it anew.
    EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
    EXPECT_EQ(open_code(wide_movie, handler_access::read_write), hresult::sharing_violation);
  }
  EXPECT_EQ(open_code(wide_movie, handler_access::read_write), hresult::ok);
}

TEST_F(media_property_store, a_commit_that_can_not_pass_is_a_sharing_violation) {
  const auto store = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
  ASSERT_EQ(::unlink(movie.c_str()), 0);
  for (int attempt = 0; attempt < 3; ++attempt)
    EXPECT_EQ(store->commit(), hresult::storage_sharing_violation);
  EXPECT_FALSE(std::filesystem::exists(movie));
}

TEST_F(media_property_store, a_commit_after_someone_else_changed_the_file_reads_it_anew) {
  const auto store = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
  const std::string other =
      mp4_ftyp() + mp4_atom("mdat", "other sound") + mp4_atom("moov", mp4_atom("mvhd", zeros(200)));
  write_file(folder.file("new"), other);
  ASSERT_EQ(::rename(folder.file("new").c_str(), movie.c_str()), 0);
  EXPECT_EQ(store->commit(), hresult::storage_sharing_violation);
  EXPECT_EQ(read_file(movie), other);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(rating_in(wide_movie), four_stars);
  EXPECT_NE(read_file(movie).find("other sound"), std::string::npos);
}

TEST_F(media_property_store, a_rating_that_someone_else_gave_since_it_was_read_is_never_overwritten) {
  const auto store = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
  write_file(folder.file("new.mp4"), plain_movie());
  {
    const auto other = opened(folder.wide_file("new.mp4"), handler_access::read_write);
    EXPECT_EQ(other->set(rating_key, std::uint32_t{25}), hresult::ok);
    EXPECT_EQ(other->commit(), hresult::ok);
  }
  ASSERT_EQ(::rename(folder.file("new.mp4").c_str(), movie.c_str()), 0);
  for (int attempt = 0; attempt < 3; ++attempt)
    EXPECT_EQ(store->commit(), hresult::storage_sharing_violation);
  EXPECT_EQ(rating_in(wide_movie), property_value(std::uint32_t{25}));
}

TEST_F(media_property_store, a_file_touched_since_the_open_is_read_again_by_the_second_set) {
  const auto store = opened(wide_movie, handler_access::read_write);
  ASSERT_EQ(::utimensat(AT_FDCWD, movie.c_str(), nullptr, 0), 0);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::sharing_violation);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(rating_in(wide_movie), four_stars);
}

TEST_F(media_property_store, tags_and_a_rating_that_wait_for_a_commit_survive_a_touch) {
  const property_value tags = std::vector<std::wstring>{L"a"};
  const auto store = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(store->set(keywords_key, tags), hresult::ok);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::ok);
  ASSERT_EQ(::utimensat(AT_FDCWD, movie.c_str(), nullptr, 0), 0);
  EXPECT_EQ(store->commit(), hresult::storage_sharing_violation);
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(rating_in(wide_movie), four_stars);
  EXPECT_EQ(*opened(wide_movie, handler_access::read)->get(keywords_key), tags);
}

TEST_F(media_property_store, a_failed_set_leaves_the_file_to_the_other_ways_to_change_it) {
  write_file(movie, mp4_ftyp() + mp4_atom("moov", mp4_atom("mvhd", zeros(100))) + mp4_atom("abcd", zeros(8)));
  const auto store = opened(wide_movie, handler_access::read_write);
  EXPECT_EQ(*store->get(keywords_key), property_value());
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::imaging_property_not_supported);
  EXPECT_TRUE(opened(wide_movie, handler_access::read_write));
}

TEST_F(media_property_store, bytes_that_can_not_be_read_are_told_from_bytes_that_make_no_sense) {
  const char* const short_file = "/sys/kernel/mm/transparent_hugepage/enabled";
  if (!std::filesystem::exists(short_file)) GTEST_SKIP() << "this system has no such file";
  for (const char* name : {"b.mp3", "b.mp4", "b.wma"}) {
    ASSERT_EQ(::symlink(short_file, folder.file(name).c_str()), 0);
    EXPECT_EQ(open_code(folder.wide_file(name), handler_access::read), hresult::sharing_violation) << name;
  }
}

/// Takes the rights of root from this process for a scope, where it has them.
class without_privileges {
 public:
  without_privileges() {
    if (::geteuid() == 0 && ::seteuid(65534) == 0) lowered_ = true;
  }
  without_privileges(const without_privileges&) = delete;
  without_privileges& operator=(const without_privileges&) = delete;
  ~without_privileges() {
    if (lowered_ && ::seteuid(0) != 0) std::abort();
  }

 private:
  bool lowered_ = false;
};

TEST_F(media_property_store, a_read_only_file_is_read_and_not_written) {
  std::filesystem::permissions(movie, std::filesystem::perms(0444));
  std::filesystem::permissions(std::filesystem::path(movie).parent_path(), std::filesystem::perms(0755));
  EXPECT_EQ(open_code(wide_movie, handler_access::read), hresult::ok);
  EXPECT_EQ(open_code(wide_movie, handler_access::read_write), hresult::access_denied);
  const without_privileges scope;
  EXPECT_EQ(open_code(wide_movie, handler_access::read), hresult::ok);
  EXPECT_EQ(open_code(wide_movie, handler_access::read_write), hresult::access_denied);
}

TEST_F(media_property_store, a_file_of_another_user_is_read_and_not_written) {
  if (::geteuid() != 0) GTEST_SKIP() << "this process may not act as another user";
  std::filesystem::permissions(movie, std::filesystem::perms(0644));
  std::filesystem::permissions(std::filesystem::path(movie).parent_path(), std::filesystem::perms(0755));
  const without_privileges scope;
  EXPECT_EQ(open_code(wide_movie, handler_access::read), hresult::ok);
  EXPECT_EQ(open_code(wide_movie, handler_access::read_write), hresult::access_denied);
}

TEST_F(media_property_store, a_full_disk_is_met_by_the_set) {
  const host_test::small_file_system disk(folder.file("disk"), "64k");
  if (!disk.made()) GTEST_SKIP() << "this process may not mount a small file system";
  const std::string file = plain_movie() + mp4_atom("free", zeros(8)) + mp4_atom("mdat", std::string(40000, 's'));
  write_file(folder.file("disk/a.mp4"), file);
  const auto store = opened(folder.wide_file("disk/a.mp4"), handler_access::read_write);
  EXPECT_EQ(store->set(rating_key, four_stars), hresult::storage_medium_full);
  EXPECT_EQ(*store->get(rating_key), property_value());
  EXPECT_EQ(store->commit(), hresult::ok);
  EXPECT_EQ(read_file(folder.file("disk/a.mp4")), file);
}

}  // namespace
