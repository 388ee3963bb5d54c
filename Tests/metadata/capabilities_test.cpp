#include "metadata/capabilities.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using quill_box::metadata::is_jpeg;
using quill_box::metadata::is_rating_capable;
using quill_box::metadata::is_tag_capable;

constexpr const wchar_t* tag_capable[] = {
    L".arw",  L".asm",  L".aspx",        L".avi",  L".bat",  L".bmp",    L".c",    L".cmd",  L".config",
    L".cpp",  L".cs",   L".csv",         L".d64",  L".dll",  L".doc",    L".docx", L".gif",  L".gfie",
    L".h",    L".heic", L".hpp",         L".htm",  L".html", L".ico",    L".ini",  L".jpeg", L".jpg",
    L".json", L".jxl",  L".lnk",         L".log",  L".lnx",  L".master", L".md",   L".mov",  L".mp4",
    L".msi",  L".pdf",  L".pfx",         L".png",  L".prg",  L".ppt",    L".pptx", L".ps1",  L".rar",
    L".reg",  L".rtf",  L".sid",         L".sln",  L".svg",  L".tif",    L".tiff", L".tmp",  L".txt",
    L".url",  L".wav",  L".webmanifest", L".webp", L".wma",  L".xls",    L".xlsx", L".xml",  L".zip"};

std::wstring upper(std::wstring text) {
  for (wchar_t& c : text) {
    if (c >= L'a' && c <= L'z') c = static_cast<wchar_t>(c - L'a' + L'A');
  }
  return text;
}

TEST(capabilities, the_table_has_63_rows) { EXPECT_EQ(std::size(tag_capable), 63U); }

TEST(capabilities, every_row_can_be_tagged_and_rated_in_either_case) {
  for (const wchar_t* extension : tag_capable) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(extension)));
    EXPECT_TRUE(is_tag_capable(extension));
    EXPECT_TRUE(is_rating_capable(extension));
    EXPECT_TRUE(is_tag_capable(upper(extension)));
    EXPECT_TRUE(is_rating_capable(upper(extension)));
  }
}

TEST(capabilities, an_mp3_can_be_rated_and_not_tagged) {
  EXPECT_TRUE(is_rating_capable(L".mp3"));
  EXPECT_TRUE(is_rating_capable(L".Mp3"));
  EXPECT_FALSE(is_tag_capable(L".mp3"));
}

TEST(capabilities, other_extensions_can_be_neither) {
  for (const wchar_t* extension : {L"", L".", L".exe", L".jpe", L".jfif", L".wmv", L"jpg", L".jpg ", L".jp", L".jpgx",
                                   L".webmanifests", L".a_very_long_extension_that_no_table_has"}) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(extension)));
    EXPECT_FALSE(is_tag_capable(extension));
    EXPECT_FALSE(is_rating_capable(extension));
  }
}

TEST(capabilities, letters_outside_ascii_match_nothing) {
  EXPECT_FALSE(is_tag_capable(L".ln\u212a"));  // the Kelvin sign, whose lower case is k
  EXPECT_FALSE(is_tag_capable(L".jp\uff47"));
  EXPECT_FALSE(is_tag_capable(std::wstring(L".c\0", 3)));
}

TEST(capabilities, four_extensions_are_jpeg) {
  for (const wchar_t* extension : {L".jpg", L".jpeg", L".jpe", L".jfif", L".JPG", L".JFIF"}) {
    EXPECT_TRUE(is_jpeg(extension));
  }
  for (const wchar_t* extension : {L".jp", L".jxl", L".png", L"", L"jpg"})
    EXPECT_FALSE(is_jpeg(extension));
}

}  // namespace
