// Every call of a scenario fails once, in turn.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "support/fault_machine.h"
#include "support/simulated_machine.h"

namespace support {

struct fault_scenario {
  std::function<void(simulated_machine&)> prepare;  ///< what is there before; nothing fails yet
  std::function<void(simulated_machine&)> run;      ///< the work under test, on the current machine
};

/// How one round ended. The log is closed by then.
struct fault_round {
  simulated_machine& machine;
  fault planned;
  std::optional<std::string> struck;  ///< the call that failed; none in the round in which none did
};

/// For each code and each way to last: runs the scenario on a fresh machine with call 1 failing, then call 2 and so
/// on, until a run ends before it meets its fault; that run is checked too. A handle that a run leaves open fails the
/// test, and so does a sweep without an end within `most_rounds`.
void for_each_fault(std::span<const fault_code> codes, const fault_scenario& scenario,
                    const std::function<void(const fault_round&)>& check, std::size_t most_rounds = 10'000);

/// Opens the log on the machine that never fails: its lines arrive whatever else does.
void open_log_below(simulated_machine& machine);

}  // namespace support
