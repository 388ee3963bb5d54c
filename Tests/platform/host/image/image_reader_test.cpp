// Sizes and Exif fields as the imaging facility reads them.
#include <gtest/gtest.h>

#include "platform/host/host_files.h"
#include "platform/host/image/image_bytes.h"
#include "platform/host/image/image_header.h"
#include "platform/host/imaging.h"
#include "text/conversions.h"

namespace {

using namespace image_bytes;
using namespace platform;

constexpr std::uint16_t orientation_tag = 274;

std::string frame(unsigned char marker, std::uint16_t width, std::uint16_t height) {
  return segment(marker,
                 "\x08"s + u16_bytes(height, byte_order::big) + u16_bytes(width, byte_order::big) + "\1\1\x11\0"s);
}

std::string exif_with(const field& value, byte_order order = byte_order::little) { return tiff(order, {value}); }
std::string turned(byte_order order = byte_order::little) {
  return exif_with(short_field(orientation_tag, 6, order), order);
}

std::string tiff_page(byte_order order) {
  return tiff(order, {short_field(256, 640, order), {257, 4, 1, u32_bytes(480, order)}, short_field(274, 8, order)});
}

std::string png_of(std::uint32_t width, std::uint32_t height, std::string_view behind = {}) {
  return "\x89PNG\r\n\x1a\n"s +
         png_chunk("IHDR", u32_bytes(width, byte_order::big) + u32_bytes(height, byte_order::big) + "\x08\0\0\0\0"s) +
         png_chunk("IDAT", "no pixels really") + std::string(behind) + png_chunk("IEND", "");
}

class image_reader_test : public testing::Test {
 protected:
  hresult_result<std::unique_ptr<image_reader>> open(std::string_view bytes) {
    host_test::put(path_, bytes);
    return host::imaging_instance().open_for_reading(text::wide_from_utf8(path_));
  }
  image_size size_of(std::string_view bytes) {
    const auto image = open(bytes);
    if (!image) return {1, code_of(image.error())};
    const auto size = (*image)->size();
    return size ? *size : image_size{2, code_of(size.error())};
  }
  property_value value_of(std::string_view bytes, const std::wstring& query) {
    const auto image = open(bytes);
    if (!image) return image.error() == hresult::ok ? L"ok" : L"not opened";
    const auto value = (*image)->get(query);
    return value ? *value : property_value(L"none");
  }

  host_test::temporary_folder folder_;
  std::string path_ = folder_.path("image");
};

const std::wstring jpeg_query = L"/app1/ifd/{ushort=274}";
const std::wstring jpeg_query_by_number = L"/app1/{ushort=0}/{ushort=274}";
const std::wstring ifd_query = L"/ifd/{ushort=274}";
const property_value six = std::uint16_t{6};
const property_value no_value = std::wstring(L"none");
constexpr image_size not_understood = {2, code_of(hresult::imaging_unknown_format)};

TEST_F(image_reader_test, the_size_of_a_jpeg_stands_in_its_frame) {
  for (const char marker : std::string_view("\xc0\xc1\xc2\xc3\xc5\xc9\xcf"))
    EXPECT_EQ(size_of(jpeg(jfif() + frame(static_cast<unsigned char>(marker), 4000, 3000))), (image_size{4000, 3000}));
}

TEST_F(image_reader_test, tables_numbered_like_frames_are_none) {
  EXPECT_EQ(size_of(jpeg(frame(0xc4, 1, 1) + frame(0xc8, 2, 2) + frame(0xcc, 3, 3) + "\xff\xff\xff"s +
                         frame(0xc0, 65535, 1))),
            (image_size{65535, 1}));
}

TEST_F(image_reader_test, a_jpeg_without_a_frame_in_front_of_its_scan_has_no_size) {
  EXPECT_EQ(size_of(jpeg(jfif())), not_understood);
  EXPECT_EQ(size_of(jpeg(segment(0xc0, "\x08\0\1"s))), not_understood);
  EXPECT_EQ(size_of(jpeg(jfif() + "no segment" + frame(0xc0, 1, 1))), not_understood);
  EXPECT_EQ(size_of("\xff\xd8\xff\xe0\xff\xff more than there is"s), not_understood);
  EXPECT_EQ(size_of("\xff\xd8"s + std::string(500'000, '\xff') + frame(0xc0, 1, 1)), not_understood);
}

TEST_F(image_reader_test, the_orientation_of_a_jpeg_is_found_by_both_of_its_queries) {
  for (const byte_order order : {byte_order::little, byte_order::big}) {
    const std::string image = jpeg(jfif() + xmp_segment("packet") + exif_segment(turned(order)));
    EXPECT_EQ(value_of(image, jpeg_query), six);
    EXPECT_EQ(value_of(image, jpeg_query_by_number), six);
    EXPECT_EQ(value_of(image, ifd_query), no_value);
  }
  EXPECT_EQ(value_of(jpeg(jfif()), jpeg_query), no_value);
  EXPECT_EQ(value_of(jpeg(exif_segment(camera_exif())), jpeg_query), no_value);
}

TEST_F(image_reader_test, the_orientation_of_the_other_kinds_has_one_query) {
  const std::string images[] = {tiff(byte_order::little, {short_field(274, 6, byte_order::little)}),
                                png_of(1, 1, png_chunk("eXIf", turned())),
                                webp(vp8x(0x08, 1, 1) + vp8(1, 1) + webp_chunk("EXIF", turned())),
                                webp(vp8x(0x08, 1, 1) + vp8(1, 1) + webp_chunk("EXIF", "Exif\0\0"s + turned()))};
  for (const std::string& image : images) {
    EXPECT_EQ(value_of(image, ifd_query), six);
    EXPECT_EQ(value_of(image, jpeg_query), no_value);
    EXPECT_EQ(value_of(image, jpeg_query_by_number), no_value);
  }
}

TEST_F(image_reader_test, a_field_has_the_type_of_its_number) {
  constexpr byte_order order = byte_order::little;
  const auto value = [&](const field& stored) { return value_of(jpeg(exif_segment(exif_with(stored))), jpeg_query); };
  EXPECT_EQ(value({274, 3, 1, u16_bytes(6, order)}), six);
  EXPECT_EQ(value({274, 4, 1, u32_bytes(6, order)}), property_value(6U));
  EXPECT_EQ(value({274, 1, 1, "\6"s}), property_value(other_type{}));
  EXPECT_EQ(value({274, 3, 2, u16_bytes(6, order) + u16_bytes(6, order)}), property_value(other_type{}));
  EXPECT_EQ(value({274, 2, 2, "6\0"s}), property_value(other_type{}));
}

TEST_F(image_reader_test, queries_are_taken_to_the_letter) {
  const std::string image = jpeg(exif_segment(turned()));
  for (const wchar_t* query : {L"", L"/app1/ifd/", L"/app1/ifd/{ushort=}", L"/app1/ifd/{ushort=274",
                               L"/app1/ifd/{ushort=274}x", L"/app1/ifd/{ushort=65810}", L"/app1/ifd/{ushort=+274}",
                               L"/app1/ifd/{ushort=99999999999}", L"/xmp/tiff:Orientation"})
    EXPECT_EQ(value_of(image, query), no_value) << text::utf8_from_wide(query);
}

TEST_F(image_reader_test, sizes_of_the_other_kinds) {
  EXPECT_EQ(size_of(png_of(640, 70000)), (image_size{640, 70000}));
  EXPECT_EQ(size_of(tiff_page(byte_order::little)), (image_size{640, 480}));
  EXPECT_EQ(size_of(tiff_page(byte_order::big)), (image_size{640, 480}));
  EXPECT_EQ(size_of(webp(vp8(640, 480))), (image_size{640, 480}));
  EXPECT_EQ(size_of(webp(vp8l(640, 480, 1))), (image_size{640, 480}));
  EXPECT_EQ(size_of(webp(vp8x(0, 70000, 480) + vp8(640, 480))), (image_size{70000, 480}));
}

TEST_F(image_reader_test, headers_that_say_nothing_have_no_size) {
  EXPECT_EQ(size_of(tiff(byte_order::little, {short_field(256, 640, byte_order::little)})), not_understood);
  EXPECT_EQ(size_of("\x89PNG\r\n\x1a\n"s + png_chunk("tEXt", std::string(13, 't'))), not_understood);
  EXPECT_EQ(size_of(webp(webp_chunk("ICCP", "no bitstream"))), not_understood);
}

TEST_F(image_reader_test, a_file_whose_metadata_is_not_understood_has_its_size_all_the_same) {
  const std::string two_packets = jpeg(xmp_segment("<") + xmp_segment("<") + frame(0xc0, 640, 480));
  EXPECT_EQ(size_of(two_packets), (image_size{640, 480}));
  EXPECT_FALSE(host::imaging_instance().open(text::wide_from_utf8(path_)));
}

TEST_F(image_reader_test, other_files_are_no_images) {
  for (const std::string_view bytes : {"", "text", "RIFF....WAVEfmt ", "GIF89a......"}) {
    const auto image = open(bytes);
    ASSERT_FALSE(image);
    EXPECT_EQ(image.error(), hresult::imaging_unknown_format);
  }
  const auto missing = host::imaging_instance().open_for_reading(text::wide_from_utf8(folder_.path("missing")));
  ASSERT_FALSE(missing);
  EXPECT_EQ(missing.error(), hresult::file_not_found);
  const auto folder = host::imaging_instance().open_for_reading(text::wide_from_utf8(folder_.folder()));
  ASSERT_FALSE(folder);
  EXPECT_EQ(folder.error(), hresult::imaging_unknown_format);
}

TEST_F(image_reader_test, reading_takes_a_read_only_file_and_changes_nothing) {
  const std::string image = jpeg(exif_segment(turned()) + frame(0xc0, 640, 480));
  host_test::put(path_, image);
  ASSERT_EQ(::chmod(path_.c_str(), 0444), 0);
  const auto opened = host::imaging_instance().open_for_reading(text::wide_from_utf8(path_));
  ASSERT_TRUE(opened);
  EXPECT_TRUE((*opened)->size());
  EXPECT_TRUE((*opened)->get(jpeg_query));
  EXPECT_EQ(host_test::content(path_), image);
}

TEST_F(image_reader_test, a_file_cut_at_any_byte_is_read_as_far_as_it_goes) {
  const std::string images[] = {jpeg(exif_segment(turned()) + frame(0xc0, 640, 480)), tiff_page(byte_order::big),
                                png_of(640, 480, png_chunk("eXIf", turned())),
                                webp(vp8x(0x08, 640, 480) + vp8(640, 480) + webp_chunk("EXIF", turned()))};
  for (const std::string& image : images) {
    for (std::size_t size = 0; size < image.size(); ++size) {
      const std::string cut = image.substr(0, size);
      host::memory_source source(cut);
      const auto kind = host::image::image_kind(source);
      if (!kind) continue;
      const auto found = host::image::stored_image_size(source, *kind);
      EXPECT_TRUE(!found || *found == (image_size{640, 480}));
      const auto block = host::image::first_image_directory(source, *kind);
      EXPECT_TRUE(!block || block->range.begin + block->range.size <= cut.size());
    }
  }
}

}  // namespace
