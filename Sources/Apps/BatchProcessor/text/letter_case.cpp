#include "text/letter_case.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace text {

namespace {

struct lower_case_range {
  std::uint16_t first;
  std::uint16_t last;
  std::uint16_t step;
  std::int32_t distance;  // from upper to lower case
};

// From the simple lower-case mappings of UnicodeData.txt, first to last ascending.
constexpr lower_case_range ranges[] = {
#include "text/lower_case_ranges.inc"
};

// Orders characters as their UTF-16 units stand: those beyond U+FFFF before U+E000, whatever the width of wchar_t.
constexpr std::uint32_t utf16_rank(wchar_t unit) {
  const auto code = static_cast<std::uint32_t>(unit);
  return code >= 0xe000 && code <= 0xffff ? code + 0x110000 : code;
}

constexpr bool is_ascii(wchar_t unit) { return static_cast<std::uint32_t>(unit) < 0x80; }

constexpr wchar_t ascii_to_lower(wchar_t unit) {
  return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit + (L'a' - L'A')) : unit;
}

}  // namespace

wchar_t to_lower(wchar_t unit) {
  if (is_ascii(unit)) return ascii_to_lower(unit);
  const auto code = static_cast<std::uint32_t>(unit);
  const auto* range = std::lower_bound(std::begin(ranges), std::end(ranges), code,
                                       [](const lower_case_range& r, std::uint32_t c) { return r.last < c; });
  if (range == std::end(ranges) || code < range->first || (code - range->first) % range->step != 0) return unit;
  return static_cast<wchar_t>(static_cast<std::int32_t>(code) + range->distance);
}

std::wstring to_lower(std::wstring_view wide) {
  std::wstring lower(wide);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](wchar_t unit) { return is_ascii(unit) ? ascii_to_lower(unit) : to_lower(unit); });
  return lower;
}

int compare_ignoring_case(std::wstring_view a, std::wstring_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    if (a[i] == b[i]) continue;
    const wchar_t lower_a = to_lower(a[i]);
    const wchar_t lower_b = to_lower(b[i]);
    if (lower_a != lower_b) return utf16_rank(lower_a) < utf16_rank(lower_b) ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

bool equal_ignoring_case(std::wstring_view a, std::wstring_view b) {
  return a.size() == b.size() && compare_ignoring_case(a, b) == 0;
}

}  // namespace text
