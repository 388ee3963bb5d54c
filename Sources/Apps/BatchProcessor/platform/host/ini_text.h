// The text of INI files by the rules of Windows' profile functions. Works on the bytes of a whole file; what an edit
// doesn't concern stays as it is, byte for byte.
//
// A file that starts with the UTF-16 byte order mark (FF FE) is UTF-16, anything else is bytes: read as UTF-8, a byte
// that is none as Windows-1252, written as UTF-8. A line ends with CR LF, LF or CR. Names are compared without case and
// without the blanks around them; the first section of a name counts, and in it the first key of a name. A line that
// starts with ";" and a line that is neither a section nor a key are passed over.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform::host {

/// The value of a key without blanks and one pair of quotes (' or ") around it; none where there is no such key.
[[nodiscard]] std::optional<std::wstring> ini_value(std::string_view bytes, std::wstring_view section,
                                                    std::wstring_view key);

/// The file with the key set, in the place where it stands; a new key goes to the end of its section, in front of the
/// blank lines there, a new section to the end of the file. Lines end as the file's first one does, CR LF by default.
/// A text ends at its first NUL, and a line end in it becomes a blank.
[[nodiscard]] std::string with_ini_value(std::string_view bytes, std::wstring_view section, std::wstring_view key,
                                         std::wstring_view value);

/// The file without the key's line.
[[nodiscard]] std::string without_ini_key(std::string_view bytes, std::wstring_view section, std::wstring_view key);

/// The file without the section, from its head to the next one.
[[nodiscard]] std::string without_ini_section(std::string_view bytes, std::wstring_view section);

}  // namespace platform::host
