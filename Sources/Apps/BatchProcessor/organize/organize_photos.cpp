#include "organize/organize_photos.h"

#include <array>
#include <chrono>
#include <exception>
#include <set>

#include "files/file_functions.h"
#include "logging/log.h"
#include "organize/moving.h"
#include "organize/name_patterns.h"
#include "organize/photo_fields.h"
#include "organize/run_loop.h"
#include "organize/selection.h"
#include "organize/undo_journal.h"
#include "platform/machine.h"
#include "settings/high_level_settings.h"
#include "text/conversions.h"
#include "text/format.h"
#include "text/formatted_runtime_error.h"
#include "text/paths.h"
#include "text/system_errors.h"

namespace quill_box::organize {

namespace {

using exceptions::formatted_runtime_error;
using logging::level;
using platform::win32_error;

constexpr std::array<std::wstring_view, 6> sidecar_extensions = {L"xmp", L"aae", L"thm", L"pp3", L"dop", L"on1"};

// The classic length of a path with its terminating NUL: many programs open no longer one.
constexpr std::size_t too_long = 260;

// Unlike in the scheme by type: photo.jpg becomes photo (1).jpg beside the first one.
constexpr int first_number = 1;

// A file that was just imported is often in use for a moment.
constexpr int move_attempts = 5;
constexpr std::chrono::milliseconds move_pause(200);

struct photo_run {
  std::wstring naming;
  std::wstring placement;
  undo_journal journal;
  std::set<std::wstring> touched_folders;
  std::set<std::wstring> recorded_folders;
  std::size_t moved = 0;
  std::size_t failed = 0;
  std::size_t in_use = 0;
  std::size_t skipped = 0;
};

std::wstring target_folder_of(const photo_run& run, const photo_fields& fields) {
  const std::wstring& folder = run.journal.folder;
  if (run.placement.empty()) return folder;
  const std::wstring rendered = render_pattern(run.placement, fields);
  return rendered.empty() ? folder : paths::resolve(folder, rendered);
}

// What can be looked for of a root: of a server its share too, since no file call finds a server alone.
std::wstring root_to_look_for(std::wstring_view path) {
  std::size_t length = paths::root(path).size();
  const bool is_on_share = paths::root_name(path).size() > 2;
  for (const bool in_name : {true, false}) {
    while (is_on_share && length < path.size() && paths::is_separator(path[length]) != in_name)
      ++length;
  }
  return std::wstring(path.substr(0, length));
}

// Once, by the first photo: asks before the run leaves for a folder of another place. False when the user declines.
bool probe_placement(const photo_run& run, batch_processor::batch_processor_callbacks& callbacks,
                     const std::wstring& first_photo) {
  if (run.placement.empty()) return true;
  const std::wstring rendered = render_pattern(run.placement, read_photo_fields(first_photo));
  if (!paths::is_absolute_beside(run.journal.folder, rendered)) return true;
  const std::wstring_view root = paths::root(rendered);
  if (!root.empty() && !is_there(root_to_look_for(rendered))) {
    throw formatted_runtime_error(text::format(L"Placement pattern root '{}' is not currently available.", root));
  }
  if (is_there(rendered) || callbacks.confirm_create_folder(rendered)) return true;
  logging::log(level::info, "Organize folder (Photos): cancelled, target folder '{}' was not created", rendered);
  return false;
}

// The folders that making `target` will make inside the organized one, from the bottom up and relative to it.
std::vector<std::wstring> missing_folders_inside(const std::wstring& folder, const std::wstring& target) {
  std::vector<std::wstring> missing;
  std::wstring_view cursor = target;
  for (;;) {
    const std::wstring relative = paths::relative(cursor, folder);
    if (relative.empty() || relative == L"." || relative.starts_with(L"..")) break;
    if (is_there(std::wstring(cursor))) break;
    missing.push_back(relative);
    const std::wstring_view parent = paths::parent(cursor);
    if (parent == cursor) break;
    cursor = parent;
  }
  return missing;
}

// A folder outside the organized one isn't recorded: undo leaves it.
void make_target_folder(photo_run& run, const std::wstring& target) {
  const auto failure = [&target] {
    return formatted_runtime_error(text::format(L"Failed to create subfolder '{}'", target));
  };
  // The system might make the folder that is named in front of it.
  if (target.find(L'\0') != std::wstring::npos) throw failure();
  if (target == run.journal.folder || is_there(target)) return;
  const std::vector<std::wstring> missing = missing_folders_inside(run.journal.folder, target);
  try {
    files::create_directories(target);
  } catch (const std::exception&) {
    throw failure();
  }
  for (auto relative = missing.rbegin(); relative != missing.rend(); ++relative) {
    if (run.recorded_folders.insert(*relative).second) run.journal.created_folders.push_back(*relative);
  }
}

bool is_in_use(win32_error error) {
  return error == win32_error::sharing_violation || error == win32_error::lock_violation;
}

win32_error move_patiently(undo_journal& journal, const std::wstring& from, const std::wstring& to) {
  win32_error moved = win32_error::success;
  for (int attempt = 0; attempt < move_attempts; ++attempt) {
    moved = move_and_record(journal, from, to);
    if (!is_in_use(moved)) break;
    // After the last attempt as well, on purpose: it gives the next photo the same chance.
    platform::current().clock.sleep(move_pause);
  }
  return moved;
}

// A sidecar that can't follow stays behind, and the photo counts as moved.
void move_sidecar(photo_run& run, const std::wstring& sidecar, const std::wstring& new_photo) {
  const std::wstring_view name = paths::file_name(sidecar);
  // Behind the photo's whole name, whichever form it had.
  const std::wstring target = new_photo + std::wstring(paths::extension(sidecar));
  if (text::utf16_length(target) >= too_long) {
    logging::log(level::warning, "Organize folder (Photos): skipping sidecar '{}', destination path too long", name);
    return;
  }
  if (is_there(target)) {
    logging::log(level::warning,
                 "Organize folder (Photos): skipping sidecar '{}', a file already exists at the destination", name);
    return;
  }
  if (const win32_error moved = move_and_record(run.journal, sidecar, target); !succeeded(moved)) {
    logging::log(level::warning, "Organize folder (Photos): failed to move sidecar '{}' ({})", name,
                 text::system_error_text(moved));
  }
}

void organize_photo(photo_run& run, const std::wstring& photo) {
  const std::wstring_view name = paths::file_name(photo);
  const photo_fields fields = read_photo_fields(photo);
  const std::wstring rendered = render_pattern(run.naming, fields);
  const std::wstring new_name = (rendered.empty() ? fields.stem : rendered) + fields.extension;
  const std::wstring target_folder = target_folder_of(run, fields);
  make_target_folder(run, target_folder);

  const auto target = find_free_path(target_folder, new_name, first_number);
  if (!target) {
    throw formatted_runtime_error(text::format(L"Unable to find a free name for '{}' in '{}'", name, target_folder));
  }
  if (text::utf16_length(*target) >= too_long) {
    ++run.skipped;
    logging::log(level::warning, "Organize folder (Photos): skipping '{}', destination path too long: '{}'", name,
                 *target);
    return;
  }
  // Names come out of photos, which come from anywhere: none leads its photo out of its folder.
  const win32_error moved =
      stays_inside(target_folder, new_name) ? move_patiently(run.journal, photo, *target) : win32_error::invalid_name;
  if (!succeeded(moved)) {
    if (is_in_use(moved)) ++run.in_use;
    throw formatted_runtime_error(text::format(L"Failed to move '{}' ({})", name, text::system_error_text(moved)));
  }
  run.touched_folders.insert(target_folder);
  for (const std::wstring& sidecar : find_sidecars(photo))
    move_sidecar(run, sidecar, *target);
  ++run.moved;
}

void organize_photo_guarded(photo_run& run, const std::wstring& photo) {
  try {
    organize_photo(run, photo);
  } catch (const std::exception& failure) {
    ++run.failed;
    logging::log(level::error, "Organize folder (Photos): {}", failure.what());
  }
}

std::string report_of(const photo_run& run) {
  struct cause {
    std::size_t count;
    std::string_view words;
  };
  const std::array<cause, 3> causes = {{
      {run.in_use,
       " still in use by another process (a fresh import still settling, cloud sync, antivirus, or search indexing -- "
       "usually clears on its own; try again in a moment)"},
      {run.failed - run.in_use, " failed for other reasons -- see the log for details"},
      {run.skipped, " skipped because the destination path is too long"},
  }};
  std::string joined;
  for (const cause& cause : causes) {
    if (cause.count > 0) joined += text::format("{}{}{}", joined.empty() ? "" : "; ", cause.count, cause.words);
  }
  return text::format("{} of {} files could not be organized: {}.", run.failed + run.skipped,
                      run.moved + run.failed + run.skipped, joined);
}

}  // namespace

std::vector<std::wstring> find_sidecars(const std::wstring& photo) {
  const std::wstring_view folder = paths::parent(photo);
  std::vector<std::wstring> sidecars;
  for (const std::wstring_view extension : sidecar_extensions) {
    for (const std::wstring_view name : {paths::stem(photo), paths::file_name(photo)}) {
      std::wstring candidate = paths::join(folder, text::format(L"{}.{}", name, extension));
      const auto kind = platform::current().files.kind(candidate);
      if (kind && *kind != platform::item_kind::directory) sidecars.push_back(std::move(candidate));
    }
  }
  return sidecars;
}

void organize_photos(batch_processor::processing_context& context, const std::wstring& folder) {
  auto& settings = high_level_settings::settings_instance();
  photo_run run;
  run.journal.folder = folder;
  run.naming = settings.photo_naming_pattern();
  run.placement = settings.photo_placement_pattern();
  const std::vector<std::wstring> excluded = settings.excluded_names();
  if (!files::is_directory(folder)) throw formatted_runtime_error(text::format(L"'{}' is not a folder", folder));

  const std::vector<std::wstring> photos = select_files(folder, excluded, is_photo_file);
  if (photos.empty()) {
    logging::log(level::info, "Organize folder (Photos): nothing to organize in {}", folder);
    return;
  }
  if (!probe_placement(run, *context.callbacks, photos.front())) return;
  show_large_run(*context.callbacks, photos.size());
  for (std::size_t i = 0; i < photos.size() && begin_item(*context.callbacks, i + 1, photos.size()); ++i)
    organize_photo_guarded(run, photos[i]);

  // Also of a photo that counts as failed, since memory ran out behind its move.
  if (!run.journal.moves.empty()) leave_journal(run.journal, "Organize folder (Photos)");
  tell_shell(run.touched_folders, folder);
  logging::log(level::info,
               "Organize folder (Photos): moved {} files ({} failed [{} still in use], {} skipped for path length) "
               "from {}",
               run.moved, run.failed, run.in_use, run.skipped, folder);
  if (run.failed + run.skipped > 0) throw formatted_runtime_error(report_of(run));
}

}  // namespace quill_box::organize
