// The XMP sidecar: a text file beside the file, named like it with ".xmp" behind, extension kept. Edited by fixed
// strings in a fixed order; where none of them stands the sidecar is written anew.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace quill_box::metadata {

/// The sidecar's new text. `old` is the text it has; empty when there is none.
[[nodiscard]] std::string sidecar_with_rating(std::string_view old, std::string_view rating);

/// Tags go in as they are, without any escaping. An empty list becomes an empty bag.
[[nodiscard]] std::string sidecar_with_keywords(std::string_view old, std::span<const std::wstring> tags);

/// Writes what `edit` makes of the text that the path's sidecar has, which is empty when there is none. False as below.
[[nodiscard]] bool edit_sidecar(const std::wstring& path, const std::function<std::string(std::string)>& edit);

/// False for an empty path, for a sidecar larger than largest_file_in_memory, when the text can't be written, and when
/// memory runs out.
[[nodiscard]] bool write_rating_sidecar(const std::wstring& path, int stars);
[[nodiscard]] bool write_keywords_sidecar(const std::wstring& path, std::span<const std::wstring> tags);

}  // namespace quill_box::metadata
