#include "organize/undo_organize.h"

#include <exception>
#include <string_view>

#include "logging/log.h"
#include "organize/moving.h"
#include "organize/run_loop.h"
#include "organize/undo_journal.h"
#include "platform/machine.h"
#include "text/format.h"
#include "text/formatted_runtime_error.h"
#include "text/paths.h"
#include "text/system_errors.h"

namespace quill_box::organize {

namespace {

namespace attribute = platform::attribute;
using exceptions::formatted_runtime_error;
using logging::level;
using platform::win32_error;

constexpr int first_number = 2;
constexpr int last_number = 1001;

struct undo_run {
  std::wstring folder;  // the item's: the folder may have moved since the journal was written
  std::size_t restored = 0;
  std::size_t skipped = 0;
};

// The last candidate isn't looked at: the move, which never replaces anything, decides.
std::wstring free_back_path(const std::wstring& folder, const std::wstring& from) {
  std::wstring back = paths::resolve(folder, from);
  for (int number = first_number; number <= last_number && is_there(back); ++number)
    back = numbered_path(folder, from, number);
  return back;
}

void restore(undo_run& run, const journal_move& move) {
  platform::machine& machine = platform::current();
  const std::wstring current = paths::resolve(run.folder, move.to);
  if (!is_there(current)) {
    ++run.skipped;
    logging::log(level::info, "Undo organize: '{}' no longer exists, skipping", current);
    return;
  }
  // A journal is only text in a folder: one that somebody else wrote mustn't reach out of it, but for the files that a
  // placement put elsewhere.
  const bool is_ours = stays_inside(run.folder, move.from);
  const std::wstring back = is_ours ? free_back_path(run.folder, move.from) : std::wstring();
  const win32_error moved = is_ours ? machine.files.move_file(current, back) : win32_error::invalid_name;
  if (!succeeded(moved)) {
    ++run.skipped;
    logging::log(level::error, "Undo organize: failed to restore '{}' ({})", current, text::system_error_text(moved));
    return;
  }
  machine.shell.notify_of_rename(current, back);
  ++run.restored;
}

// What was reached isn't kept, also where it was skipped.
void keep_rest(const undo_journal& journal, std::size_t reached, const std::wstring& folder) {
  const auto first = journal.moves.begin() + static_cast<std::ptrdiff_t>(reached);
  try {
    write_journal({journal.folder, journal.created_folders, {first, journal.moves.end()}}, journal_path(folder));
  } catch (const std::exception& failure) {
    logging::log(level::warning, "Undo organize: failed to rewrite journal for {}: {}", folder, failure.what());
  }
}

void delete_journal(const std::wstring& path) {
  platform::file_system& files = platform::current().files;
  const auto attributes = files.attributes(path);
  // A journal that stays finds nothing to put back the next time.
  if (attributes && (*attributes & attribute::hidden) != 0) {
    static_cast<void>(files.set_attributes(path, *attributes & ~attribute::hidden));
  }
  static_cast<void>(files.delete_file(path));
}

// Children before parents. What holds something stays, without a word.
void remove_created_folders(const undo_journal& journal, const std::wstring& folder) {
  platform::machine& machine = platform::current();
  for (auto created = journal.created_folders.rbegin(); created != journal.created_folders.rend(); ++created) {
    const std::wstring path = paths::resolve(folder, *created);
    if (!stays_inside(folder, *created) || !succeeded(machine.files.remove_directory(path))) continue;
    machine.shell.notify(platform::shell_event::remove_directory, platform::shell_flush::path, path);
  }
}

}  // namespace

void undo_organize(batch_processor::processing_context& context, const std::wstring& folder) {
  const std::wstring path = journal_path(folder);
  if (!is_there(path)) {
    throw formatted_runtime_error(text::format(L"Nothing to undo: no organize record found in '{}'", folder));
  }
  const undo_journal journal = read_journal(path);
  const std::size_t count = journal.moves.size();
  show_large_run(*context.callbacks, count);

  undo_run run;
  run.folder = folder;
  std::size_t reached = 0;
  for (; reached < count && begin_item(*context.callbacks, reached + 1, count); ++reached)
    restore(run, journal.moves[reached]);
  const bool cancelled = reached < count;
  if (cancelled) {
    keep_rest(journal, reached, folder);
  } else {
    delete_journal(path);
    remove_created_folders(journal, folder);
  }
  tell_shell({}, folder);
  logging::log(level::info, "Undo organize: restored {} files, skipped {} in {} (cancelled={})", run.restored,
               run.skipped, folder, cancelled);
  if (run.skipped > 0) {
    throw formatted_runtime_error(
        text::format("Restored {} files; {} could not be restored (deleted, renamed, or locked). See the log for "
                     "details.",
                     run.restored, run.skipped));
  }
}

}  // namespace quill_box::organize
