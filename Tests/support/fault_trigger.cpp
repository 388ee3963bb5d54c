#include "support/fault_trigger.h"

#include <utility>

#include "text/conversions.h"
#include "text/format.h"

namespace support {

using platform::hresult;

std::string fault_text(const fault& fault) {
  std::string code = "by half";
  if (const auto* win32 = std::get_if<platform::win32_error>(&fault.code)) {
    code = text::format("with Win32 error {}", code_of(*win32));
  } else if (const auto* result = std::get_if<hresult>(&fault.code)) {
    code = text::format("with HRESULT {:#x}", code_of(*result));
  }
  return text::format("{} {} fails {} {}", fault.operation.empty() ? "call" : fault.operation, fault.call,
                      fault.lasting == fault_lasting::once ? "once" : "from then on", code);
}

void fault_trigger::arm(std::optional<fault> next) {
  const std::lock_guard guard(lock_);
  fault_ = std::move(next);
  counted_ = 0;
  struck_.reset();
  struck_a_commit_ = false;
}

std::size_t fault_trigger::counted() const {
  const std::lock_guard guard(lock_);
  return counted_;
}

std::optional<std::string> fault_trigger::struck() const {
  const std::lock_guard guard(lock_);
  return struck_;
}

bool fault_trigger::strike_short(std::wstring_view path) {
  const std::lock_guard guard(lock_);
  return fault_ && std::holds_alternative<short_write>(fault_->code) && is_struck("write", path);
}

bool fault_trigger::is_struck(std::string_view operation, std::wstring_view path) {
  if (!fault_->operation.empty() && fault_->operation != operation) return false;
  ++counted_;
  const bool due = counted_ == fault_->call || (counted_ > fault_->call && may_last(operation));
  if (!due) return false;
  if (!struck_) struck_ = text::format("{}({})", operation, text::utf8_from_wide(path));
  if (operation == "commit") struck_a_commit_ = true;
  return true;
}

bool fault_trigger::may_last(std::string_view operation) const {
  if (fault_->lasting == fault_lasting::once) return false;
  const auto* code = std::get_if<hresult>(&fault_->code);
  const bool repeats = operation == "commit" && code != nullptr && *code != hresult::sharing_violation &&
                       *code != hresult::storage_sharing_violation;
  return !repeats || !struck_a_commit_;
}

}  // namespace support
