// The actions that change ratings and tags, each for one item of a job. A file of a type that isn't capable is logged
// and passed over; a missing file or a cloud placeholder is passed over in silence. Failures are exceptions with UTF-8
// text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/file_system.h"
#include "text/tag_list.h"

namespace quill_box::metadata {

enum class outcome : std::uint8_t {
  passed_over,  ///< nothing was opened: the type isn't capable
  taken_up,
};

/// What the caller has just found at the path; without it the action looks for itself.
using known_kind = std::optional<platform::item_kind>;

/// `parameters` is the number of stars.
outcome set_rating_action(const std::wstring& path, std::wstring_view parameters, known_kind kind = {});
outcome remove_rating_action(const std::wstring& path, known_kind kind = {});
outcome remove_tags_action(const std::wstring& path, known_kind kind = {});

/// `parameters` is a list of tags. Each is removed if the item has it in this very spelling, and added otherwise.
outcome toggle_tags_action(const std::wstring& path, text::split_once& parameters, known_kind kind = {});

/// `parameters` is a list of tags with a "+" to add or a "-" to remove in front of each; compared without case.
outcome update_tags_action(const std::wstring& path, text::split_once& parameters, known_kind kind = {});

/// Leading white space, an optional sign, digits up to the first other character; 0 without digits. A number beyond
/// the range of int becomes its nearest end.
[[nodiscard]] int leading_number(std::wstring_view text);

}  // namespace quill_box::metadata
