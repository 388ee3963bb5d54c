// Paths as the kernel takes them.
#pragma once

#include <array>
#include <climits>
#include <cstddef>
#include <string>
#include <string_view>

#include "platform/errors.h"

namespace platform::host {

/// The bytes of a wide path: UTF-8, a backslash turned into a slash, the long-path prefix dropped. A wide character
/// from U+DC80 to U+DCFF is a byte that is no UTF-8 (see wide_from_bytes), U+DC5C a backslash that is part of a name.
/// Holds them without an allocation.
class path_bytes {
 public:
  explicit path_bytes(std::wstring_view path);

  /// path_not_found for an empty path, a drive ("C:...") and a share ("\\server\..."): they name nothing here.
  /// invalid_name for a NUL or a character that no path can have. filename_exceeds_range when it is too long.
  [[nodiscard]] win32_error error() const { return error_; }

  // Both are empty after an error.
  [[nodiscard]] const char* c_str() const { return bytes_.data(); }
  [[nodiscard]] std::string_view view() const { return {bytes_.data(), size_}; }

 private:
  void fill(std::wstring_view path);
  win32_error append(char32_t code);

  std::array<char, PATH_MAX> bytes_;  // left as it comes: filling it would cost more than most paths
  std::size_t size_ = 0;
  win32_error error_ = win32_error::success;
};

/// Wide text of bytes that mostly are UTF-8. A byte b that isn't becomes the lone surrogate U+DC00 + b, so that
/// path_bytes gives back the same bytes.
[[nodiscard]] std::wstring wide_from_bytes(std::string_view bytes);

/// The same for one name, in which a backslash is no separator: it becomes U+DC5C.
[[nodiscard]] std::wstring wide_name_from_bytes(std::string_view name);

/// The path without its last name; "." for a bare name, "/" for what stands in the root.
[[nodiscard]] std::string parent_of(std::string_view path);

/// The last name of a path, without separators behind it.
[[nodiscard]] std::string_view last_name_of(std::string_view path);

}  // namespace platform::host
