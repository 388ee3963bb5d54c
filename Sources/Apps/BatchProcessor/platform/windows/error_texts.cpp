#include "platform/windows/error_texts.h"

#include "platform/windows/scoped_resources.h"

namespace platform::windows {

std::optional<std::wstring> error_texts::text_of(std::uint32_t code) {
  constexpr DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  constexpr DWORD system_default_language = 1024;
  wchar_t* buffer = nullptr;
  // With ALLOCATE_BUFFER the call wants the address of the pointer in the pointer's place.
  const DWORD length =
      FormatMessageW(flags, nullptr, code, system_default_language, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
  const local_memory<wchar_t> text(buffer);
  if (length == 0 || text == nullptr) return std::nullopt;
  return std::wstring(text.get(), length);
}

}  // namespace platform::windows
