#include "settings/common_settings_file.h"

#include <exception>
#include <stdexcept>

#include "files/content_folder.h"
#include "files/family_folders.h"
#include "files/file_functions.h"
#include "files/filesystem_error.h"
#include "logging/log.h"
#include "platform/machine.h"
#include "text/paths.h"

namespace common::setting_utilities {

using logging::level;

common_settings_file::common_settings_file(std::wstring_view application_folder, std::wstring_view file_stem)
    : application_folder_(application_folder), file_name_(std::wstring(file_stem) + L".json") {
  const std::wstring folder = paths::join(files::family_folder(), application_folder_);
  file_path_ = paths::join(folder, file_name_);
  if (!files::exists(folder)) files::create_directories(folder);
}

bool common_settings_file::load(bool force) {
  platform::file_system& file_system = platform::current().files;
  if (!force) {
    const auto facts = file_system.facts(file_path_);
    if (facts && facts->last_written == last_write_time_) return true;
  }
  try {
    if (!files::exists(file_path_)) seed();
    const auto facts = file_system.facts(file_path_);
    const platform::file_time last_written = facts ? facts->last_written : 0;
    if (!read_settings()) return false;
    last_write_time_ = last_written;
    return true;
  } catch (const std::exception& failure) {
    // The words speak of copying, whatever went wrong.
    logging::log(level::critical, "Unable to copy settings file. Details {}", failure.what());
  } catch (...) {
    return false;
  }
  return false;
}

void common_settings_file::seed() const {
  const std::wstring source = paths::join(paths::join(files::content_folder(), L"Configurations"), file_name_);
  const auto copied = platform::current().files.copy_file(source, file_path_);
  if (!copied) throw files::filesystem_error("copy_file", source, copied.error());
  if (!*copied) {
    logging::log(level::critical, "Unable to copy default settings from {} to {}", source, file_path_);
    throw std::runtime_error("Unable to copy fallback settings file. See logs for details.");
  }
  logging::log(level::info, "Copied default settings from {} to {}", source, file_path_);
}

}  // namespace common::setting_utilities
