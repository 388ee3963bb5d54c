// Paths cut short for messages.
#pragma once

#include <cstddef>
#include <string>

namespace quill_box::batch_processor {

struct path_display_limits {
  std::size_t longest_parent;       ///< a longer parent keeps its first and last 11 characters
  std::size_t shortest_cut_name;    ///< a file name with fewer characters is kept
  std::size_t kept_with_extension;  ///< of a longer name: this minus the extension's length is kept of its stem
  std::size_t longest_extension;    ///< extension + 3 from here on: the name is cut to so many characters
};

inline constexpr path_display_limits open_failure_limits = {25, 41, 37, 40};
inline constexpr path_display_limits error_prompt_limits = {25, 46, 42, 45};

/// The display form of a path: parent and name shortened in their middle, and a zero-width space (U+200B) in front of
/// the separator between them, where a message box may break the line.
[[nodiscard]] std::wstring shorten_path(const std::wstring& path, const path_display_limits& limits);

/// The form used where a job file can't be opened.
[[nodiscard]] std::wstring shorten_path_for_message(const std::wstring& path);

}  // namespace quill_box::batch_processor
