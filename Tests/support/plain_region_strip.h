// The removal of region blocks step by step on one string, without regard to speed: what the program's own is held to.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace support {

/// Where the text goes on behind the cut.
inline std::size_t erase_with_line(std::string& text, std::size_t start, std::size_t end) {
  while (start > 0 && (text[start - 1] == ' ' || text[start - 1] == '\t'))
    --start;
  if (start > 0 && text[start - 1] == '\n') --start;
  if (end < text.size() && text[end] == '\n') ++end;
  text.erase(start, end - start);
  return start;
}

inline void erase_own_blocks(std::string& text) {
  constexpr std::string_view end_tag = "</rdf:Description>";
  for (;;) {
    const std::size_t marker = text.find("qzxx:managed=\"true\"");
    if (marker == std::string::npos) return;
    const std::size_t start = text.rfind("<rdf:Description", marker);
    const std::size_t end = text.find(end_tag, marker);
    if (start == std::string::npos || end == std::string::npos) return;
    static_cast<void>(erase_with_line(text, start, end + end_tag.size()));
  }
}

inline void erase_elements(std::string& text, const std::string& name) {
  const std::string opening = "<" + name;
  const std::string closing = "</" + name + ">";
  for (std::size_t at = 0;;) {
    const std::size_t start = text.find(opening, at);
    if (start == std::string::npos || start + opening.size() >= text.size()) return;
    at = start + opening.size();
    if (std::string_view("\t\n\r />").find(text[at]) == std::string_view::npos) continue;
    const std::size_t close = text.find('>', at);
    if (close == std::string::npos) return;
    std::size_t end = close + 1;
    if (text[close - 1] != '/') {
      const std::size_t closed = text.find(closing, end);
      if (closed == std::string::npos) return;
      end = closed + closing.size();
    }
    at = erase_with_line(text, start, end);
  }
}

inline std::string plainly_stripped(std::string text) {
  erase_own_blocks(text);
  erase_elements(text, "MP:RegionInfo");
  erase_elements(text, "mwg-rs:Regions");
  return text;
}

}  // namespace support
