// What we write as exiftool and exiv2 read it, on images that other programs made.
#include <gtest/gtest.h>

#include "platform/host/host_files.h"
#include "platform/host/image/image_property_store.h"
#include "platform/host/shell_output.h"
#include "platform/property_keys.h"
#include "text/conversions.h"

namespace {

using namespace platform;
using host_test::output_of;
using wide_strings = std::vector<std::wstring>;

struct kind {
  const char* name;
  const char* file;
  const char* make;  ///< a command that makes it, {} standing for its path
  bool has_fields;   ///< Exif fields are expected
  bool has_iptc;
};

std::string with_path(std::string text, const std::string& path) {
  for (std::size_t at = text.find("{}"); at != std::string::npos; at = text.find("{}", at + path.size())) {
    text.replace(at, 2, path);
  }
  return text;
}

constexpr kind kinds[] = {
    {"jpeg_jfif", "a.jpg", "convert -size 64x48 gradient:red-blue {}", true, false},
    {"jpeg_exif", "a.jpg",
     "convert -size 64x48 gradient:red-blue {} && exiftool -q -overwrite_original -Make=Maker -DateTimeOriginal=now {}",
     true, false},
    {"jpeg_big_endian_exif", "a.jpg",
     "convert -size 64x48 gradient:red-blue {} && "
     "exiftool -q -overwrite_original -ExifByteOrder=MM -Make=Maker -UserComment=words {}",
     true, false},
    {"jpeg_xmp", "a.jpg",
     "convert -size 64x48 gradient:red-blue {} && "
     "exiftool -q -overwrite_original -XMP:Rating=1 -XMP:Subject=old -XMP:Label=red -XMP-dc:Title=t {}",
     true, false},
    {"jpeg_compact_xmp", "a.jpg",
     "convert -size 64x48 gradient:red-blue {} && "
     "exiftool -q -overwrite_original -api Compact=Shorthand,NoPadding -XMP:Rating=1 -XMP:Label=red {}",
     true, false},
    {"jpeg_iptc", "a.jpg",
     "convert -size 64x48 gradient:red-blue {} && exiftool -q -overwrite_original "
     "-IPTC:Keywords=old -IPTC:CodedCharacterSet=UTF8 -IPTCDigest=new -IPTC:Headline=head {}",
     true, true},
    {"png", "a.png", "convert -size 64x48 gradient:red-blue {}", false, false},
    {"png_exif", "a.png",
     "convert -size 64x48 gradient:red-blue {} && exiftool -q -overwrite_original -EXIF:Make=Maker -XMP:Label=red {}",
     true, false},
    {"tiff_little_endian_pages", "a.tif", "convert -size 64x48 gradient:red-blue -size 20x20 xc:red -endian LSB {}",
     true, false},
    {"tiff_big_endian_pages", "a.tif", "convert -size 64x48 gradient:red-blue -size 20x20 xc:red -endian MSB {}", true,
     false},
    {"tiff_iptc", "a.tif",
     "convert -size 64x48 gradient:red-blue {} && exiftool -q -overwrite_original "
     "-IPTC:Keywords=old -IPTC:CodedCharacterSet=UTF8 -XMP:Label=red {}",
     true, true},
    {"webp_lossy", "a.webp", "convert -size 64x48 gradient:red-blue {}.png && cwebp -quiet {}.png -o {}", false, false},
    {"webp_lossless_alpha", "a.webp",
     "convert -size 64x48 gradient:red-none {}.png && cwebp -quiet -lossless {}.png -o {}", false, false},
    {"webp_lossy_alpha", "a.webp", "convert -size 64x48 gradient:red-none {}.png && cwebp -quiet {}.png -o {}", false,
     false},
    {"webp_animated", "a.webp",
     "convert -size 64x48 gradient:red-blue {}.1.png && convert -size 64x48 gradient:blue-red {}.2.png && "
     "img2webp -loop 3 -lossy -d 100 {}.1.png {}.2.png -o {} > /dev/null",
     false, false},
};

class other_programs : public testing::TestWithParam<kind> {
 protected:
  void SetUp() override { output_of(with_path(GetParam().make, path_) + " 2>&1"); }

  void set(const property_key& key, const property_value& value) const {
    auto store = host::open_image_store(text::wide_from_utf8(path_), handler_access::read_write);
    ASSERT_TRUE(store);
    ASSERT_EQ((*store)->set(key, value), hresult::ok);
    ASSERT_EQ((*store)->commit(), hresult::ok);
  }
  // The fields in one line, "-" for one that isn't there. exiftool knows the namespace of the percent rating without
  // its last slash and warns of the one that the system's own programs write.
  [[nodiscard]] std::string tags() const {
    return output_of(
        "exiftool -q -q -f -sep '|' -p '$XMP-xmp:Rating,$XMP-microsoft:RatingPercent,$XMP-dc:Subject,"
        "$XMP-microsoft:LastKeywordXMP; $IFD0:Rating,$IFD0:RatingPercent,$IFD0:XPKeywords; $IPTC:Keywords; $Error; "
        "$Warning' " +
        path_);
  }
  // What has nothing to do with rating and keywords, or with how the blocks that hold them are laid out.
  [[nodiscard]] std::string other_tags() const {
    return output_of(
        "exiftool -q -q -a -G1 -s -e --System:all --ExifTool:all --FileType --Rating --RatingPercent --XPKeywords "
        "--Subject --LastKeywordXMP --LastKeywordIPTC --Keywords --Padding --XMPToolkit --ExifByteOrder "
        "--RIFF:all --IPTCDigest --CurrentIPTCDigest " +
        path_);
  }
  [[nodiscard]] std::string pixels() const { return output_of("convert " + path_ + " -depth 8 rgba:- | md5sum"); }

  host_test::temporary_folder folder_;
  std::string path_ = folder_.path(GetParam().file);
};
INSTANTIATE_TEST_SUITE_P(kinds, other_programs, testing::ValuesIn(kinds),
                         [](const testing::TestParamInfo<kind>& tested) { return std::string(tested.param.name); });

TEST_P(other_programs, read_what_is_written_and_nothing_else_changes) {
  const std::string tags_before = other_tags();
  const std::string pixels_before = pixels();
  set(rating_key, std::uint32_t{25});
  set(keywords_key, wide_strings{L"a tag", L"\u00e9t\u00e9"});
  const auto size = host_test::content(path_).size();
  set(rating_key, std::uint32_t{75});
  EXPECT_EQ(host_test::content(path_).size(), size) << "the last change had room";

  const std::string words = "a tag|\u00e9t\u00e9";
  const std::string fields = GetParam().has_fields ? "4,75,a tag;\u00e9t\u00e9" : "-,-,-";
  const std::string warning = "[minor] Fixed incorrect URI for xmlns:MicrosoftPhoto";
  EXPECT_EQ(tags(), "4,75," + words + "," + words + "; " + fields + "; " + (GetParam().has_iptc ? words : "-") +
                        "; -; " + warning + "\n");
  const std::string exiv2 = output_of("exiv2 -q -PXkv " + path_);
  EXPECT_NE(exiv2.find("Xmp.MicrosoftPhoto.Rating"), std::string::npos) << exiv2;
  EXPECT_NE(exiv2.find(words.substr(6)), std::string::npos) << exiv2;
  EXPECT_EQ(other_tags(), tags_before);
  EXPECT_EQ(pixels(), pixels_before);
}

TEST_P(other_programs, write_what_is_read) {
  output_of(
      "exiftool -q -overwrite_original -XMP-xmp:Rating=3 -XMP-microsoft:RatingPercent=45 -XMP-dc:Subject='x & y' "
      "-XMP-dc:Subject=z " +
      path_);
  auto store = host::open_image_store(text::wide_from_utf8(path_), handler_access::read);
  ASSERT_TRUE(store);
  EXPECT_EQ(*(*store)->get(rating_key), property_value(std::uint32_t{45}));
  wide_strings expected{L"x & y", L"z"};
  // The program wrote to the XMP alone.
  if (GetParam().has_iptc) expected.push_back(L"old");
  EXPECT_EQ(*(*store)->get(keywords_key), property_value(expected));
}

}  // namespace
