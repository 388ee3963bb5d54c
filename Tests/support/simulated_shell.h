#pragma once

#include "platform/shell.h"
#include "support/simulated_calls.h"

namespace support {

/// A desktop shell that only listens.
class simulated_shell final : public platform::shell {
 public:
  explicit simulated_shell(simulated_calls& calls) : calls_(calls) {}

  void notify(platform::shell_event event, platform::shell_flush flush, const std::wstring& path) override;
  void notify_of_rename(const std::wstring& old_path, const std::wstring& new_path) override;
  platform::hresult renew_thumbnail(const std::wstring& path, std::uint32_t size) override;

 private:
  simulated_calls& calls_;
};

}  // namespace support
