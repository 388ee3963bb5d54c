#pragma once

#include <span>
#include <string>
#include <string_view>

#include "batch_driver/action_types.h"

namespace quill_box::search_index_prompt {

/// Offers to put those of the folders into the search index that are outside it. This build asks no indexer yet: the
/// call stands where a run has it and does nothing.
void prompt_to_index_folders_as_needed(std::span<const std::wstring> folders, std::wstring_view subject);

/// The check at the end of a run: for the actions whose work serves the search, and unless the settings say
/// otherwise, prompts for the folders that the run changed. A failure is logged and goes no further.
void check_changed_folders(action_types::actions action, std::span<const std::wstring> changed_folders);

}  // namespace quill_box::search_index_prompt
