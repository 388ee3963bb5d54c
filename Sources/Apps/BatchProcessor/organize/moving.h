// Moving single files, the way all organize actions do it.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "organize/undo_journal.h"
#include "platform/errors.h"

namespace quill_box::organize {

/// True when something is there; what can't be told counts as missing.
[[nodiscard]] bool is_there(const std::wstring& path);

/// True for a path, in full or relative to the folder, that leads to something below the folder; false with a NUL in
/// it.
[[nodiscard]] bool stays_inside(std::wstring_view folder, std::wstring_view path);

/// "name (2).ext" in the folder.
[[nodiscard]] std::wstring numbered_path(std::wstring_view folder, std::wstring_view name, int number);

/// The name in the folder where that is free, else the first free numbered one. None when the numbers from `first` to
/// 1000 are taken.
[[nodiscard]] std::optional<std::wstring> find_free_path(std::wstring_view folder, std::wstring_view name, int first);

/// Moves a file and never replaces one. After a success the shell hears of it, and the journal notes it: `to` relative
/// to the organized folder, or in full where that can't be. invalid_name for a name that the journal can't hold, since
/// it has no Unicode text: a file that was moved so could not be put back.
platform::win32_error move_and_record(undo_journal& journal, const std::wstring& from, const std::wstring& to);

/// At the end of a run, writes the journal into the organized folder. A failure is a line in the log that begins with
/// the name of the action: the files have been moved.
void leave_journal(const undo_journal& journal, std::string_view action);

/// After that, the shell hears of the folders that got files, then of the organized one and takes it all up.
void tell_shell(const std::set<std::wstring>& touched_folders, const std::wstring& folder);

}  // namespace quill_box::organize
