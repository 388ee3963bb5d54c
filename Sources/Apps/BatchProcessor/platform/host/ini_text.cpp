#include "platform/host/ini_text.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "platform/host/path_bytes.h"
#include "text/conversions.h"
#include "text/letter_case.h"

namespace platform::host {

namespace {

constexpr std::string_view utf16_mark = "\xff\xfe";
constexpr std::string_view utf8_mark = "\xef\xbb\xbf";

// What 0x80 to 0x9f are in Windows-1252; zero where that leaves a byte open, which then is the control character.
constexpr std::array<wchar_t, 32> windows_1252 = {0x20ac, 0,      0x201a, 0x0192, 0x201e, 0x2026, 0x2020, 0x2021,
                                                  0x02c6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017d, 0,
                                                  0,      0x2018, 0x2019, 0x201c, 0x201d, 0x2022, 0x2013, 0x2014,
                                                  0x02dc, 0x2122, 0x0161, 0x203a, 0x0153, 0,      0x017e, 0x0178};

// From the first unit to behind the last, line end apart. All positions are in bytes from the start of the file.
struct line_place {
  std::size_t begin = 0;
  std::size_t end = 0;
  std::size_t next = 0;

  [[nodiscard]] bool is_terminated() const { return next != end; }
};

wchar_t from_windows_1252(wchar_t escaped) {
  const auto byte = static_cast<std::size_t>(escaped & 0xff);
  const wchar_t high = byte < 0xa0 ? windows_1252[byte - 0x80] : L'\0';
  return high != L'\0' ? high : static_cast<wchar_t>(byte);
}

constexpr bool is_blank(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\v' || c == L'\f'; }

std::wstring_view trimmed(std::wstring_view text) {
  while (!text.empty() && is_blank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && is_blank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

std::string utf16le_from_wide(std::wstring_view wide) {
  std::string bytes;
  bytes.reserve(2 * wide.size());
  const auto put = [&bytes](char32_t unit) {
    bytes.push_back(static_cast<char>(static_cast<unsigned char>(unit & 0xff)));
    bytes.push_back(static_cast<char>(static_cast<unsigned char>(unit >> 8)));
  };
  for (const wchar_t c : wide) {
    const auto code = static_cast<char32_t>(c);
    if (code > 0xffff) {
      put(0xd800 + ((code - 0x10000) >> 10));
      put(0xdc00 + ((code - 0x10000) & 0x3ff));
    } else {
      put(code);
    }
  }
  return bytes;
}

// The file as units of one or two bytes.
class ini_file {
 public:
  explicit ini_file(std::string_view bytes) : bytes_(bytes) {
    if (bytes.starts_with(utf16_mark)) {
      start_ = utf16_mark.size();
      width_ = 2;
      // Half a unit at the end is nothing that could be kept behind what is added.
      bytes_ = bytes.substr(0, bytes.size() - bytes.size() % 2);
    } else if (bytes.starts_with(utf8_mark)) {
      start_ = utf8_mark.size();
    }
  }

  [[nodiscard]] std::string_view bytes() const { return bytes_; }
  [[nodiscard]] std::size_t start() const { return start_; }
  [[nodiscard]] std::size_t width() const { return width_; }

  [[nodiscard]] line_place line_at(std::size_t begin) const {
    std::size_t end = begin;
    while (end < bytes_.size() && !is_unit(end, '\n') && !is_unit(end, '\r')) {
      end += width_;
    }
    if (end == bytes_.size()) return {begin, end, end};
    const std::size_t next = end + width_;
    const bool pair = is_unit(end, '\r') && next < bytes_.size() && is_unit(next, '\n');
    return {begin, end, pair ? next + width_ : next};
  }

  [[nodiscard]] bool is_unit(std::size_t at, char c) const {
    return bytes_[at] == c && (width_ == 1 || bytes_[at + 1] == '\0');
  }

  // The first unit of the line that is no blank, '\0' for a blank line. Units beyond ASCII give '?'.
  [[nodiscard]] char first_sign(const line_place& line) const {
    for (std::size_t at = line.begin; at < line.end; at += width_) {
      if (width_ == 2 && bytes_[at + 1] != '\0') return '?';
      if (!is_blank(static_cast<unsigned char>(bytes_[at]))) return bytes_[at] == '\0' ? '?' : bytes_[at];
    }
    return '\0';
  }

  [[nodiscard]] std::wstring wide(std::size_t begin, std::size_t end) const {
    const std::string_view part = bytes_.substr(begin, end - begin);
    if (width_ == 2) return text::wide_from_utf16le(part);
    std::wstring wide = wide_from_bytes(part);
    constexpr auto is_no_utf8 = [](wchar_t c) { return c >= 0xdc80 && c <= 0xdcff; };
    std::ranges::transform(wide, wide.begin(), [&](wchar_t c) { return is_no_utf8(c) ? from_windows_1252(c) : c; });
    return wide;
  }

  // A text as the file holds it.
  [[nodiscard]] std::string encoded(std::wstring_view wide) const {
    return width_ == 1 ? text::utf8_from_wide(wide) : utf16le_from_wide(wide);
  }

  [[nodiscard]] std::string line_end() const {
    const line_place first = line_at(start_);
    if (first.is_terminated()) return std::string(bytes_.substr(first.end, first.next - first.end));
    return encoded(L"\r\n");
  }

 private:
  std::string_view bytes_;
  std::size_t start_ = 0;
  std::size_t width_ = 1;
};

// The name in a section's head, none for another line.
std::optional<std::wstring> section_name(const ini_file& file, const line_place& line) {
  if (file.first_sign(line) != '[') return {};
  const std::wstring text = file.wide(line.begin, line.end);
  const std::size_t open = text.find(L'[');
  const std::size_t close = text.rfind(L']');
  if (close == std::wstring::npos) return {};
  return std::wstring(trimmed(std::wstring_view(text).substr(open + 1, close - open - 1)));
}

struct key_place {
  line_place line;
  std::size_t value = 0;  // behind the equals sign
};

// The place of the value if the line is that of the key.
std::optional<key_place> match_key(const ini_file& file, const line_place& line, std::wstring_view key) {
  const char first = file.first_sign(line);
  if (first == '\0' || first == ';') return {};
  std::size_t equals = line.begin;
  while (equals < line.end && !file.is_unit(equals, '=')) {
    equals += file.width();
  }
  if (equals == line.end) return {};
  if (!text::equal_ignoring_case(trimmed(file.wide(line.begin, equals)), key)) return {};
  return key_place{line, equals + file.width()};
}

struct section_place {
  line_place head;
  std::size_t end = 0;  // where the next section starts, or the file ends
  line_place last;      // the last line that isn't blank
  std::optional<key_place> key;
};

// The first section of the name, and in it the first line of the key; an empty key finds none.
std::optional<section_place> find(const ini_file& file, std::wstring_view section, std::wstring_view key) {
  section = trimmed(section);
  key = trimmed(key);
  std::optional<section_place> found;
  line_place line;
  for (std::size_t at = file.start(); at < file.bytes().size(); at = line.next) {
    line = file.line_at(at);
    const std::optional<std::wstring> name = section_name(file, line);
    if (found && name) break;
    if (name && text::equal_ignoring_case(*name, section)) found = section_place{line, line.next, line, {}};
    if (!found) continue;
    found->end = line.next;
    if (file.first_sign(line) != '\0') found->last = line;
    if (!name && !found->key && !key.empty()) found->key = match_key(file, line, key);
  }
  return found;
}

std::wstring without_quotes(std::wstring_view value) {
  const bool quoted =
      value.size() >= 2 && (value.front() == L'"' || value.front() == L'\'') && value.front() == value.back();
  return std::wstring(quoted ? value.substr(1, value.size() - 2) : value);
}

std::wstring one_line(std::wstring_view text) {
  std::wstring line(text.substr(0, text.find(L'\0')));
  std::ranges::replace_if(
      line, [](wchar_t c) { return c == L'\r' || c == L'\n'; }, L' ');
  return line;
}

std::string replaced(std::string_view bytes, std::size_t begin, std::size_t end, std::string_view by) {
  std::string result;
  result.reserve(bytes.size() - (end - begin) + by.size());
  return result.append(bytes.substr(0, begin)).append(by).append(bytes.substr(end));
}

}  // namespace

std::optional<std::wstring> ini_value(std::string_view bytes, std::wstring_view section, std::wstring_view key) {
  const ini_file file(bytes);
  const std::optional<section_place> place = find(file, section, key);
  if (!place || !place->key) return {};
  return without_quotes(trimmed(file.wide(place->key->value, place->key->line.end)));
}

std::string with_ini_value(std::string_view bytes, std::wstring_view section, std::wstring_view key,
                           std::wstring_view value) {
  const ini_file file(bytes);
  const std::optional<section_place> place = find(file, section, key);
  const std::string encoded_value = file.encoded(one_line(value));
  if (place && place->key) return replaced(file.bytes(), place->key->value, place->key->line.end, encoded_value);

  const std::string end = file.line_end();
  const std::string key_line = file.encoded(one_line(key) + L"=") + encoded_value + end;
  if (place) {
    const std::size_t at = place->last.next;
    return replaced(file.bytes(), at, at, (place->last.is_terminated() ? "" : end) + key_line);
  }
  const std::size_t size = file.bytes().size();
  const bool at_line_start =
      size == file.start() || file.is_unit(size - file.width(), '\n') || file.is_unit(size - file.width(), '\r');
  const std::string head = file.encoded(L"[" + one_line(section) + L"]") + end;
  return replaced(file.bytes(), size, size, (at_line_start ? "" : end) + head + key_line);
}

std::string without_ini_key(std::string_view bytes, std::wstring_view section, std::wstring_view key) {
  const ini_file file(bytes);
  const std::optional<section_place> place = find(file, section, key);
  if (!place || !place->key) return std::string(bytes);
  return replaced(file.bytes(), place->key->line.begin, place->key->line.next, {});
}

std::string without_ini_section(std::string_view bytes, std::wstring_view section) {
  const ini_file file(bytes);
  const std::optional<section_place> place = find(file, section, {});
  if (!place) return std::string(bytes);
  return replaced(file.bytes(), place->head.begin, place->end, {});
}

}  // namespace platform::host
