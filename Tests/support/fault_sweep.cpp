#include "support/fault_sweep.h"

#include <gtest/gtest.h>

#include "logging/log.h"

namespace support {

namespace {

// True when the run met its fault.
bool run_round(const fault& planned, const fault_scenario& scenario,
               const std::function<void(const fault_round&)>& check) {
  simulated_machine machine;
  scenario.prepare(machine);
  machine.calls.clear();
  fault_machine faults(machine.machine);
  {
    const installed_machine installed(faults.machine());
    faults.arm(planned);
    scenario.run(machine);
  }
  const std::optional<std::string> struck = faults.struck();
  SCOPED_TRACE(fault_text(planned) + ": " + struck.value_or("not met"));
  for (const std::string& path : machine.open_handles())
    ADD_FAILURE() << "A handle on " << path << " was left open.";
  check({machine, planned, struck});
  return struck.has_value();
}

}  // namespace

void for_each_fault(std::span<const fault_code> codes, const fault_scenario& scenario,
                    const std::function<void(const fault_round&)>& check, std::size_t most_rounds) {
  for (const fault_code& code : codes) {
    for (const fault_lasting lasting : {fault_lasting::once, fault_lasting::from_then_on}) {
      fault planned{code, 1, lasting};
      while (run_round(planned, scenario, check) && !testing::Test::HasFatalFailure()) {
        if (++planned.call > most_rounds) {
          ADD_FAILURE() << "The sweep has no end: " << fault_text(planned);
          return;
        }
      }
    }
  }
}

void open_log_below(simulated_machine& machine) {
  platform::machine* faulty = platform::install(&machine.machine);
  logging::logger()->make_log_directory_and_open(L"", L"Processor", L"Quill Box");
  platform::install(faulty);
}

}  // namespace support
