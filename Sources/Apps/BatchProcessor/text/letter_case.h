// Comparing without regard to case, alike on every machine and in every locale.
#pragma once

#include <string>
#include <string_view>

namespace text {

/// The simple lower-case form of one UTF-16 unit by Unicode's table; characters beyond U+FFFF stay as they are.
[[nodiscard]] wchar_t to_lower(wchar_t unit);
[[nodiscard]] std::wstring to_lower(std::wstring_view wide);

/// Below, equal or above zero: unit by unit after lower-casing each, a prefix first.
[[nodiscard]] int compare_ignoring_case(std::wstring_view a, std::wstring_view b);
[[nodiscard]] bool equal_ignoring_case(std::wstring_view a, std::wstring_view b);

}  // namespace text
