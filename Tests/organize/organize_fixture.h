// What the tests of the organize actions have in common: a folder, settings, and what a run says and leaves behind.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "batch_driver/processing_context.h"
#include "logging/log.h"
#include "organize/undo_journal.h"
#include "settings/high_level_settings.h"
#include "support/failure_of.h"
#include "support/recording_callbacks.h"
#include "support/simulated_machine.h"

namespace quill_box::organize {

inline const std::wstring folder = LR"(C:\Photos)";
inline const std::wstring journal_file = LR"(C:\Photos\qb_organize_undo.json)";

class organize_test : public testing::Test {
 protected:
  organize_test() {
    high_level_settings::forget_settings_instance();
    logging::logger()->make_log_directory_and_open(L"", L"Processor", L"Quill Box");
    machine.make_directory(folder);
    use_settings("");
    context.callbacks = &callbacks;
  }
  ~organize_test() override { high_level_settings::forget_settings_instance(); }

  /// The members of the section "quill-box".
  void use_settings(const std::string& members) {
    machine.write_file(
        LR"(C:\Users\user\AppData\Local\Larkspur Forge LLC\Tessel Works Kit\High Level Settings\Settings.json)",
        R"({"version":"1.0","apps":[{"app_id":"quill-box","settings":{)" + members + "}}]}");
  }

  void put(std::wstring_view name) { machine.write_file(in_folder(name), "of " + text::utf8_from_wide(name)); }
  void put_all(std::size_t count) {
    for (std::size_t i = 1; i <= count; ++i)
      put(text::format(L"{}.txt", i));
  }
  [[nodiscard]] static std::wstring in_folder(std::wstring_view name) { return folder + L"\\" + std::wstring(name); }

  /// All files below the folder, without the journal, with the folder cut off.
  [[nodiscard]] std::vector<std::wstring> files() const { return entries(0); }
  [[nodiscard]] std::vector<std::wstring> folders() const { return entries(platform::attribute::directory); }

  [[nodiscard]] undo_journal journal() const { return read_journal(journal_file); }
  [[nodiscard]] bool has_journal() const { return machine.exists(journal_file); }

  support::scoped_machine machine;
  support::recording_callbacks callbacks;
  batch_processor::processing_context context;

 private:
  [[nodiscard]] std::vector<std::wstring> entries(std::uint32_t directory_bit) const {
    std::vector<std::wstring> names;
    for (const auto& entry : machine.disk.below(folder)) {
      if ((entry->attributes & platform::attribute::directory) != directory_bit || entry->path == journal_file)
        continue;
      names.push_back(entry->path.substr(folder.size() + 1));
    }
    return names;
  }
};

}  // namespace quill_box::organize
