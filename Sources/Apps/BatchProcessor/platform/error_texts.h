// The system's own words for an error code.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace platform {

class error_texts {
 public:
  /// The text of a Win32 code or an HRESULT as the system has it, line end included; none where it has no text.
  /// FormatMessageW from the system table, inserts left alone, in the system's default language.
  virtual std::optional<std::wstring> text_of(std::uint32_t code) = 0;

 protected:
  ~error_texts() = default;
};

}  // namespace platform
