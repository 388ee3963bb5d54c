#include "metadata/capabilities.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace quill_box::metadata {

namespace {

constexpr std::array<std::string_view, 63> tag_capable_extensions = {
    ".arw",  ".asm",         ".aspx", ".avi",  ".bat",  ".bmp",  ".c",    ".cmd",  ".config", ".cpp",  ".cs",
    ".csv",  ".d64",         ".dll",  ".doc",  ".docx", ".gif",  ".gfie", ".h",    ".heic",   ".hpp",  ".htm",
    ".html", ".ico",         ".ini",  ".jpeg", ".jpg",  ".json", ".jxl",  ".lnk",  ".log",    ".lnx",  ".master",
    ".md",   ".mov",         ".mp4",  ".msi",  ".pdf",  ".pfx",  ".png",  ".prg",  ".ppt",    ".pptx", ".ps1",
    ".rar",  ".reg",         ".rtf",  ".sid",  ".sln",  ".svg",  ".tif",  ".tiff", ".tmp",    ".txt",  ".url",
    ".wav",  ".webmanifest", ".webp", ".wma",  ".xls",  ".xlsx", ".xml",  ".zip"};

constexpr auto sorted_tag_capable_extensions = [] {
  auto sorted = tag_capable_extensions;
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}();

// An MP3 can be rated and not tagged, on purpose.
constexpr std::string_view rating_capable_only = ".mp3";

constexpr std::array<std::string_view, 4> jpeg_extensions = {".jpg", ".jpeg", ".jpe", ".jfif"};

constexpr std::size_t longest_extension =
    std::max_element(tag_capable_extensions.begin(), tag_capable_extensions.end(),
                     [](std::string_view a, std::string_view b) { return a.size() < b.size(); })
        ->size();

// The extension in lower-case ASCII; empty when it has another character or is longer than any in the tables.
class narrow_extension {
 public:
  explicit narrow_extension(std::wstring_view extension) {
    if (extension.size() > characters_.size()) return;
    for (std::size_t i = 0; i < extension.size(); ++i) {
      const wchar_t c = extension[i];
      if (c <= 0 || c >= 0x80) return;
      characters_[i] = static_cast<char>(c >= L'A' && c <= L'Z' ? c + (L'a' - L'A') : c);
    }
    length_ = extension.size();
  }

  [[nodiscard]] std::string_view view() const { return {characters_.data(), length_}; }

 private:
  std::array<char, longest_extension> characters_ = {};
  std::size_t length_ = 0;
};

bool is_tag_capable(std::string_view extension) {
  return std::binary_search(sorted_tag_capable_extensions.begin(), sorted_tag_capable_extensions.end(), extension);
}

}  // namespace

bool is_tag_capable(std::wstring_view extension) { return is_tag_capable(narrow_extension(extension).view()); }

bool is_rating_capable(std::wstring_view extension) {
  const narrow_extension narrow(extension);
  return narrow.view() == rating_capable_only || is_tag_capable(narrow.view());
}

bool is_jpeg(std::wstring_view extension) {
  const narrow_extension narrow(extension);
  return std::find(jpeg_extensions.begin(), jpeg_extensions.end(), narrow.view()) != jpeg_extensions.end();
}

}  // namespace quill_box::metadata
