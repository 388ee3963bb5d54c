// Conveniences over the machine's file system.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/file_system.h"

namespace files {

/// What stands at a path, none where nothing is there: the name, its folder, its share or its drive is missing or
/// can't be a name. Any other failure raises a filesystem_error of the operation "exists".
[[nodiscard]] std::optional<platform::item_kind> kind_if_exists(const std::wstring& path);
/// The same for a path that was asked for its kind already: `kind` is the answer.
[[nodiscard]] std::optional<platform::item_kind> kind_if_exists(
    const std::wstring& path, const platform::win32_result<platform::item_kind>& kind);

/// As kind_if_exists, without the kind.
[[nodiscard]] bool exists(const std::wstring& path);

/// False also where that can't be told.
[[nodiscard]] bool is_directory(const std::wstring& path);

/// Makes the directory and every missing parent; one that is there already is fine. Raises a filesystem_error of
/// the operation "create_directories".
void create_directories(const std::wstring& path);

/// The next `size` bytes of an open file; none when it ends before, can't be read, or when there is no memory for them.
[[nodiscard]] std::optional<std::string> read_exactly(platform::file& file, std::uint64_t size);

/// The whole content, none when the file can't be opened or read to its end, has more than `limit` bytes, or when there
/// is no memory for them. `others` is what other programs may do meanwhile.
[[nodiscard]] std::optional<std::string> read_whole_file(const std::wstring& path, std::uint64_t limit,
                                                         platform::share others = platform::share::all);

}  // namespace files
