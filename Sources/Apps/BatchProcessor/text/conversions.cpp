#include "text/conversions.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <type_traits>

namespace text {

namespace {

constexpr char32_t replacement = 0xfffd;
constexpr bool wide_is_utf16 = sizeof(wchar_t) == 2;
constexpr std::size_t longest_utf8 = 4;  // of a character, in bytes

constexpr bool is_high_surrogate(char32_t unit) { return unit >= 0xd800 && unit < 0xdc00; }
constexpr bool is_low_surrogate(char32_t unit) { return unit >= 0xdc00 && unit < 0xe000; }
constexpr bool is_surrogate(char32_t unit) { return unit >= 0xd800 && unit < 0xe000; }

char* put_code_point(char* out, char32_t code) {
  const auto put = [&out](char32_t byte) { *out++ = static_cast<char>(static_cast<unsigned char>(byte)); };
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
  return out;
}

wchar_t* put_code_point(wchar_t* out, char32_t code) {
  if (wide_is_utf16 && code > 0xffff) {
    *out++ = static_cast<wchar_t>(0xd800 + ((code - 0x10000) >> 10));
    *out++ = static_cast<wchar_t>(0xdc00 + ((code - 0x10000) & 0x3ff));
  } else {
    *out++ = static_cast<wchar_t>(code);
  }
  return out;
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

constexpr std::size_t ascii_block = 32;

// Copies a block if all of it is ASCII. No loop has a branch, and both are too long to be unrolled, so that the
// compiler takes many characters at once.
template <class From, class To>
bool copy_ascii_block(const From* __restrict from, To* __restrict to) {
  std::make_unsigned_t<From> all = 0;
  for (std::size_t i = 0; i < ascii_block; ++i)
    all |= static_cast<std::make_unsigned_t<From>>(from[i]);
  if (all >= 0x80) return false;
  for (std::size_t i = 0; i < ascii_block; ++i)
    to[i] = static_cast<To>(from[i]);
  return true;
}

// Most text is ASCII: the run of it at the front is copied without a look at each character's form. Returns its length.
template <class From, class To>
std::size_t copy_ascii_run(std::basic_string_view<From> text, To* to) {
  std::size_t length = 0;
  while (length + ascii_block <= text.size() && copy_ascii_block(&text[length], &to[length]))
    length += ascii_block;
  // What is left of plain text is less than a block: the last block overlaps the one before.
  if (length > 0 && text.size() - length < ascii_block) {
    const std::size_t last = text.size() - ascii_block;
    if (copy_ascii_block(&text[last], &to[last])) return text.size();
  }
  for (; length < text.size() && static_cast<std::make_unsigned_t<From>>(text[length]) < 0x80; ++length)
    to[length] = static_cast<To>(text[length]);
  return length;
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

char* put_utf8(char* out, std::wstring_view wide) {
  while (!wide.empty()) {
    const std::size_t plain = copy_ascii_run(wide, out);
    wide.remove_prefix(plain);
    out += plain;
    if (!wide.empty()) out = put_code_point(out, take_wide(wide));
  }
  return out;
}

void append_utf8(std::string& utf8, std::wstring_view wide) {
  std::array<char, 1024> block;
  while (!wide.empty()) {
    std::wstring_view part = wide.substr(0, block.size() / longest_utf8);
    // A pair stays together.
    if (part.size() < wide.size() && is_high_surrogate(static_cast<char32_t>(part.back()))) part.remove_suffix(1);
    utf8.append(block.data(), put_utf8(block.data(), part));
    wide.remove_prefix(part.size());
  }
}

std::string utf8_from_wide(std::wstring_view wide) {
  std::string utf8;
  utf8.reserve(wide.size() + wide.size() / 8);
  append_utf8(utf8, wide);
  return utf8;
}

std::wstring wide_from_utf8(std::string_view utf8) {
  std::wstring wide(utf8.size(), L'\0');
  wchar_t* out = wide.data();
  while (!utf8.empty()) {
    const std::size_t plain = copy_ascii_run(utf8, out);
    out += plain;
    utf8.remove_prefix(plain);
    if (!utf8.empty()) out = put_code_point(out, take_utf8(utf8));
  }
  wide.resize(static_cast<std::size_t>(out - wide.data()));
  return wide;
}

std::wstring wide_from_utf16le(std::string_view bytes) {
  const auto unit_at = [&bytes](std::size_t index) {
    return static_cast<char32_t>(static_cast<unsigned char>(bytes[index]) | static_cast<unsigned char>(bytes[index + 1])
                                                                                << 8);
  };
  std::wstring wide(bytes.size() / 2, L'\0');
  wchar_t* out = wide.data();
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    const char32_t first = unit_at(at);
    if (!is_surrogate(first)) {
      out = put_code_point(out, first);
      continue;
    }
    const char32_t second = is_high_surrogate(first) && at + 3 < bytes.size() ? unit_at(at + 2) : 0;
    if (is_low_surrogate(second)) {
      out = put_code_point(out, 0x10000 + ((first - 0xd800) << 10) + (second - 0xdc00));
      at += 2;
    } else {
      out = put_code_point(out, replacement);
    }
  }
  wide.resize(static_cast<std::size_t>(out - wide.data()));
  return wide;
}

bool is_unicode(std::wstring_view wide) {
  while (!wide.empty()) {
    const auto first = static_cast<char32_t>(wide.front());
    if (take_wide(wide) == replacement && first != replacement) return false;
  }
  return true;
}

std::u16string utf16_from_wide(std::wstring_view wide) {
  std::u16string units;
  units.reserve(wide.size());
  while (!wide.empty()) {
    const char32_t character = take_wide(wide);
    if (character > 0xffff) {
      units += static_cast<char16_t>(0xd7c0 + (character >> 10));
      units += static_cast<char16_t>(0xdc00 + (character & 0x3ff));
    } else {
      units += static_cast<char16_t>(character);
    }
  }
  return units;
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
