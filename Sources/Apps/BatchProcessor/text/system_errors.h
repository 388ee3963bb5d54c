// Error codes in words.
#pragma once

#include <string>

#include "platform/errors.h"

namespace text {

/// The text of an HRESULT as UTF-8, for exception messages: without its line end and without the "%1 " and "%2 "
/// that some system messages keep; "Unknown HRESULT error." where the system has none.
[[nodiscard]] std::string hresult_message(platform::hresult code);

/// The text of a Win32 error without white space at its end; "unable to get message from FormatMessage" where the
/// system has none.
[[nodiscard]] std::wstring system_error_text(platform::win32_error code);

}  // namespace text
