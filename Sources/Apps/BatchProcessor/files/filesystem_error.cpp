#include "files/filesystem_error.h"

#include "text/conversions.h"
#include "text/format.h"
#include "text/system_errors.h"

namespace files {

filesystem_error::filesystem_error(std::string_view operation, std::wstring_view path, platform::win32_error code)
    : std::runtime_error(text::format("{}: {}: \"{}\"", operation, text::utf8_from_wide(text::system_error_text(code)),
                                      text::utf8_from_wide(path))),
      code_(code) {}

}  // namespace files
