#include "batch_driver/entry.h"

#include <string_view>

#include "batch_driver/console_progress_and_processor.h"
#include "logging/log.h"
#include "platform/machine.h"
#include "shell_companions/completion_toast.h"
#include "shell_companions/search_index_prompt.h"

namespace quill_box::batch_processor {

using logging::level;

namespace {

constexpr std::wstring_view app_user_model_id = L"LarkspurForge.TesselWorksKit";
constexpr std::wstring_view add_index_scope_switch = L"--add-index-scope";
constexpr std::wstring_view add_index_scope_elevated_switch = L"--add-index-scope-elevated";

// The width of a pointer on every machine that the program is built for. The line names it twice and never the real
// processor: readers of the log know it that way.
constexpr int pointer_bits = 64;

void log_package_identity(std::uint32_t length) {
  std::wstring name = platform::current().processes.package_full_name(length).name;
  if (name.ends_with(L'\0')) name.pop_back();
  logging::log(level::error, "CRITICAL: Process is running with PACKAGE IDENTITY: {}", name);
  logging::log(level::error,
               "Registry writes to HKCU will be VIRTUALIZED (redirected to private hive) and NOT visible to "
               "Explorer.");
}

// A process without package identity gets the family's model ID. One with identity keeps its own, and the log says
// why its registry writes go nowhere.
void fix_shell_identity() {
  platform::processes& processes = platform::current().processes;
  if (processes.package_full_name(0).code == platform::win32_error::appmodel_no_package) {
    // Without the ID the windows group apart on the taskbar, and nothing else.
    static_cast<void>(processes.set_app_user_model_id(std::wstring(app_user_model_id)));
  }
  const platform::package_name_answer answer = processes.package_full_name(0);
  if (answer.code != platform::win32_error::appmodel_no_package) log_package_identity(answer.length);
}

int run_add_index_mode(const std::wstring& mode) {
  logging::log(level::error, "Adding folders to the search index is not built into this version: {}", mode);
  return 1;
}

// Callers may hand the path in quotes.
std::wstring without_quotes(const std::wstring& path) {
  constexpr const wchar_t* quotes = L"\"'";
  const std::size_t first = path.find_first_not_of(quotes);
  if (first == std::wstring::npos) return {};
  return path.substr(first, path.find_last_not_of(quotes) - first + 1);
}

// Any word that holds "no" keeps the file.
bool is_keep_marker(const std::wstring& argument) { return argument.find(L"no") != std::wstring::npos; }

int run_job_mode(const std::vector<std::wstring>& arguments) {
  console_progress_and_processor progress;
  progress.job_path = without_quotes(arguments[1]);
  progress.delete_job_file = arguments.size() <= 2 || !is_keep_marker(arguments[2]);
  progress.create();
  progress.message_loop();
  // After a cancel the worker has as a rule published nothing yet: such a run has no toast and no prompt.
  const run_results results = progress.results();
  toast_utilities::show_completion_toast_as_needed(results.action, results.processed_count, results.error_count,
                                                   results.unidentified_face_count);
  search_index_prompt::check_changed_folders(results.action, results.changed_folders);
  return 0;
}

}  // namespace

int run(const std::vector<std::wstring>& arguments) {
  logging::logger()->make_log_directory_and_open(L"", L"Processor", L"Quill Box");
  logging::log(level::info, "BatchProcessor started. Process Architecture: x{} ({}-bit)", pointer_bits, pointer_bits);
  fix_shell_identity();
  if (arguments.size() < 2) {
    logging::log(level::error, "Missing paramters...");
    return 0;
  }
  const std::wstring& mode = arguments[1];
  if (mode == add_index_scope_switch || mode == add_index_scope_elevated_switch) return run_add_index_mode(mode);
  return run_job_mode(arguments);
}

}  // namespace quill_box::batch_processor
