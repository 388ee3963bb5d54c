// The action organize_folder: the files that lie directly in one folder go into subfolders.
#pragma once

#include <string>

#include "batch_driver/processing_context.h"

namespace quill_box::organize {

/// `scheme` is "by_type", a subfolder for each category of file, or "photos_pattern". What was moved stands in the
/// folder's undo journal afterwards. Raises an exceptions::formatted_runtime_error for an unknown scheme, for what is
/// no folder, and at the end when files could not be moved; the other files are moved all the same.
void organize_folder(batch_processor::processing_context& context, const std::wstring& folder,
                     const std::wstring& scheme);

}  // namespace quill_box::organize
