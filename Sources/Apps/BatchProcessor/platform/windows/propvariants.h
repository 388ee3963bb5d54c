// PROPVARIANT and the seam's property values.
#pragma once

#include "platform/property_system.h"
#include "platform/windows/windows_headers.h"

namespace platform::windows {

/// Owns what a PROPVARIANT points to.
class scoped_propvariant {
 public:
  scoped_propvariant() { PropVariantInit(&value_); }
  scoped_propvariant(const scoped_propvariant&) = delete;
  scoped_propvariant& operator=(const scoped_propvariant&) = delete;
  // Fails only for a type that nothing here makes; there would be nothing to free then.
  ~scoped_propvariant() { PropVariantClear(&value_); }

  [[nodiscard]] const PROPVARIANT& get() const { return value_; }
  [[nodiscard]] PROPVARIANT* put() { return &value_; }

 private:
  PROPVARIANT value_;
};

/// Fills an empty `made`: strings and element arrays are CoTaskMemAlloc copies, an empty list has the count 0 and no
/// array. out_of_memory when a copy can't be had, invalid_argument for `other_type`.
[[nodiscard]] hresult to_propvariant(const property_value& value, scoped_propvariant& made);

/// A copy. A null string is no value, and a list has none of its null strings.
[[nodiscard]] property_value from_propvariant(const PROPVARIANT& value);

}  // namespace platform::windows
