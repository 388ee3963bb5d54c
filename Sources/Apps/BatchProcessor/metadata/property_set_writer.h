// One value straight into the property set of a file or folder, past the handler of its type.
#pragma once

#include <string>

#include "platform/property_system.h"

namespace quill_box::metadata {

/// Opens, sets, commits and releases; true only if every step succeeded, and there was memory for it. The caller holds
/// no store on the path.
[[nodiscard]] bool write_property_to_ntfs_set(const std::wstring& path, const platform::property_key& key,
                                              const platform::property_value& value);

}  // namespace quill_box::metadata
