#include "text/system_errors.h"

#include <string_view>

#include "platform/machine.h"
#include "text/conversions.h"

namespace text {

namespace {

void erase_all(std::string& from, std::string_view what) {
  for (std::size_t at = from.find(what); at != std::string::npos; at = from.find(what, at)) {
    from.erase(at, what.size());
  }
}

}  // namespace

std::string hresult_message(platform::hresult code) {
  const auto wide = platform::current().errors.text_of(platform::code_of(code));
  if (!wide) return "Unknown HRESULT error.";
  std::string message = utf8_from_wide(*wide);
  if (message.ends_with('\n')) message.pop_back();
  if (message.ends_with('\r')) message.pop_back();
  erase_all(message, "%1 ");
  erase_all(message, "%2 ");
  return message;
}

std::wstring system_error_text(platform::win32_error code) {
  auto message = platform::current().errors.text_of(platform::code_of(code));
  if (!message) return L"unable to get message from FormatMessage";
  message->erase(message->find_last_not_of(L" \t\r\n\v\f") + 1);
  return *std::move(message);
}

}  // namespace text
