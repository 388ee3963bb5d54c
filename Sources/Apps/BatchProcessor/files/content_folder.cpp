#include "files/content_folder.h"

#include "platform/machine.h"
#include "text/paths.h"

namespace files {

std::wstring content_folder() {
  constexpr std::size_t usual_capacity = 260;
  constexpr std::size_t largest_capacity = 65535;
  platform::processes& processes = platform::current().processes;
  auto module = processes.module_path(usual_capacity);
  if (module.error() == platform::win32_error::insufficient_buffer) module = processes.module_path(largest_capacity);
  const std::wstring path = module ? *module : std::wstring();
  return paths::join(paths::parent(path), L"Content");
}

}  // namespace files
