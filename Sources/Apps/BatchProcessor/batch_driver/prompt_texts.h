// What the prompts of a run say.
#pragma once

#include <string>
#include <string_view>

namespace quill_box::batch_processor {

inline constexpr std::wstring_view unexpected_action_text = L"Unexpected action requested.";

inline constexpr std::wstring_view autotag_components_missing_text =
    L"To enable auto-tagging of files private and securely, we first need to install local AI components on your "
    L"machine.   Let's jump to Orchid Lens AI and get things setup.";

/// The path is shown shortened; an empty one stays empty.
[[nodiscard]] std::wstring error_text(const std::wstring& path, std::wstring_view message);

[[nodiscard]] std::wstring create_folder_text(std::wstring_view path);

/// An empty list of types points at the settings.
[[nodiscard]] std::wstring unsupported_autotag_type_text(std::wstring_view supported_types);

}  // namespace quill_box::batch_processor
