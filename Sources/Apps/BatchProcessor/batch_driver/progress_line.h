#pragma once

#include <string>

namespace quill_box::batch_processor {

/// What a progress line tells. The texts may hold anything: what could drive the terminal is replaced.
struct progress_view {
  int percent = 0;
  bool paused = false;
  bool keys_are_read = false;  ///< somebody can press p
  std::wstring status;
  std::wstring detail;
};

/// "[=====     ]  52%  Processing 40 files  Photo 3 of 9 - a.jpg  p pauses, Ctrl-C cancels", cut to one column less
/// than `columns`. What the keys do is left out where it doesn't fit whole; "paused" stands behind the percent while it
/// is.
[[nodiscard]] std::wstring progress_line(const progress_view& view, int columns);

}  // namespace quill_box::batch_processor
