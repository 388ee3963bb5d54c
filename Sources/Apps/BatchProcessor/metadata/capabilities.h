// Which files may be touched at all, by their extension. How a value gets into a capable file is not decided here.
#pragma once

#include <string>
#include <string_view>

namespace quill_box::metadata {

/// Extensions have their leading dot; ASCII letters compare without case. None of these allocates.
[[nodiscard]] bool is_rating_capable(std::wstring_view extension);
[[nodiscard]] bool is_tag_capable(std::wstring_view extension);
[[nodiscard]] bool is_jpeg(std::wstring_view extension);

}  // namespace quill_box::metadata
