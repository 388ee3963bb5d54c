// How wide text is on a terminal.
#pragma once

#include <cstddef>
#include <string_view>

namespace text {

/// The columns that a terminal takes for the text: none for combining marks, zero-width characters and variation
/// selectors, two for East Asian wide characters and emoji, one for every other character. Terminals differ on
/// sequences that join several emoji to one; here each of them counts.
[[nodiscard]] std::size_t display_columns(std::wstring_view wide);

/// The longest start of `wide` that takes at most `columns` columns and splits no character.
[[nodiscard]] std::wstring_view display_prefix(std::wstring_view wide, std::size_t columns);

}  // namespace text
