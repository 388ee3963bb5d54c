// The parts of a path, by the rules of Windows' path library on every machine: both "/" and "\" separate, a drive
// ("C:"), a share ("\\server\share") or a leading separator is the root. Nothing here asks the disk.
#pragma once

#include <string>
#include <string_view>

namespace paths {

[[nodiscard]] constexpr bool is_separator(wchar_t c) { return c == L'\\' || c == L'/'; }

/// Everything behind the last separator (or behind the drive's colon); empty for a path that ends in a separator.
[[nodiscard]] std::wstring_view file_name(std::wstring_view path);
/// The path without its file name and the separators in front of that; never cut into the root.
[[nodiscard]] std::wstring_view parent(std::wstring_view path);
/// From the last dot of the file name, dot included; empty without one, for "." and "..", and for a name whose
/// only dot comes first.
[[nodiscard]] std::wstring_view extension(std::wstring_view path);
/// The file name without its extension.
[[nodiscard]] std::wstring_view stem(std::wstring_view path);

/// "C:\", "C:", "\\server\share\", "\" or "/", or nothing for a relative path.
[[nodiscard]] std::wstring_view root(std::wstring_view path);

/// The drive or the share of the root, without the separators behind it; nothing for "/a" and a relative path.
[[nodiscard]] std::wstring_view root_name(std::wstring_view path);

/// The separator that a join to this base uses: the last one in it, "\" where it has none.
[[nodiscard]] wchar_t separator_of(std::wstring_view base);

/// The base, one separator unless it ends in one, and the part. An empty base gives the part.
[[nodiscard]] std::wstring join(std::wstring_view base, std::wstring_view part);

/// True for a part that names a place of its own when it is joined to the base: it has a drive with a separator behind
/// it or a share, or it starts at the one root of a machine without drives, on which the base stands too.
[[nodiscard]] bool is_absolute_beside(std::wstring_view base, std::wstring_view part);

/// As join, except that a part with a root stands for itself: "D:\a" for itself, "\a" on the base's drive. Its
/// separators become those of the base.
[[nodiscard]] std::wstring resolve(std::wstring_view base, std::wstring_view part);

/// The same place in plain spelling: backslashes, none of them doubled, no ".", and no ".." that has a name to take
/// back. A backslash at the end stays, and so do dots and blanks at the end of names.
[[nodiscard]] std::wstring spelled_out(std::wstring_view path);

/// The way from `base` to `path`, both taken as they are spelled, without "." and ".." in them: "a\b", "..\c", or "."
/// for the same place. Nothing when the two stand under different roots or on different shares, or when only one of
/// them has a root. Names under a drive or a share compare without regard to case. Backslashes separate, on every
/// machine.
[[nodiscard]] std::wstring relative(std::wstring_view path, std::wstring_view base);

}  // namespace paths
