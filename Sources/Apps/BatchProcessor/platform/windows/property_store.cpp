#include "platform/windows/property_store.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/windows/error_codes.h"
#include "platform/windows/propvariants.h"

namespace platform::windows {

namespace {

PROPERTYKEY native_key(const property_key& key) {
  PROPERTYKEY native = {};
  native.fmtid.Data1 = key.format.data1;
  native.fmtid.Data2 = key.format.data2;
  native.fmtid.Data3 = key.format.data3;
  std::copy(std::begin(key.format.data4), std::end(key.format.data4), std::begin(native.fmtid.Data4));
  native.pid = key.id;
  return native;
}

class wrapped_store final : public platform::property_store {
 public:
  explicit wrapped_store(com_reference<IPropertyStore> store) : store_(std::move(store)) {}

  hresult_result<property_value> get(const property_key& key) override {
    scoped_propvariant value;
    const hresult read = outcome(store_->GetValue(native_key(key), value.put()));
    if (!succeeded(read)) return read;
    return from_propvariant(value.get());
  }

  hresult set(const property_key& key, const property_value& value) override {
    scoped_propvariant native;
    const hresult made = to_propvariant(value, native);
    if (!succeeded(made)) return made;
    const hresult set = outcome(store_->SetValue(native_key(key), native.get()));
    // out_of_memory stands for a value that can't be made.
    return set == hresult::out_of_memory ? hresult::storage_insufficient_memory : set;
  }

  hresult commit() override { return outcome(store_->Commit()); }

 private:
  com_reference<IPropertyStore> store_;
};

}  // namespace

std::unique_ptr<platform::property_store> wrap(com_reference<IPropertyStore> store) {
  return std::make_unique<wrapped_store>(std::move(store));
}

}  // namespace platform::windows
