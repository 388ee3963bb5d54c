// This process on the host.
#pragma once

#include "platform/processes.h"

namespace platform::host {

class processes final : public platform::processes {
 public:
  std::uint32_t process_id() override;
  std::uint32_t thread_id() override;
  /// $XDG_DATA_HOME if that is an absolute path, else .local/share below $HOME, else below the home folder that the
  /// user database names.
  hresult_result<std::wstring> local_app_data() override;
  win32_result<std::wstring> module_path(std::size_t capacity) override;
  /// Packages with an identity don't exist here.
  package_name_answer package_full_name(std::uint32_t capacity) override;
  hresult set_app_user_model_id(const std::wstring& id) override;
  hresult enter_apartment() override;
  void leave_apartment() override;
};

}  // namespace platform::host
