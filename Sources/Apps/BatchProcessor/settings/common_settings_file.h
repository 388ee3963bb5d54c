// A settings file of the family: found, seeded from the default that ships with the program, reloaded on change.
#pragma once

#include <atomic>
#include <string>
#include <string_view>

#include "platform/file_system.h"

namespace common::setting_utilities {

class common_settings_file {
 public:
  /// Makes the file's folder with all its parents; raises a files::filesystem_error where that can't be.
  common_settings_file(std::wstring_view application_folder, std::wstring_view file_stem);
  virtual ~common_settings_file() = default;
  common_settings_file(const common_settings_file&) = delete;
  common_settings_file& operator=(const common_settings_file&) = delete;

  /// Makes sure that the file exists and that what was read of it is current; reads it only when its last-write time
  /// has changed, or when `force` is set. False when there is no file to read; the log says why.
  virtual bool load(bool force);

  [[nodiscard]] const std::wstring& file_path() const { return file_path_; }

 protected:
  /// Parses the file.
  virtual bool read_settings() = 0;

 private:
  /// Copies the default file into place.
  void seed() const;

  std::wstring application_folder_;
  std::wstring file_name_;
  std::wstring file_path_;
  std::atomic<platform::file_time> last_write_time_ = 0;  ///< at the last good read
};

}  // namespace common::setting_utilities
