// Text of others, such as file names, made fit for a terminal.
#pragma once

#include <string>
#include <string_view>

namespace text {

enum class line_feeds { replaced, kept };

/// U+FFFD stands in for each character that could drive a terminal or make a line read otherwise than it is: the
/// control characters up to U+001F and from U+007F to U+009F, and those that embed, override or isolate a writing
/// direction (U+202A to U+202E, U+2066 to U+2069). Where line feeds are kept, a carriage return in front of one is left
/// out.
[[nodiscard]] std::wstring without_control_characters(std::wstring_view wide, line_feeds feeds);

}  // namespace text
