#include "files/family_folders.h"

#include <mutex>
#include <optional>

#include "platform/machine.h"
#include "text/paths.h"

namespace files {

namespace {

std::mutex folder_lock;
std::optional<std::wstring> folder;

std::wstring ask_for_folder() {
  const auto local_app_data = platform::current().processes.local_app_data();
  const std::wstring base = local_app_data ? *local_app_data : std::wstring();
  return paths::join(paths::join(base, L"Larkspur Forge LLC"), L"Tessel Works Kit");
}

}  // namespace

std::wstring family_folder() {
  const std::lock_guard guard(folder_lock);
  if (!folder) folder = ask_for_folder();
  return *folder;
}

void forget_family_folder() {
  const std::lock_guard guard(folder_lock);
  folder.reset();
}

}  // namespace files
