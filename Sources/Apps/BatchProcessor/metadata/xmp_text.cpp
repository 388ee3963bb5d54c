#include "metadata/xmp_text.h"

#include <new>
#include <span>
#include <utility>

#include "files/file_functions.h"
#include "metadata/out_of_memory.h"
#include "platform/machine.h"
#include "text/conversions.h"

namespace quill_box::metadata {

namespace {

struct entity {
  char character;
  std::string_view text;
};
constexpr entity entities[] = {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&apos;"}};

constexpr std::string_view utf16le_mark = "\xff\xfe";
constexpr std::string_view utf8_mark = "\xef\xbb\xbf";

}  // namespace

std::size_t find_from(std::string_view text, std::string_view needle, std::size_t start) {
  return start > text.size() ? std::string_view::npos : text.find(needle, start);
}

std::string xml_escape(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    std::string_view replacement(&c, 1);
    for (const entity& entity : entities) {
      if (entity.character == c) replacement = entity.text;
    }
    escaped += replacement;
  }
  return escaped;
}

std::string xml_unescape(std::string_view text) {
  std::string plain;
  plain.reserve(text.size());
  while (!text.empty()) {
    char character = text.front();
    std::size_t length = 1;
    for (const entity& entity : entities) {
      if (!text.starts_with(entity.text)) continue;
      character = entity.character;
      length = entity.text.size();
    }
    plain += character;
    text.remove_prefix(length);
  }
  return plain;
}

std::string utf8_from_file_content(std::string content) {
  if (content.starts_with(utf16le_mark)) {
    const std::string_view units = std::string_view(content).substr(utf16le_mark.size());
    return text::utf8_from_wide(text::wide_from_utf16le(units));
  }
  if (content.starts_with(utf8_mark)) content.erase(0, utf8_mark.size());
  return content;
}

std::string read_text_file(const std::wstring& path) {
  using platform::share;
  try {
    auto content = files::read_whole_file(path, largest_file_in_memory, share::read | share::write);
    return content ? utf8_from_file_content(*std::move(content)) : std::string();
  } catch (const std::bad_alloc&) {
    return {};
  }
}

bool write_text_file(const std::wstring& path, std::string_view text) {
  return false_without_memory([&] {
    auto file = platform::current().files.open(
        path, {platform::access::write, platform::share::none, platform::disposition::create_always});
    if (!file) return false;
    const auto written = (*file)->write(std::as_bytes(std::span(text)));
    const bool closed = succeeded((*file)->close());
    return closed && written && *written == text.size();
  });
}

}  // namespace quill_box::metadata
