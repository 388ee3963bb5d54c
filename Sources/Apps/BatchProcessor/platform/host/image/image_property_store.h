// The property handler of the image types that can be written.
#pragma once

#include <memory>
#include <string>

#include "platform/property_system.h"

namespace platform::host {

/// Whether the path has an extension of a type with this handler: .jpg .jpeg .jpe .jfif .png .tif .tiff .webp.
[[nodiscard]] bool has_image_handler(const std::wstring& path);

/// The store has rating_key (VT_UI4, percent) and keywords_key; every other property is empty and not supported on
/// writing. imaging_unknown_format for an image whose pieces or metadata can't be understood to the last, and for what
/// is no file. A set works out the whole change and takes the disk space for it: storage_medium_full where there is
/// none, imaging_too_much_metadata where the container has no place for the values. Several sets make one change, and
/// values that are there already make none. A failed commit reports storage_sharing_violation, whatever the reason; a
/// further one reads the file anew.
[[nodiscard]] hresult_result<std::unique_ptr<property_store>> open_image_store(const std::wstring& path,
                                                                               handler_access access);

}  // namespace platform::host
