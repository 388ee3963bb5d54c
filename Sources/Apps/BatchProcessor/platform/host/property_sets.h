// Property sets of any file or folder, kept in its extended attributes.
#pragma once

#include <memory>
#include <string>

#include "platform/property_system.h"

namespace platform::host {

/// Opens the property sets of a path. Exclusive access is held by a lock until the storage and every store made from it
/// are gone. storage_file_not_found, storage_access_denied, storage_sharing_violation while another one has them
/// exclusively, storage_invalid_function where the file system has no extended attributes.
[[nodiscard]] storage_result<std::unique_ptr<property_set_storage>> open_property_sets(const std::wstring& path,
                                                                                       storage_access access);

/// A store of the property sets of a file that the caller has open, for reading and writing; the locks are the
/// caller's. The descriptor is duplicated.
[[nodiscard]] hresult_result<std::unique_ptr<property_store>> property_sets_of_open_file(int descriptor);

}  // namespace platform::host
