#pragma once

#include <string>
#include <string_view>

namespace quill_box::batch_processor {

/// "[=====     ]  52%  Processing 40 files  Photo 3 of 9 - a.jpg", cut to `columns`; "paused" stands behind the percent
/// while it is.
[[nodiscard]] std::wstring progress_line(int percent, bool paused, std::wstring_view status, std::wstring_view detail,
                                         int columns);

}  // namespace quill_box::batch_processor
