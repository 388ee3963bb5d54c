#include "metadata/capabilities.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace quill_box::metadata {

namespace {

constexpr std::array<std::string_view, 63> tag_capable_extensions = {
    ".arw",  ".asm",         ".aspx", ".avi",  ".bat",  ".bmp",  ".c",    ".cmd",  ".config", ".cpp",  ".cs",
    ".csv",  ".d64",         ".dll",  ".doc",  ".docx", ".gif",  ".gfie", ".h",    ".heic",   ".hpp",  ".htm",
    ".html", ".ico",         ".ini",  ".jpeg", ".jpg",  ".json", ".jxl",  ".lnk",  ".log",    ".lnx",  ".master",
    ".md",   ".mov",         ".mp4",  ".msi",  ".pdf",  ".pfx",  ".png",  ".prg",  ".ppt",    ".pptx", ".ps1",
    ".rar",  ".reg",         ".rtf",  ".sid",  ".sln",  ".svg",  ".tif",  ".tiff", ".tmp",    ".txt",  ".url",
    ".wav",  ".webmanifest", ".webp", ".wma",  ".xls",  ".xlsx", ".xml",  ".zip"};

// An extension as two numbers, which are compared faster than text: a job may ask for a million. Zeros fill it up.
using extension_key = std::array<std::uint64_t, 2>;
using extension_characters = std::array<char, sizeof(extension_key)>;

constexpr extension_key key_of(std::string_view extension) {
  extension_characters characters = {};
  std::copy(extension.begin(), extension.end(), characters.begin());
  return std::bit_cast<extension_key>(characters);
}

constexpr auto sorted_tag_capable_keys = [] {
  std::array<extension_key, tag_capable_extensions.size()> keys = {};
  std::transform(tag_capable_extensions.begin(), tag_capable_extensions.end(), keys.begin(), key_of);
  std::sort(keys.begin(), keys.end());
  return keys;
}();

// An MP3 can be rated and not tagged, on purpose.
constexpr std::string_view rating_capable_only = ".mp3";

constexpr std::array<std::string_view, 4> jpeg_extensions = {".jpg", ".jpeg", ".jpe", ".jfif"};

// The key of the extension in lower case; that of no extension when it is too long, or not ASCII.
extension_key lower_case_key(std::wstring_view extension) {
  extension_characters characters = {};
  if (extension.size() > characters.size()) return {};
  for (std::size_t i = 0; i < extension.size(); ++i) {
    const wchar_t c = extension[i];
    if (c <= 0 || c >= 0x80) return {};
    characters[i] = static_cast<char>(c >= L'A' && c <= L'Z' ? c + (L'a' - L'A') : c);
  }
  return std::bit_cast<extension_key>(characters);
}

bool is_tag_capable(const extension_key& key) {
  return std::binary_search(sorted_tag_capable_keys.begin(), sorted_tag_capable_keys.end(), key);
}

}  // namespace

bool is_tag_capable(std::wstring_view extension) { return is_tag_capable(lower_case_key(extension)); }

bool is_rating_capable(std::wstring_view extension) {
  const extension_key key = lower_case_key(extension);
  return key == key_of(rating_capable_only) || is_tag_capable(key);
}

bool is_jpeg(std::wstring_view extension) {
  const extension_key key = lower_case_key(extension);
  return std::any_of(jpeg_extensions.begin(), jpeg_extensions.end(),
                     [&key](std::string_view jpeg) { return key == key_of(jpeg); });
}

}  // namespace quill_box::metadata
