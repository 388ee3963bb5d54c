#include "support/simulated_calls.h"

#include <algorithm>
#include <utility>

#include "text/conversions.h"
#include "text/format.h"
#include "text/letter_case.h"

namespace support {

simulated_calls::guard simulated_calls::record(std::string_view operation, std::string_view arguments) {
  // Without the lock, so that an action can hold one thread back while another one uses the machine.
  for (const std::function<void()>& action : take_awaited(operation))
    action();
  guard held(lock_);
  calls_.push_back({std::string(operation), text::format("{}({})", operation, arguments)});
  return held;
}

std::vector<std::string> simulated_calls::all() const {
  const guard held(lock_);
  std::vector<std::string> lines;
  for (const call& made : calls_)
    lines.push_back(made.line);
  return lines;
}

std::vector<std::string> simulated_calls::named(std::initializer_list<std::string_view> operations) const {
  const guard held(lock_);
  std::vector<std::string> lines;
  for (const call& made : calls_) {
    if (std::find(operations.begin(), operations.end(), made.operation) != operations.end()) lines.push_back(made.line);
  }
  return lines;
}

std::vector<std::string> simulated_calls::about(std::wstring_view path) const {
  const guard held(lock_);
  const std::string wanted = text::utf8_from_wide(path);
  std::vector<std::string> lines;
  for (const call& made : calls_) {
    if (made.line.find(wanted) != std::string::npos) lines.push_back(made.line);
  }
  return lines;
}

std::size_t simulated_calls::count(std::string_view operation) const {
  const guard held(lock_);
  return static_cast<std::size_t>(std::count_if(calls_.begin(), calls_.end(),
                                                [operation](const call& made) { return made.operation == operation; }));
}

void simulated_calls::clear() {
  const guard held(lock_);
  calls_.clear();
}

void simulated_calls::before(std::string_view operation, std::size_t turn, std::function<void()> action) {
  const guard held(lock_);
  awaited_.push_back({std::string(operation), turn, std::move(action)});
}

void simulated_calls::add_refusal(std::string_view operation, std::wstring_view path, std::uint32_t code, int times) {
  const guard held(lock_);
  refusals_.push_back({std::string(operation), std::wstring(path), code, times});
}

std::uint32_t simulated_calls::take_refusal(std::string_view operation, std::wstring_view path) {
  const guard held(lock_);
  for (refused_call& refused : refusals_) {
    const bool meant = refused.path.empty() || text::equal_ignoring_case(refused.path, path);
    if (!meant || refused.operation != operation || refused.times == 0) continue;
    if (refused.times != always) --refused.times;
    return refused.code;
  }
  return 0;
}

std::vector<std::function<void()>> simulated_calls::take_awaited(std::string_view operation) {
  const guard held(lock_);
  std::vector<std::function<void()>> due;
  for (awaited_call& awaited : awaited_) {
    if (awaited.operation == operation && --awaited.turns_left == 0) due.push_back(std::move(awaited.action));
  }
  std::erase_if(awaited_, [](const awaited_call& awaited) { return awaited.turns_left == 0; });
  return due;
}

}  // namespace support
