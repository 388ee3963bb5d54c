// Rating and keywords into an image itself, in place, by the machine's imaging component.
#pragma once

#include <span>
#include <string>

namespace quill_box::metadata {

/// Sets the plain star number. False where the type isn't an image that can be written, has no room, or when memory
/// runs out.
[[nodiscard]] bool write_embedded_rating(const std::wstring& path, int stars);

/// As write_embedded_rating, for the list as it is.
[[nodiscard]] bool write_embedded_keywords(const std::wstring& path, std::span<const std::wstring> tags);

}  // namespace quill_box::metadata
