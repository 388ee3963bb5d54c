// The action organize_undo: everything that the last organize run moved goes back.
#pragma once

#include <string>

#include "batch_driver/processing_context.h"

namespace quill_box::organize {

/// Puts the files of the folder's undo journal back under their old names, then removes the journal and the folders
/// that the run created, as far as they are empty. A cancelled undo keeps the rest of the journal. Raises an
/// exceptions::formatted_runtime_error without a journal, and at the end when files could not be put back, and what
/// read_journal raises.
void undo_organize(batch_processor::processing_context& context, const std::wstring& folder);

}  // namespace quill_box::organize
