#pragma once

#include "platform/imaging.h"

namespace platform::windows {

class imaging final : public platform::imaging {
 public:
  hresult_result<std::unique_ptr<image_decoder>> open(const std::wstring& path) override;
  hresult_result<std::unique_ptr<image_reader>> open_for_reading(const std::wstring& path) override;
};

}  // namespace platform::windows
