#include "platform/host/media/asf_rating.h"

#include <gtest/gtest.h>

#include "support/media/containers.h"
#include "support/media/plans.h"
#include "support/media/tools.h"

namespace {

using namespace test_support;
using platform::handler_access;
using platform::hresult;
using platform::host::media::asf_rating;

std::string rating(std::uint64_t percent) { return asf_descriptor("WM/SharedUserRating", 3, little(percent, 4)); }
const std::string genre = asf_descriptor("WM/Genre", 0, utf16("Rock") + zeros(2));

std::string padding(std::size_t size) { return asf_object(asf_padding_id, zeros(size - 24)); }
std::string properties(std::uint64_t file_size) {
  return asf_object(asf_file_id, zeros(16) + little(file_size, 8) + zeros(56));
}

std::optional<std::uint32_t> read_rating(const std::string& file) {
  const auto answer = rating_of(asf_rating, file);
  EXPECT_EQ(answer.code, hresult::ok);
  return answer.percent;
}

change_answer changed(const std::string& file, std::uint32_t percent) {
  auto change = change_rating(asf_rating, file, percent);
  EXPECT_EQ(change.code, hresult::ok);
  EXPECT_EQ(read_rating(change.bytes).value_or(0), percent);
  return change;
}

void expect_refused(const std::string& file) {
  EXPECT_EQ(rating_of(asf_rating, file, handler_access::read_write).code, hresult::fail);
}

TEST(asf_rating, the_percent_value_is_read) {
  for (const std::uint32_t percent : {0U, 1U, 25U, 50U, 75U, 99U, 500U}) {
    EXPECT_EQ(read_rating(asf_header({asf_description({genre, rating(percent)})}) + asf_data()), percent);
  }
  EXPECT_EQ(read_rating(asf_header({asf_description({genre})}) + asf_data()), std::nullopt);
  EXPECT_EQ(read_rating(asf_header({}) + asf_data()), std::nullopt);
}

TEST(asf_rating, only_the_value_changes_where_the_property_is_there) {
  const auto at = [](std::uint64_t percent) {
    return asf_header({asf_description({rating(percent), genre})}) + asf_data();
  };
  const auto change = changed(at(25), 99);
  EXPECT_EQ(change.bytes, at(99));
  ASSERT_EQ(change.plan.size(), 1U);
  EXPECT_EQ(change.plan[0].erase, 1U);
}

TEST(asf_rating, the_same_rating_writes_nothing) {
  EXPECT_TRUE(changed(asf_header({asf_description({rating(75)})}) + asf_data(), 75).plan.empty());
  EXPECT_TRUE(changed(asf_header({}) + asf_data(), 0).plan.empty());
}

TEST(asf_rating, padding_gives_the_room) {
  const std::string file = asf_header({asf_description({genre}), padding(500)}) + asf_data();
  const auto change = changed(file, 75);
  EXPECT_TRUE(is_in_place(change.plan));
  EXPECT_EQ(change.bytes,
            asf_header({asf_description({genre, rating(75)}), padding(500 - rating(75).size())}) + asf_data());
}

TEST(asf_rating, padding_that_fits_exactly_is_used_up) {
  const std::string file = asf_header({padding(rating(75).size()), asf_description({genre})}) + asf_data();
  EXPECT_EQ(changed(file, 75).bytes, asf_header({asf_description({genre, rating(75)})}) + asf_data());
}

TEST(asf_rating, a_header_without_room_grows_and_the_next_change_is_in_place) {
  const auto with = [](const std::vector<std::string>& more, std::size_t file_size) {
    std::vector<std::string> objects = {properties(file_size)};
    objects.insert(objects.end(), more.begin(), more.end());
    return asf_header(objects) + asf_data() + "an index";
  };
  const std::string file = with({}, with({}, 0).size());
  const std::vector<std::string> grown = {asf_description({rating(50)}), padding(24 + 2048)};
  const auto change = changed(file, 50);
  EXPECT_EQ(change.bytes, with(grown, with(grown, 0).size()));
  const auto removal = changed(change.bytes, 0);
  EXPECT_TRUE(is_in_place(removal.plan));
  EXPECT_TRUE(is_in_place(changed(removal.bytes, 25).plan));
}

TEST(asf_rating, a_file_size_that_is_not_true_stays) {
  const auto change = changed(asf_header({properties(7)}) + asf_data(), 50);
  EXPECT_TRUE(change.bytes.substr(30).starts_with(properties(7)));
}

TEST(asf_rating, removal_makes_padding) {
  const std::string file = asf_header({asf_description({genre, rating(75)})}) + asf_data();
  const auto change = changed(file, 0);
  EXPECT_TRUE(is_in_place(change.plan));
  EXPECT_EQ(change.bytes, asf_header({asf_description({genre}), padding(rating(75).size())}) + asf_data());
}

TEST(asf_rating, the_object_goes_with_its_last_descriptor) {
  const std::string file = asf_header({asf_description({rating(75)}), properties(1)}) + asf_data();
  EXPECT_EQ(changed(file, 0).bytes,
            asf_header({properties(1), padding(asf_description({rating(75)}).size())}) + asf_data());
}

TEST(asf_rating, a_signed_file_is_read_only) {
  const std::string file =
      asf_header({asf_description({rating(75)}), asf_object(asf_signature_id, zeros(40))}) + asf_data();
  EXPECT_EQ(read_rating(file), 75);
  expect_refused(file);
  EXPECT_EQ(change_rating(asf_rating, file, 25).code, hresult::imaging_property_not_supported);
}

TEST(asf_rating, files_that_can_not_be_decoded_are_refused) {
  expect_refused("");
  expect_refused(mp4_ftyp());
  expect_refused(asf_data());
  expect_refused(asf_header({asf_description({asf_descriptor("WM/SharedUserRating", 0, "75")})}));
  expect_refused(asf_header({asf_description({rating(1)}), asf_description({rating(2)})}));
  expect_refused(asf_header({asf_object(asf_description_id, "")}));
  expect_refused(asf_header({asf_object(asf_description_id, little(1, 2))}));
  expect_refused(asf_header({asf_object(asf_description_id, little(0, 2) + "x")}));
  std::string count = asf_header({properties(1)});
  ++count[24];
  expect_refused(count);
}

TEST(asf_rating, a_header_cut_anywhere_is_refused) {
  const std::string header = asf_header({properties(1), asf_description({genre, rating(50)}), padding(40)});
  for (std::size_t length = 0; length < header.size(); ++length)
    expect_refused(header.substr(0, length));
}

TEST(asf_rating, lying_sizes_never_give_a_plan_that_reads_differently) {
  const std::string header = asf_header({properties(1), asf_description({genre, rating(50)}), padding(90)});
  for (std::size_t at = 0; at < header.size(); ++at) {
    for (const char value : {'\0', '\x01', '\x7f', '\xff'}) {
      std::string lying = header + asf_data();
      lying[at] = value;
      const auto change = change_rating(asf_rating, lying, 75);
      if (change.code != hresult::ok) continue;
      EXPECT_EQ(rating_of(asf_rating, change.bytes).percent, 75) << at;
      EXPECT_TRUE(change.bytes.ends_with(asf_data())) << at;
    }
  }
}

TEST(asf_rating, other_programs_read_what_was_written_to_a_real_file) {
  const media_folder folder;
  output_of("ffmpeg -nostdin -v error -f lavfi -i sine=d=2 -metadata title=Title -metadata genre=Rock " +
            folder.file("a.wma"));
  output_of("ffmpeg -nostdin -v error -f lavfi -i testsrc=d=1:s=64x48:r=10 -f lavfi -i sine=d=1 " +
            folder.file("b.wmv"));
  for (const char* name : {"a.wma", "b.wmv"}) {
    const std::string path = folder.file(name);
    const std::string original = read_file(path);
    const std::string decoded = decoded_sum(path);
    const std::string stored = stored_sum(path);
    write_file(path, changed(original, 75).bytes);
    EXPECT_EQ(exif_value(path, "SharedUserRating"), "75") << name;
    EXPECT_EQ(decoded_sum(path), decoded) << name;
    EXPECT_EQ(stored_sum(path), stored) << name;
    EXPECT_EQ(exif_value(path, "Title"), name[0] == 'a' ? "Title" : "") << name;
    const auto second = changed(read_file(path), 1);
    EXPECT_TRUE(is_in_place(second.plan)) << name;
    write_file(path, second.bytes);
    EXPECT_EQ(exif_value(path, "SharedUserRating"), "1") << name;
    const auto third = changed(second.bytes, 0);
    EXPECT_TRUE(is_in_place(third.plan)) << name;
    write_file(path, third.bytes);
    EXPECT_EQ(exif_value(path, "SharedUserRating"), "") << name;
    EXPECT_EQ(decoded_sum(path), decoded) << name;
  }
}

}  // namespace
