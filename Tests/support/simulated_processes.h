#pragma once

#include <optional>
#include <string>

#include "platform/processes.h"
#include "support/simulated_calls.h"

namespace support {

/// The process as the simulated machine shows it: its number is 4120, its only thread's 8836.
class simulated_processes final : public platform::processes {
 public:
  explicit simulated_processes(simulated_calls& calls) : calls_(calls) {}

  std::uint32_t process_id() override;
  std::uint32_t thread_id() override;
  platform::hresult_result<std::wstring> local_app_data() override;
  platform::win32_result<std::wstring> module_path(std::size_t capacity) override;
  platform::package_name_answer package_full_name(std::uint32_t capacity) override;
  platform::hresult set_app_user_model_id(const std::wstring& id) override;
  platform::hresult enter_apartment() override;
  void leave_apartment() override;

  /// For tests.
  std::wstring local_app_data_folder = LR"(C:\Users\user\AppData\Local)";
  std::wstring executable = LR"(C:\Program Files\Quill Box\QuillBox.Common.BatchProcessor.exe)";
  std::optional<std::wstring> package;  ///< the full name, none for a process without package identity
  int apartments = 0;                   ///< entered and not yet left

 private:
  simulated_calls& calls_;
};

}  // namespace support
