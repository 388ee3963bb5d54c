#include "text/control_characters.h"

namespace text {

namespace {

constexpr wchar_t replacement = 0xfffd;

constexpr bool is_control(wchar_t c) { return c < 0x20 || (c >= 0x7f && c < 0xa0); }
constexpr bool turns_direction(wchar_t c) { return (c >= 0x202a && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069); }

}  // namespace

std::wstring without_control_characters(std::wstring_view wide, line_feeds feeds) {
  const bool keeps_feeds = feeds == line_feeds::kept;
  std::wstring result;
  result.reserve(wide.size());
  for (std::size_t i = 0; i < wide.size(); ++i) {
    const wchar_t c = wide[i];
    if (keeps_feeds && wide.substr(i).starts_with(L"\r\n")) continue;
    const bool is_kept = keeps_feeds && c == L'\n';
    result.push_back(!is_kept && (is_control(c) || turns_direction(c)) ? replacement : c);
  }
  return result;
}

}  // namespace text
