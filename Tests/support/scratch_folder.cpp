#include "support/scratch_folder.h"

#include <stdexcept>

#include "support/contract_machines.h"
#include "support/native_folders.h"
#include "text/paths.h"

namespace test_support {

namespace {

// No other process and no other object of this one has the same.
std::wstring fresh_name() {
  static int made = 0;
  const platform::machine& machine = machine_under_test();
  return L"batch_processor_test_" + std::to_wstring(machine.processes.process_id()) + L"_" +
         std::to_wstring(machine.clock.now()) + L"_" + std::to_wstring(++made);
}

// The simulated machine has such a folder, too.
std::wstring root() { return backend_under_test() == backend::native ? temporary_root() : LR"(C:\Users)"; }

}  // namespace

scratch_folder::scratch_folder() : path_(paths::join(root(), fresh_name())) {
  const platform::win32_error made = machine_under_test().files.create_directory(path_);
  if (!succeeded(made)) throw std::runtime_error("no scratch folder: error " + std::to_string(code_of(made)));
}

scratch_folder::~scratch_folder() {
  // The simulated machine goes as a whole.
  if (backend_under_test() == backend::native) remove_tree(path_);
}

std::wstring scratch_folder::operator/(const std::wstring& name) const { return paths::join(path_, name); }

}  // namespace test_support
