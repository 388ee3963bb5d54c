#include "platform/host/missing_facilities.h"

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

}  // namespace

property_system& property_system_instance() {
  static missing_property_system instance;
  return instance;
}

}  // namespace platform::host
