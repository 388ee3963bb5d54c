#include "organize/organize_folder.h"

#include <set>
#include <vector>

#include "files/file_functions.h"
#include "logging/log.h"
#include "organize/moving.h"
#include "organize/organize_photos.h"
#include "organize/run_loop.h"
#include "organize/selection.h"
#include "organize/undo_journal.h"
#include "platform/machine.h"
#include "settings/high_level_settings.h"
#include "text/format.h"
#include "text/formatted_runtime_error.h"
#include "text/paths.h"
#include "text/system_errors.h"

namespace quill_box::organize {

namespace {

using exceptions::formatted_runtime_error;
using logging::level;
using platform::win32_error;

// So that photo.jpg becomes photo (2).jpg beside the first one.
constexpr int first_number = 2;

struct type_run {
  extension_map categories;
  undo_journal journal;
  std::set<std::wstring> touched_folders;
  std::set<std::wstring> created_folders;
  std::size_t moved = 0;
  std::size_t failed = 0;
};

// A folder that was there before isn't recorded: undo never removes it.
void make_subfolder(type_run& run, std::wstring_view name, const std::wstring& path) {
  if (is_there(path)) return;
  const win32_error made = platform::current().files.create_directory(path);
  if (!succeeded(made) && made != win32_error::already_exists) {
    throw formatted_runtime_error(text::format(L"Failed to create subfolder '{}'", path));
  }
  if (run.created_folders.emplace(name).second) run.journal.created_folders.emplace_back(name);
}

// To the name itself where that is free, else to the first free numbered one, in a subfolder that is made for it.
win32_error move_to_free_name(type_run& run, const std::wstring& file, std::wstring_view category,
                              const std::wstring& subfolder) {
  const std::wstring_view name = paths::file_name(file);
  make_subfolder(run, category, subfolder);
  const auto target = find_free_path(subfolder, name, first_number);
  if (!target) {
    throw formatted_runtime_error(text::format(L"Unable to find a free name for '{}' in '{}'", name, subfolder));
  }
  return move_and_record(run.journal, file, *target);
}

// What a move tells of a taken name, or of a subfolder that is gone. It has replaced nothing.
bool must_look_first(win32_error error) {
  return error == win32_error::already_exists || error == win32_error::file_exists ||
         error == win32_error::path_not_found;
}

void move_to_subfolder(type_run& run, const std::wstring& file) {
  const std::wstring_view name = paths::file_name(file);
  const std::wstring_view category = category_for(paths::extension(file), run.categories);
  const std::wstring subfolder = paths::join(run.journal.folder, category);
  // A subfolder that has got a file is there, and most names in it are free: thousands of files are moved without a
  // look at either.
  win32_error moved = run.touched_folders.contains(subfolder)
                          ? move_and_record(run.journal, file, paths::join(subfolder, name))
                          : win32_error::path_not_found;
  if (must_look_first(moved)) moved = move_to_free_name(run, file, category, subfolder);
  // No second attempt: what is in use now is left for another run.
  if (!succeeded(moved)) {
    throw formatted_runtime_error(text::format(L"Failed to move '{}' ({})", name, text::system_error_text(moved)));
  }
  run.touched_folders.insert(subfolder);
  ++run.moved;
}

void move_guarded(type_run& run, const std::wstring& file) {
  try {
    move_to_subfolder(run, file);
  } catch (const std::exception& failure) {
    ++run.failed;
    logging::log(level::error, "Organize folder: {}", failure.what());
  }
}

void organize_by_type(batch_processor::processing_context& context, const std::wstring& folder) {
  auto& settings = high_level_settings::settings_instance();
  type_run run;
  run.journal.folder = folder;
  run.categories = build_extension_map(settings.organize_categories());
  const std::vector<std::wstring> excluded = settings.excluded_names();
  if (!files::is_directory(folder)) throw formatted_runtime_error(text::format(L"'{}' is not a folder", folder));

  // All of it before the first move: what was moved or is made meanwhile isn't seen again.
  const std::vector<std::wstring> files = select_files(folder, excluded, [](std::wstring_view) { return true; });
  if (files.empty()) {
    logging::log(level::info, "Organize folder: nothing to organize in {}", folder);
    return;
  }
  show_large_run(*context.callbacks, files.size());
  for (std::size_t i = 0; i < files.size() && begin_item(*context.callbacks, i + 1, files.size()); ++i)
    move_guarded(run, files[i]);

  // Also of a file that counts as failed, since memory ran out behind its move.
  if (!run.journal.moves.empty()) leave_journal(run.journal, "Organize folder");
  tell_shell(run.touched_folders, folder);
  logging::log(level::info, "Organize folder: moved {} files into {} subfolders of {} ({} failures)", run.moved,
               run.touched_folders.size(), folder, run.failed);
  if (run.failed > 0) {
    throw formatted_runtime_error(text::format("{} of {} files could not be moved. See the log for details.",
                                               run.failed, run.moved + run.failed));
  }
}

}  // namespace

void organize_folder(batch_processor::processing_context& context, const std::wstring& folder,
                     const std::wstring& scheme) {
  if (scheme == L"photos_pattern") return organize_photos(context, folder);
  if (scheme != L"by_type") throw formatted_runtime_error(text::format(L"Unknown organize scheme '{}'", scheme));
  organize_by_type(context, folder);
}

}  // namespace quill_box::organize
