#pragma once

#include "platform/property_system.h"

namespace platform::windows {

class property_system final : public platform::property_system {
 public:
  hresult_result<std::unique_ptr<property_store>> open_handler_store(const std::wstring& path,
                                                                     handler_access access) override;
  storage_result<std::unique_ptr<property_set_storage>> open_property_set_storage(const std::wstring& path,
                                                                                  storage_access access) override;
};

}  // namespace platform::windows
