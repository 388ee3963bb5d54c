// Counts calls and says which of them fail.
#pragma once

#include <mutex>
#include <string_view>

#include "support/fault_machine.h"

namespace support {

class fault_trigger {
 public:
  void arm(std::optional<fault> next);
  [[nodiscard]] std::size_t counted() const;
  [[nodiscard]] std::optional<std::string> struck() const;

  /// The code with which this call fails, else success. `Code` is the kind of code that the call can answer.
  template <class Code>
  Code strike(std::string_view operation, std::wstring_view path) {
    const std::lock_guard guard(lock_);
    if (!fault_) return Code{};
    const auto* code = std::get_if<Code>(&fault_->code);
    return code != nullptr && is_struck(operation, path) ? *code : Code{};
  }
  /// True when this write takes only a part of its bytes.
  [[nodiscard]] bool strike_short(std::wstring_view path);

 private:
  [[nodiscard]] bool is_struck(std::string_view operation, std::wstring_view path);
  [[nodiscard]] bool may_last(std::string_view operation) const;

  mutable std::mutex lock_;
  std::optional<fault> fault_;
  std::size_t counted_ = 0;
  std::optional<std::string> struck_;
  bool struck_a_commit_ = false;
};

}  // namespace support
