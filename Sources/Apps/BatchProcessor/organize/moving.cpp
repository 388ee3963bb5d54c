#include "organize/moving.h"

#include <exception>
#include <utility>
#include <vector>

#include "logging/log.h"
#include "platform/machine.h"
#include "text/conversions.h"
#include "text/format.h"
#include "text/paths.h"

namespace quill_box::organize {

namespace {

constexpr int highest_number = 1000;

// Before a move, so that its note finds memory: without one the move could not be undone.
void make_room_for_one(std::vector<journal_move>& moves) {
  if (moves.size() == moves.capacity()) moves.reserve(2 * moves.size() + 1);
}

}  // namespace

bool is_there(const std::wstring& path) { return platform::current().files.kind(path).has_value(); }

bool stays_inside(std::wstring_view folder, std::wstring_view path) {
  // The system may read a path up to its first NUL, and then it is another one.
  if (path.find(L'\0') != std::wstring_view::npos) return false;
  const std::wstring way = paths::relative(paths::resolve(folder, path), folder);
  return !way.empty() && way != L"." && way != L".." && !way.starts_with(LR"(..\)");
}

std::wstring numbered_path(std::wstring_view folder, std::wstring_view name, int number) {
  // Of the whole path: a name may begin like a drive, "a:b.jpg".
  const std::wstring path = paths::join(folder, name);
  return paths::join(folder, text::format(L"{} ({}){}", paths::stem(path), number, paths::extension(path)));
}

std::optional<std::wstring> find_free_path(std::wstring_view folder, std::wstring_view name, int first) {
  std::wstring path = paths::join(folder, name);
  for (int number = first; is_there(path); ++number) {
    if (number > highest_number) return std::nullopt;
    path = numbered_path(folder, name, number);
  }
  return path;
}

platform::win32_error move_and_record(undo_journal& journal, const std::wstring& from, const std::wstring& to) {
  journal_move move = {std::wstring(paths::file_name(from)), paths::relative(to, journal.folder)};
  if (move.to.empty()) move.to = to;
  if (!text::is_unicode(move.from) || !text::is_unicode(move.to)) return platform::win32_error::invalid_name;
  make_room_for_one(journal.moves);
  const platform::win32_error moved = platform::current().files.move_file(from, to);
  if (!succeeded(moved)) return moved;
  journal.moves.push_back(std::move(move));
  platform::current().shell.notify_of_rename(from, to);
  return moved;
}

void leave_journal(const undo_journal& journal, std::string_view action) {
  try {
    write_journal(journal, journal_path(journal.folder));
  } catch (const std::exception& failure) {
    logging::log(logging::level::warning, "{}: failed to write undo journal for {}: {}", action, journal.folder,
                 failure.what());
  }
}

void tell_shell(const std::set<std::wstring>& touched_folders, const std::wstring& folder) {
  using platform::shell_event;
  using platform::shell_flush;
  platform::shell& shell = platform::current().shell;
  for (const std::wstring& touched : touched_folders)
    shell.notify(shell_event::update_directory, shell_flush::path, touched);
  shell.notify(shell_event::update_directory, shell_flush::path_and_wait, folder);
}

}  // namespace quill_box::organize
