// The property system: typed values of a file, through the handler of its type or as property sets on any path.
#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "platform/file_system.h"
#include "platform/result.h"

namespace platform {

struct guid {
  std::uint32_t data1 = 0;
  std::uint16_t data2 = 0;
  std::uint16_t data3 = 0;
  std::uint8_t data4[8] = {};
  auto operator<=>(const guid&) const = default;
};

struct property_key {
  guid format;
  std::uint32_t id = 0;
  auto operator<=>(const property_key&) const = default;
};

/// A point in time, apart from other numbers.
struct time_value {
  file_time time = 0;
  auto operator<=>(const time_value&) const = default;
};

/// The value types that the program knows, in the order of VT_EMPTY, VT_UI4, VT_I4, VT_UI2, VT_R8, VT_FILETIME,
/// VT_LPWSTR, VT_VECTOR | VT_LPWSTR and VT_VECTOR | VT_R8. A value of any other type is `other_type`.
struct other_type {
  std::uint16_t type = 0;  ///< the VARTYPE
  auto operator<=>(const other_type&) const = default;
};
using property_value = std::variant<std::monostate, std::uint32_t, std::int32_t, std::uint16_t, double, time_value,
                                    std::wstring, std::vector<std::wstring>, std::vector<double>, other_type>;

/// An open store. Destruction releases it; what was set and not committed is dropped.
class property_store {
 public:
  virtual ~property_store() = default;

  /// A property that isn't there is a success with an empty value. What set() staged is read back. GetValue.
  virtual hresult_result<property_value> get(const property_key& key) = 0;
  /// Stages a value. An empty list is set as such; a machine may remove the property instead, and both read as no
  /// tags. out_of_memory only when there is no memory for the system's form of the value: the store isn't asked then.
  /// SetValue.
  virtual hresult set(const property_key& key, const property_value& value) = 0;
  /// Writes what was staged. The caller counts the two sharing violations and repeats any other failure without a
  /// bound. So the host reports what won't pass as a sharing violation; Windows hands on the store's own code, whatever
  /// it is, and is asked for ever where it won't pass. Commit.
  virtual hresult commit() = 0;
};

enum class handler_access : std::uint32_t {
  read = 0,                     ///< GPS_DEFAULT
  handler_properties_only = 1,  ///< GPS_HANDLERPROPERTIESONLY: what the file itself holds, without the slow ones
  read_write = 2,               ///< GPS_READWRITE
};

enum class storage_access : std::uint32_t {
  read_write_exclusive = 18,  ///< STGM_READWRITE | STGM_SHARE_EXCLUSIVE
  read_deny_write = 32,       ///< STGM_READ | STGM_SHARE_DENY_WRITE
};

enum class store_access : std::uint32_t {
  read = 0,        ///< STGM_READ
  read_write = 2,  ///< STGM_READWRITE
};

/// Why property sets can't be opened: the call's own result, and beside it the thread's last error behind the call
/// (GetLastError), which is an earlier call's where this one left none.
struct storage_failure {
  hresult code = hresult::ok;
  win32_error last_error = win32_error::success;
};
[[nodiscard]] constexpr bool succeeded(const storage_failure& failure) { return succeeded(failure.code); }

template <class T>
using storage_result = result<T, storage_failure>;

/// The property sets of one path (IPropertySetStorage).
class property_set_storage {
 public:
  virtual ~property_set_storage() = default;

  /// The store may outlive the storage. PSCreatePropertyStoreFromPropertySetStorage.
  virtual storage_result<std::unique_ptr<property_store>> create_store(store_access access) = 0;
};

class property_system {
 public:
  /// The handler of the file's type. Fails where the type has none, or none that can write.
  /// SHGetPropertyStoreFromParsingName.
  virtual hresult_result<std::unique_ptr<property_store>> open_handler_store(const std::wstring& path,
                                                                             handler_access access) = 0;
  /// Any file or folder on a file system that can hold property sets. Callers keep cloud placeholders away from it: no
  /// machine promises that they aren't fetched.
  /// StgOpenStorageEx with STGFMT_FILE.
  virtual storage_result<std::unique_ptr<property_set_storage>> open_property_set_storage(const std::wstring& path,
                                                                                          storage_access access) = 0;

 protected:
  ~property_system() = default;
};

}  // namespace platform
