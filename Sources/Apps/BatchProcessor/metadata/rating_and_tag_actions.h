// The actions that change ratings and tags, each for one item of a job. A file of a type that isn't capable is logged
// and passed over; a missing file or a cloud placeholder is passed over in silence. Failures are exceptions with UTF-8
// text.
#pragma once

#include <string>
#include <string_view>

namespace quill_box::metadata {

/// `parameters` is the number of stars.
void set_rating_action(const std::wstring& path, std::wstring_view parameters);
void remove_rating_action(const std::wstring& path);
void remove_tags_action(const std::wstring& path);

/// `parameters` is a list of tags. Each is removed if the item has it in this very spelling, and added otherwise.
void toggle_tags_action(const std::wstring& path, std::wstring_view parameters);

/// `parameters` is a list of tags with a "+" to add or a "-" to remove in front of each; compared without case.
void update_tags_action(const std::wstring& path, std::wstring_view parameters);

/// Leading white space, an optional sign, digits up to the first other character; 0 without digits. A number beyond
/// the range of int becomes its nearest end.
[[nodiscard]] int leading_number(std::wstring_view text);

}  // namespace quill_box::metadata
