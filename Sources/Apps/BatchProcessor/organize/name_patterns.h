// The patterns that name and place a photo by its own values.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quill_box::organize {

/// The values of one photo; any may be empty.
struct photo_fields {
  std::wstring date;      ///< of the day that it was taken, as 2026-03-01
  std::wstring location;  ///< city, state and country, joined
  std::wstring country;
  std::wstring state;
  std::wstring city;
  std::wstring people;  ///< names, joined
  std::wstring stem;
  std::wstring extension;  ///< with its dot; no token has it
};

/// A token with the text in front of it. Views into the pattern.
struct pattern_segment {
  std::wstring_view literal;
  std::wstring_view token;  ///< without its angle brackets; empty in the last segment

  bool operator==(const pattern_segment&) const = default;
};

/// Never empty: the last segment has the text behind the last token. There is no escape for angle brackets.
[[nodiscard]] std::vector<pattern_segment> parse_pattern(std::wstring_view pattern);

/// A token without a value takes the text in front of it away with it; the first and the last literal always stay.
[[nodiscard]] std::wstring render_pattern(std::wstring_view pattern, const photo_fields& fields);

/// "Anna", "Anna and Ben", "Anna, Ben and Carl", "Anna, Ben and 2 others".
[[nodiscard]] std::wstring join_people(std::span<const std::wstring> names);

}  // namespace quill_box::organize
