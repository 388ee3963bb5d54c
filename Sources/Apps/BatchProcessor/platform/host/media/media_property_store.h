// The property handler of the audio and video types.
#pragma once

#include <memory>
#include <string>

#include "platform/property_system.h"

namespace platform::host {

/// Whether the path has an extension of a type with this handler: .mp3 .mp4 .m4v .mov .wma .wmv.
[[nodiscard]] bool has_media_handler(const std::wstring& path);

/// A content store (content_store.h) of rating_key (VT_UI4, percent), in the file's own format, and keywords_key,
/// beside the content in the file's property sets; every other property is empty and not supported on writing.
/// hresult::fail for a file whose structure can't be understood, or can't be changed, and for what is no file. A set
/// fails with imaging_property_not_supported where this file has no place for a rating, and with invalid_argument for a
/// value that the type can't hold.
[[nodiscard]] hresult_result<std::unique_ptr<property_store>> open_media_store(const std::wstring& path,
                                                                               handler_access access);

}  // namespace platform::host
