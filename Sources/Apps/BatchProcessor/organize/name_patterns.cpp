#include "organize/name_patterns.h"

#include <algorithm>
#include <array>

#include "text/format.h"

namespace quill_box::organize {

namespace {

struct token_field {
  std::wstring_view token;
  std::wstring photo_fields::*value;
};

constexpr std::array token_fields = {
    token_field{L"Date", &photo_fields::date},
    token_field{L"Country", &photo_fields::country},
    token_field{L"State", &photo_fields::state},
    token_field{L"City", &photo_fields::city},
    token_field{L"Location", &photo_fields::location},
    token_field{L"People", &photo_fields::people},
    token_field{L"Original Filename", &photo_fields::stem},
};

// Empty for a token of another name.
std::wstring_view value_of(std::wstring_view token, const photo_fields& fields) {
  const auto found = std::find_if(token_fields.begin(), token_fields.end(),
                                  [token](const token_field& row) { return row.token == token; });
  return found == token_fields.end() ? std::wstring_view() : fields.*found->value;
}

}  // namespace

std::vector<pattern_segment> parse_pattern(std::wstring_view pattern) {
  std::vector<pattern_segment> segments;
  for (;;) {
    const std::size_t open = pattern.find(L'<');
    const std::size_t close = open == std::wstring_view::npos ? open : pattern.find(L'>', open);
    if (close == std::wstring_view::npos) break;
    segments.push_back({pattern.substr(0, open), pattern.substr(open + 1, close - open - 1)});
    pattern.remove_prefix(close + 1);
  }
  segments.push_back({pattern, {}});
  return segments;
}

std::wstring render_pattern(std::wstring_view pattern, const photo_fields& fields) {
  const std::vector<pattern_segment> segments = parse_pattern(pattern);
  std::wstring rendered(segments.front().literal);
  bool has_value = false;
  for (std::size_t i = 0; i + 1 < segments.size(); ++i) {
    const std::wstring_view value = value_of(segments[i].token, fields);
    if (value.empty()) continue;
    if (i != 0 && has_value) rendered += segments[i].literal;
    rendered += value;
    has_value = true;
  }
  // A pattern without a token has one segment, first and last at once: its text comes twice. Folders have been named
  // by that, so it stays.
  rendered += segments.back().literal;
  return rendered;
}

std::wstring join_people(std::span<const std::wstring> names) {
  switch (names.size()) {
    case 0:
      return {};
    case 1:
      return names[0];
    case 2:
      return names[0] + L" and " + names[1];
    case 3:
      return names[0] + L", " + names[1] + L" and " + names[2];
    default:
      return text::format(L"{}, {} and {} others", names[0], names[1], names.size() - 2);
  }
}

}  // namespace quill_box::organize
