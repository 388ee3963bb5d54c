// Owner of one reference to a COM object.
#pragma once

#include <cassert>
#include <utility>

#include "platform/windows/windows_headers.h"

namespace platform::windows {

template <class Interface>
class com_reference {
 public:
  com_reference() = default;
  com_reference(com_reference&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  com_reference& operator=(com_reference other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~com_reference() {
    if (object_ != nullptr) object_->Release();
  }

  [[nodiscard]] Interface* get() const { return object_; }
  Interface* operator->() const { return object_; }

  /// Where a call stores the reference that it gives out; only while this one is empty.
  [[nodiscard]] Interface** put() {
    assert(object_ == nullptr);
    return &object_;
  }
  /// The same for the calls that are told the interface by its identifier.
  [[nodiscard]] void** put_untyped() { return reinterpret_cast<void**>(put()); }
  [[nodiscard]] static const IID& identifier() { return __uuidof(Interface); }

 private:
  Interface* object_ = nullptr;
};

/// CoCreateInstance in this process.
template <class Interface>
[[nodiscard]] HRESULT create_in_process(const CLSID& class_id, com_reference<Interface>& made) {
  return CoCreateInstance(class_id, nullptr, CLSCTX_INPROC_SERVER, made.identifier(), made.put_untyped());
}

}  // namespace platform::windows
