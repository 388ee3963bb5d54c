// INI files (desktop.ini and the like).
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "platform/result.h"

namespace platform {

class profile_strings {
 public:
  /// The value of a key, without quotes around it, cut to `capacity` - 1 UTF-16 units; empty when the file, its
  /// folder, the section or the key is missing. A file that can't be read fails. GetPrivateProfileStringW.
  virtual win32_result<std::wstring> read(const std::wstring& file, const std::wstring& section,
                                          const std::wstring& key, std::size_t capacity) = 0;
  /// Sets a key, or deletes it when there is no value. A file that starts with the UTF-16 byte order mark stays
  /// UTF-16, all other lines of the file stay as they are. WritePrivateProfileStringW.
  virtual win32_error write(const std::wstring& file, const std::wstring& section, const std::wstring& key,
                            const std::optional<std::wstring>& value) = 0;
  /// WritePrivateProfileStringW without a key.
  virtual win32_error delete_section(const std::wstring& file, const std::wstring& section) = 0;

 protected:
  ~profile_strings() = default;
};

}  // namespace platform
