// Wide text and UTF-8. Conversions never fail: what can't be read becomes U+FFFD.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace text {

/// Wide text is UTF-16 where wchar_t has 16 bits and a code point each where it has 32.
[[nodiscard]] std::string utf8_from_wide(std::wstring_view wide);
[[nodiscard]] std::wstring wide_from_utf8(std::string_view utf8);

/// Little-endian UTF-16 as it stands in files, without a byte order mark; an odd last byte is left out.
[[nodiscard]] std::wstring wide_from_utf16le(std::string_view bytes);

/// Appends to what `utf8` holds, for callers that reuse a buffer.
void append_utf8(std::string& utf8, std::wstring_view wide);
/// For callers with room of their own: writes to `out`, which has 4 bytes for each unit, and returns the end.
char* put_utf8(char* out, std::wstring_view wide);

/// Takes one character, of one or two units, off the front of text that is not empty. Lone surrogates and values beyond
/// Unicode give U+FFFD.
[[nodiscard]] char32_t take_wide(std::wstring_view& rest);

/// False for text with a lone surrogate or a value beyond Unicode: it doesn't survive the way to UTF-8 and back.
[[nodiscard]] bool is_unicode(std::wstring_view wide);

/// The text's UTF-16 units, whatever the width of wchar_t: what it is ordered by.
[[nodiscard]] std::u16string utf16_from_wide(std::wstring_view wide);

/// The length in UTF-16 units, whatever the width of wchar_t.
[[nodiscard]] std::size_t utf16_length(std::wstring_view wide);

/// The longest start of `wide` that has at most `units` UTF-16 units and splits no character.
[[nodiscard]] std::wstring_view utf16_prefix(std::wstring_view wide, std::size_t units);

}  // namespace text
