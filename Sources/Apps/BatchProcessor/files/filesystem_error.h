#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/errors.h"

namespace files {

/// A failed file operation. what() reads `exists: Access is denied.: "C:\folder"`, in UTF-8.
class filesystem_error : public std::runtime_error {
 public:
  filesystem_error(std::string_view operation, std::wstring_view path, platform::win32_error code);

  [[nodiscard]] platform::win32_error code() const { return code_; }

 private:
  platform::win32_error code_;
};

}  // namespace files
