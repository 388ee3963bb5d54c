#include "batch_driver/progress_line.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "text/control_characters.h"
#include "text/display_columns.h"
#include "text/format.h"

namespace quill_box::batch_processor {

namespace {

constexpr std::size_t bar_width = 24;
constexpr std::wstring_view paused_hint = L"  paused, press p to go on";
constexpr std::wstring_view keys_hint = L"  p pauses, Ctrl-C cancels";

void append_text(std::wstring& line, std::wstring_view text) {
  if (!text.empty()) line += text::format(L"  {}", text::without_control_characters(text, text::line_feeds::replaced));
}

}  // namespace

std::wstring progress_line(const progress_view& view, int columns) {
  const std::size_t filled = static_cast<std::size_t>(std::clamp(view.percent, 0, 100)) * bar_width / 100;
  std::wstring line =
      text::format(L"[{}{}] {:3}%", std::wstring(filled, L'='), std::wstring(bar_width - filled, L' '), view.percent);
  if (view.paused) line += paused_hint;
  append_text(line, view.status);
  append_text(line, view.detail);
  // The last column stays free: some terminals wrap when it is filled.
  const auto room = static_cast<std::size_t>(std::max(columns - 1, 0));
  if (view.keys_are_read && !view.paused && text::display_columns(line) + keys_hint.size() <= room) line += keys_hint;
  line.resize(text::display_prefix(line, room).size());
  return line;
}

}  // namespace quill_box::batch_processor
