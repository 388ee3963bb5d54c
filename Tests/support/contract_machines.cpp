#include "support/contract_machines.h"

#include <ostream>

#include "support/simulated_machine.h"

namespace test_support {

namespace {
platform::machine* chosen = nullptr;  // null: the native one
}

platform::machine& machine_under_test() { return chosen != nullptr ? *chosen : platform::native_machine(); }

backend backend_under_test() { return chosen != nullptr ? backend::simulated : backend::native; }

contract_test::contract_test() {
  if (GetParam() == backend::native) return;
  simulated_ = std::make_unique<support::simulated_machine>();
  chosen = &simulated_->machine;
}

contract_test::~contract_test() { chosen = nullptr; }

void PrintTo(backend machine, std::ostream* out) { *out << (machine == backend::native ? "native" : "simulated"); }

std::string backend_name(const testing::TestParamInfo<backend>& info) { return testing::PrintToString(info.param); }

}  // namespace test_support
