#include "platform/host/path_bytes.h"

#include <algorithm>
#include <cstdint>

namespace platform::host {

namespace {

static_assert(sizeof(wchar_t) == 4, "a wide character holds a whole code point here");

constexpr std::wstring_view long_path_prefix = LR"(\\?\)";
constexpr std::wstring_view share_after_prefix = LR"(UNC\)";
constexpr char32_t escape_base = 0xdc00;
constexpr char32_t escaped_backslash = escape_base + U'\\';

constexpr bool is_ascii_letter(wchar_t c) { return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z'); }
constexpr bool is_surrogate(char32_t code) { return code >= 0xd800 && code < 0xe000; }
constexpr bool is_escaped_byte(char32_t code) {
  return (code >= escape_base + 0x80 && code <= escape_base + 0xff) || code == escaped_backslash;
}
constexpr unsigned char byte_of(char c) { return static_cast<unsigned char>(c); }

bool names_another_machines_place(std::wstring_view path, bool had_prefix) {
  if (path.size() >= 2 && is_ascii_letter(path[0]) && path[1] == L':') return true;
  if (path.size() >= 2 && path[0] == L'\\' && path[1] == L'\\') return true;
  return had_prefix && path.starts_with(share_after_prefix);
}

// How many bytes the UTF-8 character at the front has; 0 when there is none. `code` gets its value.
std::size_t take_character(std::string_view bytes, char32_t& code) {
  const unsigned char first = byte_of(bytes[0]);
  code = first;
  if (first < 0x80) return 1;
  if (first < 0xc2 || first > 0xf4) return 0;
  const std::size_t length = first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
  if (bytes.size() < length) return 0;
  code = first & (0x7fU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte_of(bytes[i]) & 0xc0) != 0x80) return 0;
    code = (code << 6) | (byte_of(bytes[i]) & 0x3f);
  }
  constexpr std::array<char32_t, 5> smallest = {0, 0, 0x80, 0x800, 0x10000};
  return code < smallest[length] || code > 0x10ffff || is_surrogate(code) ? 0 : length;
}

constexpr std::size_t block_size = 32;

// Puts a block as bytes if all of it is plain. No loop has a branch, and both are too long to be unrolled, so that the
// compiler takes many characters at once.
bool put_plain_block(const wchar_t* __restrict from, char* __restrict to) {
  std::uint32_t all = 0;
  for (std::size_t i = 0; i < block_size; ++i) {
    const auto code = static_cast<std::uint32_t>(from[i]);
    all |= code | (code - 1);  // a NUL less one has all bits
  }
  if (all >= 0x80) return false;
  for (std::size_t i = 0; i < block_size; ++i)
    to[i] = from[i] == L'\\' ? '/' : static_cast<char>(from[i]);
  return true;
}

}  // namespace

path_bytes::path_bytes(std::wstring_view path) {
  bytes_[0] = '\0';
  // One look for most paths, which start with a slash.
  const bool had_prefix = path.starts_with(L'\\') && path.starts_with(long_path_prefix);
  if (had_prefix) path.remove_prefix(long_path_prefix.size());
  if (path.empty() || names_another_machines_place(path, had_prefix)) {
    error_ = win32_error::path_not_found;
    return;
  }
  fill(path);
}

void path_bytes::fill(std::wstring_view path) {
  // Most paths are plain from one end to the other, and a job may hold a million of them.
  const std::wstring_view fitting = path.substr(0, bytes_.size() - 1);
  while (size_ + block_size <= fitting.size() && put_plain_block(&fitting[size_], &bytes_[size_]))
    size_ += block_size;
  // What is left of a plain path is less than a block: the last block overlaps the one before.
  if (size_ > 0 && fitting.size() - size_ < block_size) {
    const std::size_t last = fitting.size() - block_size;
    if (put_plain_block(&fitting[last], &bytes_[last])) size_ = fitting.size();
  }
  for (const wchar_t c : path.substr(size_)) {
    error_ = append(static_cast<char32_t>(c));
    if (!succeeded(error_)) {
      size_ = 0;
      break;
    }
  }
  bytes_[size_] = '\0';
}

win32_error path_bytes::append(char32_t code) {
  if (code == 0 || code > 0x10ffff || (is_surrogate(code) && !is_escaped_byte(code))) return win32_error::invalid_name;
  std::array<char32_t, 4> units = {code == U'\\' ? U'/' : code};
  std::size_t count = 1;
  if (is_escaped_byte(code)) {
    units[0] = code - escape_base;
  } else if (code >= 0x10000) {
    units = {0xf0 | (code >> 18), 0x80 | ((code >> 12) & 0x3f), 0x80 | ((code >> 6) & 0x3f), 0x80 | (code & 0x3f)};
    count = 4;
  } else if (code >= 0x800) {
    units = {0xe0 | (code >> 12), 0x80 | ((code >> 6) & 0x3f), 0x80 | (code & 0x3f)};
    count = 3;
  } else if (code >= 0x80) {
    units = {0xc0 | (code >> 6), 0x80 | (code & 0x3f)};
    count = 2;
  }
  if (size_ + count >= bytes_.size()) return win32_error::filename_exceeds_range;
  for (std::size_t i = 0; i < count; ++i)
    bytes_[size_++] = static_cast<char>(static_cast<unsigned char>(units[i]));
  return win32_error::success;
}

std::wstring wide_from_bytes(std::string_view bytes) {
  std::wstring wide;
  wide.reserve(bytes.size());
  while (!bytes.empty()) {
    char32_t code = 0;
    std::size_t used = take_character(bytes, code);
    if (used == 0) {
      code = escape_base + byte_of(bytes[0]);
      used = 1;
    }
    wide.push_back(static_cast<wchar_t>(code));
    bytes.remove_prefix(used);
  }
  return wide;
}

std::wstring wide_name_from_bytes(std::string_view name) {
  std::wstring wide = wide_from_bytes(name);
  std::ranges::replace(wide, L'\\', static_cast<wchar_t>(escaped_backslash));
  return wide;
}

std::string_view last_name_of(std::string_view path) {
  const std::size_t end = path.find_last_not_of('/');
  if (end == std::string_view::npos) return {};
  path = path.substr(0, end + 1);
  return path.substr(path.find_last_of('/') + 1);
}

std::string parent_of(std::string_view path) {
  const std::size_t end = path.find_last_not_of('/');
  if (end == std::string_view::npos) return path.empty() ? "." : "/";
  const std::size_t separator = path.find_last_of('/', end);
  if (separator == std::string_view::npos) return ".";
  const std::size_t last = path.find_last_not_of('/', separator);
  return last == std::string_view::npos ? "/" : std::string(path.substr(0, last + 1));
}

}  // namespace platform::host
