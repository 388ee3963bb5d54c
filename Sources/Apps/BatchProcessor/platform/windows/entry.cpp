#include "batch_driver/entry.h"

#include <cstdlib>
#include <exception>
#include <span>
#include <string>
#include <vector>

#include "platform/machine.h"
#include "platform/windows/scoped_resources.h"

namespace {

std::vector<std::wstring> command_line() {
  int count = 0;
  const platform::windows::local_memory<wchar_t*> arguments(CommandLineToArgvW(GetCommandLineW(), &count));
  if (arguments == nullptr) return {};  // out of memory: as if there were no arguments
  const std::span list(arguments.get(), static_cast<std::size_t>(count));
  return {list.begin(), list.end()};
}

// As the runtime ends a program with an uncaught exception, but without the message box that it shows for a program
// with a window: nobody may be there to close it.
[[noreturn]] void end_abnormally() {
  constexpr int exit_code_of_abort = 3;
  std::_Exit(exit_code_of_abort);
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int) {
  std::set_terminate(end_abnormally);
  platform::install(&platform::native_machine());
  return quill_box::batch_processor::run(command_line());
}
