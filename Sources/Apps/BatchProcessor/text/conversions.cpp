#include "text/conversions.h"

#include <algorithm>

namespace text {

namespace {

constexpr char32_t replacement = 0xfffd;
constexpr bool wide_is_utf16 = sizeof(wchar_t) == 2;

constexpr bool is_high_surrogate(char32_t unit) { return unit >= 0xd800 && unit < 0xdc00; }
constexpr bool is_low_surrogate(char32_t unit) { return unit >= 0xdc00 && unit < 0xe000; }
constexpr bool is_surrogate(char32_t unit) { return unit >= 0xd800 && unit < 0xe000; }

void append_code_point(std::string& out, char32_t code) {
  const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(static_cast<unsigned char>(byte))); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xc0 | (code >> 6));
    put(0x80 | (code & 0x3f));
  } else if (code < 0x10000) {
    put(0xe0 | (code >> 12));
    put(0x80 | ((code >> 6) & 0x3f));
    put(0x80 | (code & 0x3f));
  } else {
    put(0xf0 | (code >> 18));
    put(0x80 | ((code >> 12) & 0x3f));
    put(0x80 | ((code >> 6) & 0x3f));
    put(0x80 | (code & 0x3f));
  }
}

void append_code_point(std::wstring& out, char32_t code) {
  if (wide_is_utf16 && code > 0xffff) {
    out.push_back(static_cast<wchar_t>(0xd800 + ((code - 0x10000) >> 10)));
    out.push_back(static_cast<wchar_t>(0xdc00 + ((code - 0x10000) & 0x3ff)));
  } else {
    out.push_back(static_cast<wchar_t>(code));
  }
}

struct lead_byte {
  int continuation_bytes;
  char32_t bits;
  unsigned char lowest_second;   // limits of the second byte: they keep out overlong forms,
  unsigned char highest_second;  // surrogates and values beyond U+10FFFF
};

constexpr lead_byte classify(unsigned char byte) {
  if (byte >= 0xc2 && byte < 0xe0) return {1, static_cast<char32_t>(byte & 0x1f), 0x80, 0xbf};
  if (byte == 0xe0) return {2, 0, 0xa0, 0xbf};
  if (byte == 0xed) return {2, 0xd, 0x80, 0x9f};
  if (byte > 0xe0 && byte < 0xf0) return {2, static_cast<char32_t>(byte & 0x0f), 0x80, 0xbf};
  if (byte == 0xf0) return {3, 0, 0x90, 0xbf};
  if (byte > 0xf0 && byte < 0xf4) return {3, static_cast<char32_t>(byte & 0x07), 0x80, 0xbf};
  if (byte == 0xf4) return {3, 4, 0x80, 0x8f};
  return {0, replacement, 0, 0};
}

// Takes one character off the front; the longest broken start of a sequence gives one U+FFFD.
char32_t take_utf8(std::string_view& rest) {
  const auto byte_at = [&rest](std::size_t index) { return static_cast<unsigned char>(rest[index]); };
  const unsigned char first = byte_at(0);
  if (first < 0x80) {
    rest.remove_prefix(1);
    return first;
  }
  const lead_byte lead = classify(first);
  char32_t code = lead.bits;
  std::size_t used = 1;
  for (int i = 0; i < lead.continuation_bytes; ++i, ++used) {
    const unsigned char lowest = i == 0 ? lead.lowest_second : 0x80;
    const unsigned char highest = i == 0 ? lead.highest_second : 0xbf;
    if (used >= rest.size() || byte_at(used) < lowest || byte_at(used) > highest) {
      rest.remove_prefix(used);
      return replacement;
    }
    code = (code << 6) | (byte_at(used) & 0x3f);
  }
  rest.remove_prefix(used);
  return code;
}

}  // namespace

char32_t take_wide(std::wstring_view& rest) {
  const auto first = static_cast<char32_t>(rest.front());
  rest.remove_prefix(1);
  if (is_high_surrogate(first) && wide_is_utf16 && !rest.empty()) {
    const auto second = static_cast<char32_t>(rest.front());
    if (is_low_surrogate(second)) {
      rest.remove_prefix(1);
      return 0x10000 + ((first - 0xd800) << 10) + (second - 0xdc00);
    }
  }
  return is_surrogate(first) || first > 0x10ffff ? replacement : first;
}

void append_utf8(std::string& utf8, std::wstring_view wide) {
  while (!wide.empty()) {
    // Most text is ASCII: its runs are copied without a look at each character's form.
    const auto run_end = std::find_if(wide.begin(), wide.end(), [](char32_t c) { return c >= 0x80; });
    utf8.append(wide.begin(), run_end);
    wide.remove_prefix(static_cast<std::size_t>(run_end - wide.begin()));
    if (!wide.empty()) append_code_point(utf8, take_wide(wide));
  }
}

std::string utf8_from_wide(std::wstring_view wide) {
  std::string utf8;
  utf8.reserve(wide.size() + wide.size() / 8);
  append_utf8(utf8, wide);
  return utf8;
}

std::wstring wide_from_utf8(std::string_view utf8) {
  std::wstring wide;
  wide.reserve(utf8.size());
  while (!utf8.empty()) {
    const auto run_end = std::find_if(utf8.begin(), utf8.end(), [](unsigned char c) { return c >= 0x80; });
    wide.append(utf8.begin(), run_end);
    utf8.remove_prefix(static_cast<std::size_t>(run_end - utf8.begin()));
    if (!utf8.empty()) append_code_point(wide, take_utf8(utf8));
  }
  return wide;
}

std::wstring wide_from_utf16le(std::string_view bytes) {
  const auto unit_at = [&bytes](std::size_t index) {
    return static_cast<char32_t>(static_cast<unsigned char>(bytes[index]) | static_cast<unsigned char>(bytes[index + 1])
                                                                                << 8);
  };
  std::wstring wide;
  wide.reserve(bytes.size() / 2);
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    const char32_t first = unit_at(at);
    if (!is_surrogate(first)) {
      append_code_point(wide, first);
      continue;
    }
    const char32_t second = is_high_surrogate(first) && at + 3 < bytes.size() ? unit_at(at + 2) : 0;
    if (is_low_surrogate(second)) {
      append_code_point(wide, 0x10000 + ((first - 0xd800) << 10) + (second - 0xdc00));
      at += 2;
    } else {
      append_code_point(wide, replacement);
    }
  }
  return wide;
}

std::size_t utf16_length(std::wstring_view wide) {
  const auto needs_two = [](char32_t c) { return c > 0xffff; };
  return wide.size() + static_cast<std::size_t>(std::count_if(wide.begin(), wide.end(), needs_two));
}

std::wstring_view utf16_prefix(std::wstring_view wide, std::size_t units) {
  std::size_t end = 0;
  while (end < wide.size()) {
    std::wstring_view rest = wide.substr(end);
    const std::size_t width = take_wide(rest) > 0xffff ? 2 : 1;
    if (width > units) break;
    units -= width;
    end = wide.size() - rest.size();
  }
  return wide.substr(0, end);
}

}  // namespace text
