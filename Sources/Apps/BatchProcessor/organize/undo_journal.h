// The record of an organize run, from which an undo puts everything back. A hidden JSON file in the organized folder:
//
//   {
//       "version": "1.0",
//       "folder": "C:\\Photos",
//       "created_folders": ["2026-03-01"],
//       "moves": [{"from": "a.jpg", "to": "2026-03-01\\a.jpg"}]
//   }
//
// UTF-8 without a mark, an indent of four blanks, lines that end in CR LF. Folders are parted by a backslash on every
// machine, so that what one organized another can undo.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quill_box::organize {

inline constexpr std::wstring_view journal_name = L"qb_organize_undo.json";

struct journal_move {
  std::wstring from;  ///< the file's old name, relative to the folder
  std::wstring to;    ///< relative to the folder, or a full path

  bool operator==(const journal_move&) const = default;
};

struct undo_journal {
  std::wstring folder;                        ///< the organized folder, full path
  std::vector<std::wstring> created_folders;  ///< by the run, relative to the folder, parents before children
  std::vector<journal_move> moves;            ///< in the order in which they were made

  bool operator==(const undo_journal&) const = default;
};

[[nodiscard]] std::wstring journal_path(std::wstring_view folder);

/// The text of the file.
[[nodiscard]] std::string journal_text(const undo_journal& journal);

/// None where the text isn't a JSON object. What is missing or of another type counts as empty, and a move without
/// its two strings is left out; the version isn't looked at.
[[nodiscard]] std::optional<undo_journal> parse_journal(std::string_view text);

/// Replaces the file and hides it. Raises a std::runtime_error "Failed to write undo journal" where it can't be opened
/// or written whole.
void write_journal(const undo_journal& journal, const std::wstring& path);

/// Raises a std::runtime_error "Failed to open undo journal" or "Undo journal is not valid JSON".
[[nodiscard]] undo_journal read_journal(const std::wstring& path);

}  // namespace quill_box::organize
