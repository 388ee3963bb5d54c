#include "support/simulated_machine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cassert>

#include "files/family_folders.h"
#include "logging/log.h"
#include "text/conversions.h"
#include "text/letter_case.h"
#include "text/paths.h"

namespace support {

namespace {

// The line behind time, process and thread, none for a line without them.
std::string_view without_prefix(std::string_view line) {
  if (!line.starts_with('[') || line.find("] [P:") == std::string_view::npos) return {};
  const std::size_t thread = line.find(" T:");
  const std::size_t level = thread == std::string_view::npos ? thread : line.find("] [", thread);
  return level == std::string_view::npos ? std::string_view() : line.substr(level + 2);
}

// What the process keeps of the machine that it runs on.
void forget_what_was_there() {
  logging::logger()->close();
  files::forget_family_folder();
}

void append_log_lines(std::vector<std::string>& lines, std::string_view content) {
  while (!content.empty()) {
    const std::size_t end = std::min(content.find('\n'), content.size());
    const std::string_view line = content.substr(0, end);
    const std::string_view message = without_prefix(line);
    if (!message.empty() || lines.empty()) {
      lines.emplace_back(message);
    } else {
      lines.back().append(1, '\n').append(line);
    }
    content.remove_prefix(std::min(end + 1, content.size()));
  }
}

}  // namespace

simulated_machine::simulated_machine() {
  make_directory(processes.local_app_data_folder);
  make_directory(paths::parent(processes.executable));
}

std::string simulated_machine::read_file(std::wstring_view path) const { return entry(path).content; }

disk_entry& simulated_machine::entry(std::wstring_view path) const {
  const auto found = disk.find(path);
  assert(found);
  return **found;
}

std::vector<std::string> simulated_machine::log_lines() const {
  std::vector<std::string> lines;
  for (const disk_entry_pointer& entry : disk.below(processes.local_app_data_folder)) {
    if (!entry->is_directory() && text::to_lower(entry->path).ends_with(L".log")) {
      append_log_lines(lines, entry->content);
    }
  }
  return lines;
}

std::vector<std::string> simulated_machine::open_handles() const {
  std::vector<std::string> open;
  for (const std::wstring& path : disk.paths_in_use())
    open.push_back(text::utf8_from_wide(path));
  return open;
}

installed_machine::installed_machine(platform::machine& machine) {
  forget_what_was_there();
  before_ = platform::install(&machine);
}

installed_machine::~installed_machine() {
  forget_what_was_there();
  platform::install(before_);
}

scoped_machine::scoped_machine() : installed_(std::make_unique<installed_machine>(machine)) {}

scoped_machine::~scoped_machine() {
  installed_.reset();
  for (const std::string& path : open_handles())
    ADD_FAILURE() << "A handle on " << path << " was left open.";
}

}  // namespace support
