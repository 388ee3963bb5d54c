// The property handler of the image types that can be written.
#pragma once

#include <memory>
#include <string>

#include "platform/property_system.h"

namespace platform::host {

/// Whether the path has an extension of a type with this handler: .jpg .jpeg .jpe .jfif .png .tif .tiff .webp.
[[nodiscard]] bool has_image_handler(const std::wstring& path);

/// A content store (content_store.h) of rating_key (VT_UI4, percent) and keywords_key, and to be read only those of
/// date and position (property_keys.h); every other property is empty. All but the first two are not supported on
/// writing. imaging_unknown_format for what is no image, and to be changed for an image whose pieces or metadata can't
/// be understood to the last: read, that has what can be made out of it. imaging_too_much_metadata where the container
/// has no place for the values.
[[nodiscard]] hresult_result<std::unique_ptr<property_store>> open_image_store(const std::wstring& path,
                                                                               handler_access access);

}  // namespace platform::host
