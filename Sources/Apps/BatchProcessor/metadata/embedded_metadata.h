// Rating and keywords into an image itself, in place, by the machine's imaging component.
#pragma once

#include <span>
#include <string>

namespace quill_box::metadata {

/// Sets the plain star number. False where the type isn't an image that can be written, or has no room.
[[nodiscard]] bool write_embedded_rating(const std::wstring& path, int stars);

/// As write_embedded_rating, for the list as it is. False also when there is no memory for a copy of the list.
[[nodiscard]] bool write_embedded_keywords(const std::wstring& path, std::span<const std::wstring> tags);

}  // namespace quill_box::metadata
