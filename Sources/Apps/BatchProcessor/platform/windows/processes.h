#pragma once

#include "platform/processes.h"

namespace platform::windows {

class processes final : public platform::processes {
 public:
  std::uint32_t process_id() override;
  std::uint32_t thread_id() override;
  hresult_result<std::wstring> local_app_data() override;
  win32_result<std::wstring> module_path(std::size_t capacity) override;
  package_name_answer package_full_name(std::uint32_t capacity) override;
  hresult set_app_user_model_id(const std::wstring& id) override;
  hresult enter_apartment() override;
  void leave_apartment() override;
};

}  // namespace platform::windows
