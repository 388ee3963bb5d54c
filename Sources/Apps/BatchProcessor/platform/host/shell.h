// The desktop shell: the host has none that wants to be told.
#pragma once

#include "platform/shell.h"

namespace platform::host {

/// File managers here watch the folders that they show, and make thumbnails anew when a file's time changes.
class shell final : public platform::shell {
 public:
  void notify(shell_event event, shell_flush flush, const std::wstring& path) override;
  void notify_of_rename(const std::wstring& old_path, const std::wstring& new_path) override;
  hresult renew_thumbnail(const std::wstring& path, std::uint32_t size) override;
};

}  // namespace platform::host
