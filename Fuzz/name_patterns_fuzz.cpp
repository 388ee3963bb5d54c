// Naming patterns: the input has the photo's values, one a line, and the pattern in its last line. What is rendered
// equals what the rules give when they are followed one character at a time.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "organize/name_patterns.h"
#include "text/conversions.h"

namespace {

using quill_box::organize::photo_fields;

void require(bool holds) {
  if (!holds) std::abort();
}

struct plain_segment {
  std::wstring literal;
  std::wstring token;
};

std::vector<plain_segment> plain_parse(const std::wstring& pattern) {
  std::vector<plain_segment> segments(1);
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    std::wstring token;
    std::size_t end = i;
    if (pattern[i] == L'<') {
      for (end = i + 1; end < pattern.size() && pattern[end] != L'>'; ++end)
        token += pattern[end];
    }
    if (pattern[i] == L'<' && end < pattern.size()) {
      segments.back().token = token;
      segments.emplace_back();
      i = end;
    } else {
      segments.back().literal += pattern[i];
    }
  }
  return segments;
}

std::wstring plain_value(const std::wstring& token, const photo_fields& fields) {
  if (token == L"Date") return fields.date;
  if (token == L"Location") return fields.location;
  if (token == L"Country") return fields.country;
  if (token == L"State") return fields.state;
  if (token == L"City") return fields.city;
  if (token == L"People") return fields.people;
  if (token == L"Original Filename") return fields.stem;
  return {};
}

std::wstring plain_render(const std::wstring& pattern, const photo_fields& fields) {
  const std::vector<plain_segment> segments = plain_parse(pattern);
  std::wstring body;
  for (std::size_t i = 0; i + 1 < segments.size(); ++i) {
    const std::wstring value = plain_value(segments[i].token, fields);
    if (!value.empty() && !body.empty()) body += segments[i].literal;
    body += value;
  }
  return segments.front().literal + body + segments.back().literal;
}

// Takes one line off the front.
std::wstring next_line(std::string_view& rest) {
  const std::string_view line = rest.substr(0, rest.find('\n'));
  rest.remove_prefix(line.size() < rest.size() ? line.size() + 1 : rest.size());
  return text::wide_from_utf8(line);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 10'000) return 0;  // following the rules plainly takes time by the square
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  photo_fields fields;
  for (std::wstring photo_fields::*field :
       {&photo_fields::date, &photo_fields::location, &photo_fields::country, &photo_fields::state, &photo_fields::city,
        &photo_fields::people, &photo_fields::stem, &photo_fields::extension})
    fields.*field = next_line(rest);
  const std::wstring pattern = text::wide_from_utf8(rest);

  const auto segments = quill_box::organize::parse_pattern(pattern);
  const std::vector<plain_segment> plain = plain_parse(pattern);
  require(segments.size() == plain.size());
  std::wstring whole;
  for (std::size_t i = 0; i < plain.size(); ++i) {
    require(segments[i].literal == plain[i].literal && segments[i].token == plain[i].token);
    whole += plain[i].literal;
    if (i + 1 < plain.size()) whole += L'<' + plain[i].token + L'>';
  }
  require(whole == pattern);
  require(render_pattern(pattern, fields) == plain_render(pattern, fields));
  return 0;
}
