#include "platform/windows/property_system.h"

#include <utility>

#include "platform/windows/error_codes.h"
#include "platform/windows/long_paths.h"
#include "platform/windows/property_store.h"

namespace platform::windows {

namespace {

static_assert(static_cast<int>(handler_access::read) == GPS_DEFAULT);
static_assert(static_cast<int>(handler_access::handler_properties_only) == GPS_HANDLERPROPERTIESONLY);
static_assert(static_cast<int>(handler_access::read_write) == GPS_READWRITE);
static_assert(static_cast<DWORD>(storage_access::read_write_exclusive) == (STGM_READWRITE | STGM_SHARE_EXCLUSIVE));
static_assert(static_cast<DWORD>(storage_access::read_deny_write) == (STGM_READ | STGM_SHARE_DENY_WRITE));
static_assert(static_cast<DWORD>(store_access::read) == STGM_READ);
static_assert(static_cast<DWORD>(store_access::read_write) == STGM_READWRITE);

// Not cleared in front of the call: where the call leaves no error, that of an earlier one counts.
storage_failure failure_with_last_error(hresult code) { return {code, static_cast<win32_error>(GetLastError())}; }

class wrapped_storage final : public property_set_storage {
 public:
  explicit wrapped_storage(com_reference<IPropertySetStorage> storage) : storage_(std::move(storage)) {}

  storage_result<std::unique_ptr<property_store>> create_store(store_access access) override {
    com_reference<IPropertyStore> store;
    const hresult made = outcome(PSCreatePropertyStoreFromPropertySetStorage(storage_.get(), static_cast<DWORD>(access),
                                                                             store.identifier(), store.put_untyped()));
    if (!succeeded(made)) return failure_with_last_error(made);
    return wrap(std::move(store));
  }

 private:
  com_reference<IPropertySetStorage> storage_;
};

}  // namespace

hresult_result<std::unique_ptr<property_store>> property_system::open_handler_store(const std::wstring& path,
                                                                                    handler_access access) {
  // The shell's parser takes no long-path prefix.
  com_reference<IPropertyStore> store;
  const hresult opened = outcome(SHGetPropertyStoreFromParsingName(
      path.c_str(), nullptr, static_cast<GETPROPERTYSTOREFLAGS>(access), store.identifier(), store.put_untyped()));
  if (!succeeded(opened)) return opened;
  return wrap(std::move(store));
}

storage_result<std::unique_ptr<property_set_storage>> property_system::open_property_set_storage(
    const std::wstring& path, storage_access access) {
  const std::wstring call_path = long_call_path(path);
  com_reference<IPropertySetStorage> storage;
  const hresult opened = outcome(StgOpenStorageEx(call_path.c_str(), static_cast<DWORD>(access), STGFMT_FILE, 0,
                                                  nullptr, nullptr, storage.identifier(), storage.put_untyped()));
  if (!succeeded(opened)) return failure_with_last_error(opened);
  return std::unique_ptr<property_set_storage>(std::make_unique<wrapped_storage>(std::move(storage)));
}

}  // namespace platform::windows
