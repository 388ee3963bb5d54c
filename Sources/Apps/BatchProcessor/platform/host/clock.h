// The host's clock.
#pragma once

#include "platform/clock.h"

namespace platform::host {

class clock final : public platform::clock {
 public:
  file_time now() override;
  local_time to_local(file_time time) override;
  win32_result<local_time> to_local_with_current_bias(file_time time) override;
  void sleep(std::chrono::milliseconds time) override;
};

}  // namespace platform::host
