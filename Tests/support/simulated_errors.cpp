#include "support/simulated_errors.h"

#include <utility>

#include "text/format.h"

namespace support {

using platform::code_of;
using platform::hresult;
using platform::win32_error;

simulated_errors::simulated_errors(simulated_calls& calls) : calls_(calls) {
  set_text(win32_error::file_not_found, L"The system cannot find the file specified.\r\n");
  set_text(win32_error::path_not_found, L"The system cannot find the path specified.\r\n");
  set_text(win32_error::access_denied, L"Access is denied.\r\n");
  set_text(win32_error::write_protect, L"The media is write protected.\r\n");
  set_text(win32_error::sharing_violation,
           L"The process cannot access the file because it is being used by another process.\r\n");
  set_text(win32_error::lock_violation,
           L"The process cannot access the file because another process has locked a portion of the file.\r\n");
  set_text(win32_error::not_supported, L"The request is not supported.\r\n");
  set_text(win32_error::file_exists, L"The file exists.\r\n");
  set_text(win32_error::invalid_parameter, L"The parameter is incorrect.\r\n");
  set_text(win32_error::disk_full, L"There is not enough space on the disk.\r\n");
  set_text(win32_error::invalid_name, L"The filename, directory name, or volume label syntax is incorrect.\r\n");
  set_text(win32_error::already_exists, L"Cannot create a file when that file already exists.\r\n");
  set_text(hresult::not_implemented, L"Not implemented\r\n");
  set_text(hresult::fail, L"Unspecified error\r\n");
  set_text(hresult::storage_file_not_found, L"%1 could not be found.\r\n");
  set_text(hresult::storage_access_denied, L"Access Denied.\r\n");
  set_text(hresult::class_not_registered, L"Class not registered\r\n");
}

std::optional<std::wstring> simulated_errors::text_of(std::uint32_t code) {
  const auto guard = calls_.record("text_of", text::format("{:#x}", code));
  constexpr std::uint32_t win32_facility = 0x80070000;
  const bool is_win32 = (code & 0xffff0000) == win32_facility;
  const auto found = texts_.find(is_win32 ? code & 0xffff : code);
  if (found == texts_.end()) return std::nullopt;
  return found->second;
}

void simulated_errors::set_text(std::uint32_t code, std::wstring text) { texts_[code] = std::move(text); }

void simulated_errors::set_text(win32_error code, std::wstring text) { set_text(code_of(code), std::move(text)); }

void simulated_errors::set_text(hresult code, std::wstring text) { set_text(code_of(code), std::move(text)); }

}  // namespace support
