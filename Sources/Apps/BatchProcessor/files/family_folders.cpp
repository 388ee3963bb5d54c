#include "files/family_folders.h"

#include "platform/machine.h"
#include "text/paths.h"

namespace files {

std::wstring family_folder() {
  const auto local_app_data = platform::current().processes.local_app_data();
  const std::wstring base = local_app_data ? *local_app_data : std::wstring();
  return paths::join(paths::join(base, L"Larkspur Forge LLC"), L"Tessel Works Kit");
}

}  // namespace files
