#include "metadata/embedded_metadata.h"

#include "metadata/metadata_fixture.h"
#include "support/allocation_faults.h"

namespace quill_box::metadata {

namespace {

using platform::hresult;
using platform::property_value;
using testing::ElementsAre;
using testing::IsEmpty;

class embedded_metadata : public metadata_test {
 protected:
  support::simulated_image& image() { return machine.images.image(photo); }
};

TEST_F(embedded_metadata, an_empty_path_is_false) {
  EXPECT_FALSE(write_embedded_rating(L"", 3));
  EXPECT_FALSE(write_embedded_keywords(L"", tag_vector{L"a"}));
  EXPECT_THAT(machine.calls.all(), IsEmpty());
}

TEST_F(embedded_metadata, a_type_that_imaging_does_not_know_is_false) {
  EXPECT_FALSE(write_embedded_rating(text_file, 3));
  EXPECT_FALSE(write_embedded_keywords(text_file, tag_vector{L"a"}));
}

TEST_F(embedded_metadata, the_rating_is_the_plain_star_number) {
  image().frame_queries = {L"/xmp/xmp:Rating"};
  EXPECT_TRUE(write_embedded_rating(photo, 5));
  EXPECT_EQ(image().written.at(L"/xmp/xmp:Rating"), property_value(5U));
  EXPECT_EQ(machine.calls.count("container_encoder"), 0U);
}

TEST_F(embedded_metadata, the_keywords_keep_their_order) {
  image().frame_queries = {L"/xmp/dc:subject"};
  EXPECT_TRUE(write_embedded_keywords(photo, tag_vector{L"b", L"a"}));
  EXPECT_EQ(image().written.at(L"/xmp/dc:subject"), property_value(tag_vector{L"b", L"a"}));
}

TEST_F(embedded_metadata, each_path_alone_takes_the_rating) {
  for (const wchar_t* query : {L"/xmp/xmp:Rating", L"/{ushort=700}/xmp:Rating"}) {
    image() = {};
    image().frame_queries = {query};
    EXPECT_TRUE(write_embedded_rating(photo, 2));
    EXPECT_EQ(image().written.size(), 1U);
  }
  for (const wchar_t* query : {L"/ifd/xmp/xmp:Rating", L"/{ushort=700}/xmp:Rating", L"/xmp/xmp:Rating"}) {
    image() = {};
    image().container_queries = {query};
    EXPECT_TRUE(write_embedded_rating(photo, 2));
    EXPECT_EQ(image().written.size(), 1U);
  }
}

TEST_F(embedded_metadata, each_path_alone_takes_the_keywords) {
  for (const wchar_t* query : {L"/xmp/dc:subject", L"/{ushort=700}/dc:subject"}) {
    image() = {};
    image().frame_queries = {query};
    EXPECT_TRUE(write_embedded_keywords(photo, tag_vector{L"a"}));
    EXPECT_EQ(image().written.size(), 1U);
  }
  for (const wchar_t* query : {L"/ifd/xmp/dc:subject", L"/{ushort=700}/dc:subject", L"/xmp/dc:subject"}) {
    image() = {};
    image().container_queries = {query};
    EXPECT_TRUE(write_embedded_keywords(photo, tag_vector{L"a"}));
    EXPECT_EQ(image().written.size(), 1U);
  }
}

TEST_F(embedded_metadata, a_failing_frame_level_goes_on_to_the_container) {
  image().frame_error = hresult::imaging_unknown_format;
  image().container_queries = {L"/xmp/xmp:Rating"};
  EXPECT_TRUE(write_embedded_rating(photo, 3));
}

TEST_F(embedded_metadata, failing_levels_are_false) {
  image().frame_error = hresult::fail;
  image().container_error = hresult::fail;
  EXPECT_FALSE(write_embedded_rating(photo, 3));
  EXPECT_EQ(machine.calls.count("set_metadata"), 0U);
}

TEST_F(embedded_metadata, without_room_the_commit_of_each_path_fails) {
  image().frame_queries = {L"/xmp/dc:subject", L"/{ushort=700}/dc:subject"};
  image().container_queries = {L"/ifd/xmp/dc:subject", L"/{ushort=700}/dc:subject", L"/xmp/dc:subject"};
  image().has_room = false;
  EXPECT_FALSE(write_embedded_keywords(photo, tag_vector{L"a"}));
  EXPECT_EQ(machine.calls.count("set_metadata"), 5U);
  EXPECT_EQ(machine.calls.count("commit_metadata"), 5U);
  EXPECT_THAT(image().written, IsEmpty());
}

TEST_F(embedded_metadata, a_failed_commit_goes_on_to_the_next_path) {
  image().frame_queries = {L"/xmp/xmp:Rating", L"/{ushort=700}/xmp:Rating"};
  machine.calls.refuse("commit_metadata", photo, hresult::imaging_too_much_metadata, 1);
  EXPECT_TRUE(write_embedded_rating(photo, 3));
  EXPECT_EQ(machine.calls.count("set_metadata"), 2U);
}

TEST_F(embedded_metadata, the_frame_encoder_is_released_before_the_container_is_asked) {
  image().frame_queries = {L"/xmp/xmp:Rating"};
  machine.calls.refuse("commit_metadata", photo, hresult::imaging_too_much_metadata, 1);
  image().container_queries = {L"/ifd/xmp/xmp:Rating"};
  EXPECT_TRUE(write_embedded_rating(photo, 3));
  EXPECT_THAT(machine.calls.named({"frame_encoder", "container_encoder", "release_encoder"}),
              ElementsAre(R"(frame_encoder(C:\photo.jpg))", R"(release_encoder(C:\photo.jpg))",
                          R"(container_encoder(C:\photo.jpg))", R"(release_encoder(C:\photo.jpg))"));
}

// --- no memory

constexpr std::size_t large = 10'000;

TEST_F(embedded_metadata, no_memory_for_the_keywords_is_false) {
  image().frame_queries = {L"/xmp/dc:subject"};
  const tag_vector tags(1, std::wstring(large, L't'));
  const support::allocation_fault fault(1, large * sizeof(wchar_t));
  EXPECT_FALSE(write_embedded_keywords(photo, tags));
  EXPECT_TRUE(fault.struck());
  EXPECT_THAT(image().written, IsEmpty());
}

TEST_F(embedded_metadata, the_keywords_are_copied_behind_the_open_image) {
  image().frame_queries = {L"/xmp/dc:subject"};
  const tag_vector tags(1, std::wstring(large, L't'));
  const support::allocation_fault fault(1, large * sizeof(wchar_t));
  EXPECT_FALSE(write_embedded_keywords(photo, tags));
  EXPECT_EQ(machine.calls.count("open_image"), 1U);
  EXPECT_EQ(machine.calls.count("frame_encoder"), 0U);
}

TEST_F(embedded_metadata, no_memory_at_the_opening_is_false_for_a_rating_too) {
  image().frame_queries = {L"/xmp/xmp:Rating"};
  const support::allocation_fault fault(1);
  EXPECT_FALSE(write_embedded_rating(photo, 3));
  EXPECT_TRUE(fault.struck());
}

}  // namespace

}  // namespace quill_box::metadata
