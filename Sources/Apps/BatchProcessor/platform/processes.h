// This process: its identity, its place, its COM apartment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/result.h"

namespace platform {

struct package_name_answer {
  win32_error code = win32_error::appmodel_no_package;
  std::uint32_t length = 0;  ///< in UTF-16 units, with the terminating NUL
  std::wstring name;         ///< what the buffer then holds, up to `length`
};

class processes {
 public:
  [[nodiscard]] virtual std::uint32_t process_id() = 0;
  [[nodiscard]] virtual std::uint32_t thread_id() = 0;
  /// The user's local application data: FOLDERID_LocalAppData by SHGetKnownFolderPath, on the host
  /// $XDG_DATA_HOME, else ~/.local/share.
  virtual hresult_result<std::wstring> local_app_data() = 0;
  /// The executable's path in a buffer of `capacity` UTF-16 units: insufficient_buffer when it doesn't fit.
  /// GetModuleFileNameW.
  virtual win32_result<std::wstring> module_path(std::size_t capacity) = 0;
  /// GetCurrentPackageFullName with a buffer of `capacity` units.
  virtual package_name_answer package_full_name(std::uint32_t capacity) = 0;
  /// SetCurrentProcessExplicitAppUserModelID.
  virtual hresult set_app_user_model_id(const std::wstring& id) = 0;
  /// CoInitialize(nullptr) and CoUninitialize, for the calling thread.
  virtual hresult enter_apartment() = 0;
  virtual void leave_apartment() = 0;

 protected:
  ~processes() = default;
};

}  // namespace platform
