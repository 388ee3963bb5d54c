#include "batch_driver/progress_line.h"

#include <algorithm>
#include <cstddef>

#include "text/format.h"

namespace quill_box::batch_processor {

namespace {
constexpr std::size_t bar_width = 24;
}

std::wstring progress_line(int percent, bool paused, std::wstring_view status, std::wstring_view detail, int columns) {
  const std::size_t filled = static_cast<std::size_t>(std::clamp(percent, 0, 100)) * bar_width / 100;
  std::wstring line =
      text::format(L"[{}{}] {:3}%", std::wstring(filled, L'='), std::wstring(bar_width - filled, L' '), percent);
  if (paused) line += L"  paused, press p to go on";
  if (!status.empty()) line += text::format(L"  {}", status);
  if (!detail.empty()) line += text::format(L"  {}", detail);
  // Control characters of a file name must not move the cursor.
  std::replace_if(
      line.begin(), line.end(), [](wchar_t c) { return c < L' ' || (c >= 0x7f && c < 0xa0); }, L'?');
  // The last column stays free: some terminals wrap when it is filled.
  const auto room = static_cast<std::size_t>(std::max(columns - 1, 0));
  if (line.size() > room) line.resize(room);
  return line;
}

}  // namespace quill_box::batch_processor
