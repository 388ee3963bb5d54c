#include "batch_driver/process_job.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include "batch_driver/cloud_files.h"
#include "batch_driver/dispatch.h"
#include "batch_driver/job_file.h"
#include "files/file_functions.h"
#include "icons/folder_overlay.h"
#include "logging/log.h"
#include "metadata/capabilities.h"
#include "metadata/exif_thumbnail.h"
#include "platform/machine.h"
#include "settings/high_level_settings.h"
#include "text/conversions.h"
#include "text/format.h"
#include "text/paths.h"
#include "text/tag_list.h"

namespace quill_box::batch_processor {

using action_types::actions;
using logging::level;
using platform::item_kind;

namespace {

constexpr std::chrono::milliseconds pause_poll(50);
constexpr int lowest_percent = 7;
constexpr int highest_percent = 96;
constexpr std::uint32_t thumbnail_size = 256;

class apartment {
 public:
  apartment() {
    // A thread that has an apartment already is fine too.
    static_cast<void>(platform::current().processes.enter_apartment());
  }
  ~apartment() { platform::current().processes.leave_apartment(); }
  apartment(const apartment&) = delete;
  apartment& operator=(const apartment&) = delete;
};

// The state of one run beyond the context.
struct run_state {
  text::split_once parameters;
  std::wstring item;  ///< the current one; what failures are reported against
  int index = 0;      ///< 1-based; 0 until the job is loaded
  int error_count = 0;
  std::vector<int> changed;  ///< indices of changed files, whose time is moved once, at the end
};

// From how many items on the window opens.
int display_threshold(actions action) {
  switch (action) {
    case actions::auto_tag:
    case actions::wipe_all_people:
      return 0;
    case actions::recognize_faces:
      return 2;
    case actions::run_context_menu_command:
      return 10;
    default:
      return 20;
  }
}

void show_display_if_large(const processing_context& context) {
  if (context.item_count < display_threshold(context.action)) return;
  const bool write_people_tags = high_level_settings::settings_instance().write_people_tags();
  context.callbacks->set_status_text(
      action_types::progress_status_text(context.action, context.item_count, write_people_tags));
  context.callbacks->bring_to_front();
}

void show_item_progress(const processing_context& context, const run_state& state) {
  const auto percent = static_cast<int>(state.index * 100.0 / context.item_count);
  context.callbacks->set_progress(std::clamp(percent, lowest_percent, highest_percent));
}

void show_item_detail(const processing_context& context, const run_state& state) {
  if (context.action != actions::recognize_faces && context.action != actions::auto_tag) return;
  const wchar_t* noun = context.action == actions::recognize_faces ? L"Photo" : L"File";
  context.callbacks->set_detail_text(
      text::format(L"{} {} of {} - {}", noun, state.index, context.item_count, paths::file_name(state.item)));
}

std::wstring item_at(const job_record& job, int index) { return job.files[static_cast<std::size_t>(index) - 1]; }

void report_unexpected(const processing_context& context, const run_state& state) {
  logging::log(level::error, "Error processing {}. Unexpected action requested", state.item);
  context.callbacks->report_unexpected_action();
}

bool is_capable(actions action, std::wstring_view extension) {
  const bool rating = action == actions::set_rating || action == actions::remove_rating;
  return rating ? metadata::is_rating_capable(extension) : metadata::is_tag_capable(extension);
}

// What follows the action itself: the shell hears of the item, and a changed file is prepared to look changed.
void refresh_item(actions action, run_state& state, dispatched done, item_kind kind) {
  const std::wstring& item = state.item;
  platform::machine& machine = platform::current();
  machine.shell.notify(platform::shell_event::update_item, platform::shell_flush::path_and_return, item);
  if (action > actions::update_tags) return;
  if (kind == item_kind::directory) {
    icons::folder_overlay(item);
    return;
  }
  if (done == dispatched::taken_up && is_capable(action, paths::extension(item))) {
    state.changed.push_back(state.index);
    metadata::drop_embedded_exif_thumbnail(item);
  }
  // The old thumbnail stays where this fails; the item is processed all the same.
  static_cast<void>(machine.shell.renew_thumbnail(item, thumbnail_size));
}

void process_item(processing_context& context, run_state& state) {
  const std::wstring& item = state.item;
  // A failure is not an error here: the item may be no path at all, and its action meets whatever is wrong.
  const auto found = platform::current().files.kind(item);
  if (found && *found == item_kind::cloud_placeholder) fetch_cloud_file(item);
  const dispatched done =
      dispatch_action(context, item, state.parameters, found ? std::optional(*found) : std::nullopt);
  if (done == dispatched::to_nobody) report_unexpected(context, state);
  // Commands name no files.
  if (context.action == actions::run_context_menu_command) return;
  // What an action passed over is still what was found above. Anything else may have been moved away.
  const auto kind = done == dispatched::passed_over ? files::kind_if_exists(item, found) : files::kind_if_exists(item);
  if (kind) refresh_item(context.action, state, done, *kind);
}

void report_item_failure(processing_context& context, run_state& state, const std::exception& failure) {
  ++state.error_count;
  const std::string message = failure.what();
  if (context.suppressed_errors.contains(message)) {
    logging::log(level::info, "Suppressed the error processing file {} Details: {}", state.item, message);
    return;
  }
  logging::log(level::error, "Error processing {} Details: {}", state.item, message);
  if (context.callbacks->report_error(state.item, text::wide_from_utf8(message)))
    context.suppressed_errors[message] = true;
}

void process_item_guarded(processing_context& context, run_state& state) {
  try {
    process_item(context, state);
  } catch (const autotagger_exception& failure) {
    ++state.error_count;
    logging::log(level::error, "Error processing file {} Details: {}", state.item, failure.what());
    context.callbacks->report_autotag_components_missing();
  } catch (const std::exception& failure) {
    report_item_failure(context, state, failure);
  }
}

void walk_items(processing_context& context, const job_record& job, run_state& state) {
  for (state.index = 1; state.index <= context.item_count && !context.callbacks->is_cancelled();) {
    if (context.callbacks->is_paused()) {
      platform::current().clock.sleep(pause_poll);
      continue;
    }
    show_item_progress(context, state);
    state.item = item_at(job, state.index);
    show_item_detail(context, state);
    process_item_guarded(context, state);
    ++state.index;
  }
}

void touch(const std::wstring& path) {
  platform::machine& machine = platform::current();
  auto file =
      machine.files.open(path, {platform::access::write_attributes, platform::share::read | platform::share::write});
  if (!file) return;
  // The time is a courtesy to the shell's caches: without it the file is changed all the same.
  static_cast<void>((*file)->set_last_write_time(machine.clock.now()));
}

// Once for the whole batch: the changed files' times move, then the shell hears of files and folders.
void refresh_changed_files(processing_context& context, const job_record& job, const std::vector<int>& changed) {
  if (changed.empty()) return;
  platform::shell& shell = platform::current().shell;
  std::optional<std::wstring> last_folder;
  for (const int index : changed) {
    const std::wstring path = item_at(job, index);
    touch(path);
    const std::wstring_view folder = paths::parent(path);
    // Most files of a job stand beside each other.
    if (folder != last_folder) context.changed_folders.emplace(folder);
    last_folder = std::wstring(folder);
  }
  for (const int index : changed) {
    shell.notify(platform::shell_event::update_item, platform::shell_flush::path_and_return, item_at(job, index));
  }
  for (const std::wstring& folder : context.changed_folders) {
    shell.notify(platform::shell_event::update_directory, platform::shell_flush::path_and_wait, folder);
  }
}

void run_job(processing_context& context, run_state& state) {
  // Destroyed when this function is left, by an exception too: the job file is gone when a failure is shown.
  job_record job;
  std::wstring path = context.job_path;
  load_job(job, std::move(path), context.delete_job_file);
  context.action = action_types::action_from_string(job.action_type);
  state.parameters = text::split_once(job.action_parameters);
  context.item_count = static_cast<int>(job.files.size());
  show_display_if_large(context);
  walk_items(context, job, state);
  refresh_changed_files(context, job, state.changed);
}

}  // namespace

void process_job(processing_context& context) {
  const apartment scope;
  run_state state;
  try {
    run_job(context, state);
  } catch (const std::exception& failure) {
    logging::log(level::error, "Error processing file {} Details: {}", state.item, failure.what());
    // There is no item left whose failure could be kept quiet.
    static_cast<void>(context.callbacks->report_error(state.item, text::wide_from_utf8(failure.what())));
  } catch (...) {
    logging::log(level::error, "Error processing file {}", state.item);
    static_cast<void>(context.callbacks->report_error(state.item, L"Unknown error"));
  }
  // A job that failed to load leaves -1 here: nobody reads that as a count.
  context.item_count = state.index - 1;
  context.error_count = state.error_count;
}

}  // namespace quill_box::batch_processor
