#include "platform/host/shell.h"

namespace platform::host {

void shell::notify(shell_event /*event*/, shell_flush /*flush*/, const std::wstring& /*path*/) {}

void shell::notify_of_rename(const std::wstring& /*old_path*/, const std::wstring& /*new_path*/) {}

hresult shell::renew_thumbnail(const std::wstring& /*path*/, std::uint32_t /*size*/) {
  return hresult::not_implemented;
}

}  // namespace platform::host
