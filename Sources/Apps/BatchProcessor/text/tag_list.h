// Lists of tags as text: joined by ";", without blanks and without an escape.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace text {

/// The stretches between semicolons; empty ones are dropped, blanks stay.
[[nodiscard]] std::vector<std::wstring> split_tag_list(std::wstring_view list);

[[nodiscard]] std::wstring join_tag_list(std::span<const std::wstring> tags);

}  // namespace text
