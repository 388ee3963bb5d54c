#include "platform/host/shell.h"

namespace platform::host {

void shell::notify(shell_event /*event*/, shell_flush /*flush*/, const std::wstring& /*path*/) {}

hresult shell::renew_thumbnail(const std::wstring& /*path*/, std::uint32_t /*size*/) {
  return hresult::not_implemented;
}

}  // namespace platform::host
