#pragma once

#include "platform/error_texts.h"

namespace platform::windows {

class error_texts final : public platform::error_texts {
 public:
  std::optional<std::wstring> text_of(std::uint32_t code) override;
};

}  // namespace platform::windows
