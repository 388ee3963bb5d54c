// The system's message texts, in English.
#pragma once

#include "platform/error_texts.h"

namespace platform::host {

/// One table for the Win32 codes and the HRESULTs that the program meets. An HRESULT of facility 7 has the text of
/// its Win32 code.
class error_texts final : public platform::error_texts {
 public:
  std::optional<std::wstring> text_of(std::uint32_t code) override;
};

}  // namespace platform::host
