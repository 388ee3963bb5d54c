// The photo scheme of organize_folder: photos are renamed and placed by their own dates, places and people.
#pragma once

#include <string>
#include <vector>

#include "batch_driver/processing_context.h"

namespace quill_box::organize {

/// Organizes the photos that lie directly in the folder by the two patterns of the settings. A photo's sidecars follow
/// it. What was moved stands in the folder's undo journal afterwards. Raises an exceptions::formatted_runtime_error for
/// what is no folder, for a placement on a drive that isn't there, and at the end when photos could not be organized,
/// with a count for each cause.
void organize_photos(batch_processor::processing_context& context, const std::wstring& folder);

/// The sidecars of a photo that are there, by "name.ext" and "name.jpg.ext" for each sidecar extension in turn.
[[nodiscard]] std::vector<std::wstring> find_sidecars(const std::wstring& photo);

}  // namespace quill_box::organize
