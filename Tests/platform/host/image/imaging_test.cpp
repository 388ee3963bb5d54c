#include "platform/host/imaging.h"

#include <gtest/gtest.h>

#include "platform/host/host_files.h"
#include "platform/host/image/image_bytes.h"
#include "text/conversions.h"

namespace {

using namespace image_bytes;
using namespace platform;
using host_test::content;

class host_imaging : public testing::Test {
 protected:
  std::unique_ptr<metadata_encoder> encoder(std::string_view name, std::string_view bytes) {
    path_ = folder_.path(name);
    host_test::put(path_, bytes);
    auto decoder = host::imaging_instance().open(text::wide_from_utf8(path_));
    EXPECT_TRUE(decoder);
    if (!decoder) return nullptr;
    auto frame = (*decoder)->frame_encoder();
    EXPECT_TRUE(frame);
    return frame ? std::move(*frame) : nullptr;
  }

  host_test::temporary_folder folder_;
  std::string path_;
};

TEST_F(host_imaging, a_rating_is_set_in_place_where_the_packet_has_room) {
  const std::string before = jpeg(xmp_segment(packet(description(" xmp:Rating=\"1\""), 0)));
  const auto frame = encoder("a.jpg", before);
  EXPECT_EQ(frame->set(L"/xmp/xmp:Rating", std::uint32_t{4}), hresult::ok);
  EXPECT_EQ(content(path_), before);
  EXPECT_EQ(frame->commit(), hresult::ok);
  EXPECT_EQ(content(path_), jpeg(xmp_segment(packet(description(" xmp:Rating=\"4\""), 0))));
}

TEST_F(host_imaging, keywords_are_set_in_place_where_the_packet_has_room) {
  const std::string before = jpeg(xmp_segment(packet(description("", bag("dc:subject", {"a"})), 26)));
  const auto frame = encoder("a.jpg", before);
  EXPECT_EQ(frame->set(L"/xmp/dc:subject", std::vector<std::wstring>{L"a", L"b"}), hresult::ok);
  EXPECT_EQ(frame->commit(), hresult::ok);
  EXPECT_EQ(content(path_), jpeg(xmp_segment(packet(description("", bag("dc:subject", {"a", "b"})), 26 - 24))));
}

TEST_F(host_imaging, without_room_the_commit_fails_and_the_file_stays) {
  const std::string before = jpeg(xmp_segment(packet(description(" xmp:Rating=\"1\""), 0)));
  const auto frame = encoder("a.jpg", before);
  EXPECT_EQ(frame->set(L"/xmp/xmp:Rating", std::uint32_t{500}), hresult::ok);
  EXPECT_EQ(frame->commit(), hresult::imaging_too_much_metadata);
  EXPECT_EQ(content(path_), before);
}

TEST_F(host_imaging, without_a_packet_the_commit_fails) {
  const auto frame = encoder("a.png", png());
  EXPECT_EQ(frame->set(L"/xmp/xmp:Rating", std::uint32_t{5}), hresult::ok);
  EXPECT_EQ(frame->commit(), hresult::imaging_too_much_metadata);
}

TEST_F(host_imaging, paths_that_do_not_fit_the_container_are_not_found) {
  const property_value five = std::uint32_t{5};
  const auto of_jpeg = encoder("a.jpg", jpeg(xmp_segment(packet(description("")))));
  EXPECT_EQ(of_jpeg->set(L"/{ushort=700}/xmp:Rating", five), hresult::imaging_property_not_found);
  EXPECT_EQ(of_jpeg->set(L"/ifd/xmp/xmp:Rating", five), hresult::imaging_property_not_found);
  EXPECT_EQ(of_jpeg->set(L"/xmp/xmp:Label", five), hresult::imaging_property_not_found);
  const auto of_tiff = encoder("a.tif", tiff(byte_order::big, {bytes_field(700, 1, packet(description("")))}));
  EXPECT_EQ(of_tiff->set(L"/xmp/xmp:Rating", five), hresult::imaging_property_not_found);
  EXPECT_EQ(of_tiff->set(L"/{ushort=700}/xmp:Rating", five), hresult::ok);
  EXPECT_EQ(of_tiff->set(L"/ifd/xmp/dc:subject", five), hresult::invalid_argument);
  EXPECT_EQ(of_tiff->commit(), hresult::ok);
  EXPECT_NE(content(path_).find(" xmp:Rating=\"5\""), std::string::npos);
}

TEST_F(host_imaging, two_encoders_of_one_image_write_one_after_the_other) {
  const auto first = encoder("a.jpg", jpeg(xmp_segment(packet(description("")))));
  auto decoder = host::imaging_instance().open(text::wide_from_utf8(path_));
  auto second = (*decoder)->container_encoder();
  ASSERT_TRUE(second);
  EXPECT_EQ(first->set(L"/xmp/xmp:Rating", std::uint32_t{5}), hresult::ok);
  EXPECT_EQ((*second)->set(L"/xmp/dc:subject", std::vector<std::wstring>{L"a"}), hresult::ok);
  EXPECT_EQ(first->commit(), hresult::ok);
  EXPECT_EQ((*second)->commit(), hresult::ok);
  EXPECT_NE(content(path_).find(" xmp:Rating=\"5\""), std::string::npos);
  EXPECT_NE(content(path_).find("<rdf:li>a</rdf:li>"), std::string::npos);
}

TEST_F(host_imaging, what_is_no_image_cannot_be_opened) {
  host_test::put(folder_.path("a.jpg"), "text");
  const auto decoder = host::imaging_instance().open(text::wide_from_utf8(folder_.path("a.jpg")));
  EXPECT_EQ(decoder.error(), hresult::imaging_unknown_format);
}

}  // namespace
