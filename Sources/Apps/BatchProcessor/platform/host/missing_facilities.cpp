#include "platform/host/missing_facilities.h"

#include "platform/host/profile_strings.h"

namespace platform::host {

namespace {

class missing_property_system final : public property_system {
 public:
  hresult_result<std::unique_ptr<property_store>> open_handler_store(const std::wstring& /*path*/,
                                                                     handler_access /*access*/) override {
    return hresult::not_implemented;
  }
  hresult_result<std::unique_ptr<property_set_storage>> open_property_set_storage(const std::wstring& /*path*/,
                                                                                  storage_access /*access*/) override {
    return hresult::not_implemented;
  }
};

class missing_profile_strings final : public profile_strings {
 public:
  std::wstring read(const std::wstring& /*file*/, const std::wstring& /*section*/, const std::wstring& /*key*/,
                    std::size_t /*capacity*/) override {
    return {};
  }
  win32_error write(const std::wstring& /*file*/, const std::wstring& /*section*/, const std::wstring& /*key*/,
                    const std::optional<std::wstring>& /*value*/) override {
    return win32_error::not_supported;
  }
  win32_error delete_section(const std::wstring& /*file*/, const std::wstring& /*section*/) override {
    return win32_error::not_supported;
  }
};

}  // namespace

property_system& property_system_instance() {
  static missing_property_system instance;
  return instance;
}

profile_strings& profile_strings_instance() {
  static missing_profile_strings instance;
  return instance;
}

}  // namespace platform::host
