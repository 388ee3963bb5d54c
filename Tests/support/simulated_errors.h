#pragma once

#include <map>

#include "platform/error_texts.h"
#include "platform/errors.h"
#include "support/simulated_calls.h"

namespace support {

/// The texts of a few codes, worded and ended as Windows' own; a code that isn't there has no text. An HRESULT
/// of facility 7 has the text of its Win32 code.
class simulated_errors final : public platform::error_texts {
 public:
  explicit simulated_errors(simulated_calls& calls);

  std::optional<std::wstring> text_of(std::uint32_t code) override;

  /// For tests.
  void set_text(std::uint32_t code, std::wstring text);
  void set_text(platform::win32_error code, std::wstring text);
  void set_text(platform::hresult code, std::wstring text);

 private:
  simulated_calls& calls_;
  std::map<std::uint32_t, std::wstring> texts_;
};

}  // namespace support
