#include "text/display_columns.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "text/conversions.h"

namespace text {

namespace {

struct column_range {
  std::uint32_t first;
  std::uint32_t last;
  std::uint8_t columns;
};

// What isn't one column wide, ascending: the marks of UnicodeData.txt (categories Mn and Me), the characters without
// width, and the vowels and final consonants that join a Hangul syllable take none; W and F of EastAsianWidth.txt two.
constexpr column_range ranges[] = {
#include "text/column_ranges.inc"
};

std::size_t columns_of(char32_t character) {
  if (character < ranges[0].first) return 1;
  const auto* range = std::lower_bound(std::begin(ranges), std::end(ranges), character,
                                       [](const column_range& r, char32_t c) { return r.last < c; });
  return range != std::end(ranges) && character >= range->first ? range->columns : 1;
}

}  // namespace

std::size_t display_columns(std::wstring_view wide) {
  std::size_t columns = 0;
  while (!wide.empty())
    columns += columns_of(take_wide(wide));
  return columns;
}

std::wstring_view display_prefix(std::wstring_view wide, std::size_t columns) {
  std::wstring_view rest = wide;
  std::size_t length = 0;
  while (!rest.empty()) {
    const std::size_t needed = columns_of(take_wide(rest));
    if (needed > columns) break;
    columns -= needed;
    length = wide.size() - rest.size();
  }
  return wide.substr(0, length);
}

}  // namespace text
