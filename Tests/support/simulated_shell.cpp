#include "support/simulated_shell.h"

#include "support/call_texts.h"
#include "text/conversions.h"
#include "text/format.h"

namespace support {

void simulated_shell::notify(platform::shell_event event, platform::shell_flush flush, const std::wstring& path) {
  const auto guard = calls_.record(
      "notify", text::format("{}, {}, {}", event_text(event), flush_text(flush), text::utf8_from_wide(path)));
}

void simulated_shell::notify_of_rename(const std::wstring& old_path, const std::wstring& new_path) {
  const auto guard =
      calls_.record("notify", text::format("{}, {}, {}, {}", event_text(platform::shell_event::rename_item),
                                           flush_text(platform::shell_flush::path), text::utf8_from_wide(old_path),
                                           text::utf8_from_wide(new_path)));
}

platform::hresult simulated_shell::renew_thumbnail(const std::wstring& path, std::uint32_t size) {
  const auto guard = calls_.record("renew_thumbnail", text::format("{}, {}", text::utf8_from_wide(path), size));
  return calls_.refusal<platform::hresult>("renew_thumbnail", path);
}

}  // namespace support
