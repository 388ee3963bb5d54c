// The machines that have to keep the contract of platform/: the native one and the simulated one, so that the simulated
// one can't drift from what a real system does.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>

#include "platform/machine.h"

namespace support {
class simulated_machine;
}

namespace test_support {

enum class backend : std::uint8_t { native, simulated };

void PrintTo(backend machine, std::ostream* out);

/// The machine under test: the native one, but for the time of a contract test on the simulated one.
[[nodiscard]] platform::machine& machine_under_test();
[[nodiscard]] backend backend_under_test();

/// The base of a contract test, whose parameter chooses the machine.
class contract_test : public testing::TestWithParam<backend> {
 protected:
  contract_test();
  ~contract_test() override;

 private:
  std::unique_ptr<support::simulated_machine> simulated_;
};

/// For the names of tests.
[[nodiscard]] std::string backend_name(const testing::TestParamInfo<backend>& info);

}  // namespace test_support

/// Runs a suite of contract tests on each machine, whose name is a part of the tests' names.
#define RUN_ON_EACH_MACHINE(suite)                                                                           \
  INSTANTIATE_TEST_SUITE_P(contract, suite,                                                                  \
                           testing::Values(test_support::backend::native, test_support::backend::simulated), \
                           test_support::backend_name)
