// What the prompts of a run say. Paths and messages may hold anything: what could drive a terminal is replaced.
#pragma once

#include <string>
#include <string_view>

namespace quill_box::batch_processor {

inline constexpr std::wstring_view unexpected_action_text = L"Unexpected action requested.";

inline constexpr std::wstring_view autotag_components_missing_text =
    L"To enable auto-tagging of files private and securely, we first need to install local AI components on your "
    L"machine.   Let's jump to Orchid Lens AI and get things setup.";

/// Written when a run was cancelled that is still busy.
inline constexpr std::wstring_view cancelling_text = L"Cancelling after this item; Ctrl-C again ends at once.";

/// The path is shown shortened; an empty one stays empty. Line feeds of the message stay.
[[nodiscard]] std::wstring error_text(const std::wstring& path, std::wstring_view message);

[[nodiscard]] std::wstring create_folder_text(std::wstring_view path);

/// An empty list of types points at the settings.
[[nodiscard]] std::wstring unsupported_autotag_type_text(std::wstring_view supported_types);

}  // namespace quill_box::batch_processor
