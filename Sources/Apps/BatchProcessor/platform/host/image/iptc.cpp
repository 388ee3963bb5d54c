#include "platform/host/image/iptc.h"

#include <algorithm>
#include <cstdint>

#include "platform/host/byte_order.h"
#include "text/conversions.h"

namespace platform::host::image {

namespace {

constexpr char dataset_marker = '\x1c';
constexpr std::uint16_t coded_character_set = 0x015a;  // 1:90
constexpr std::uint16_t keyword = 0x0219;              // 2:25
constexpr std::string_view utf8_declaration = "\x1b%G";
constexpr std::size_t longest_short_value = 0x7fff;

struct dataset {
  std::uint16_t id = 0;    // record and number
  std::string_view bytes;  // the whole dataset
  std::string_view value;
};

// The datasets; `tail` is what stands behind them. Nothing where a dataset is cut or the tail isn't padding.
struct dataset_list {
  std::vector<dataset> datasets;
  std::string_view tail;
};

std::optional<dataset_list> list_datasets(std::string_view block) {
  dataset_list list;
  std::size_t at = 0;
  while (at < block.size() && block[at] == dataset_marker) {
    std::size_t value = at + 5;
    if (value > block.size()) return std::nullopt;
    std::uint64_t size = get_u16(block, at + 3, byte_order::big);
    if (size > longest_short_value) {  // the length of the length follows
      const std::size_t width = size & longest_short_value;
      if (width > 4 || width > block.size() - value) return std::nullopt;
      size = 0;
      for (std::size_t i = 0; i < width; ++i)
        size = (size << 8) | static_cast<unsigned char>(block[value + i]);
      value += width;
    }
    if (size > block.size() - value) return std::nullopt;
    const std::size_t end = value + size;
    list.datasets.push_back(
        {get_u16(block, at + 1, byte_order::big), block.substr(at, end - at), block.substr(value, size)});
    at = end;
  }
  list.tail = block.substr(at);
  if (list.tail.find_first_not_of('\0') != std::string_view::npos) return std::nullopt;
  return list;
}

bool is_ascii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool is_utf8(std::string_view text) { return text::utf8_from_wide(text::wide_from_utf8(text)) == text; }

// Previews and rasters are pictures, the version is a number.
bool is_text(std::uint16_t id) {
  const int number = id & 0xff;
  return id >> 8 == 2 && number != 0 && number != 125 && (number < 200 || number > 202);
}

enum class character_set { utf8, latin1, other };

character_set declared_or_guessed(const std::vector<dataset>& datasets) {
  bool all_utf8 = true;
  bool all_ascii = true;
  for (const dataset& set : datasets) {
    if (set.id == coded_character_set) {
      return set.value == utf8_declaration ? character_set::utf8 : character_set::other;
    }
    if (!is_text(set.id)) continue;
    all_utf8 = all_utf8 && is_utf8(set.value);
    all_ascii = all_ascii && is_ascii(set.value);
  }
  return all_utf8 && !all_ascii ? character_set::utf8 : character_set::latin1;
}

bool fits(std::span<const std::wstring> keywords, wchar_t greatest) {
  return std::all_of(keywords.begin(), keywords.end(), [greatest](const std::wstring& text) {
    return std::all_of(text.begin(), text.end(), [greatest](wchar_t c) { return c <= greatest; });
  });
}

std::string encoded(std::wstring_view text, character_set set) {
  if (set == character_set::utf8) return text::utf8_from_wide(text);
  const wchar_t greatest = set == character_set::latin1 ? L'\xff' : L'\x7f';
  std::string bytes;
  for (const wchar_t c : text)
    bytes.push_back(c <= greatest ? static_cast<char>(c) : '?');
  return bytes;
}

std::wstring decoded(std::string_view bytes, character_set set) {
  if (set == character_set::utf8) return text::wide_from_utf8(bytes);
  std::wstring text;
  for (const char c : bytes)
    text.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
  return text;
}

// Whether the keywords need another character set than the Latin-1 of a block that declares none, and may have it.
// Their Latin-1 must not look like UTF-8 either, since it would be read as that.
bool turns_to_utf8(const std::vector<dataset>& others, std::span<const std::wstring> keywords) {
  const bool free_to_turn = std::all_of(others.begin(), others.end(), [](const dataset& data) {
    return data.id != coded_character_set && (!is_text(data.id) || is_ascii(data.value));
  });
  if (!free_to_turn) return false;
  if (!fits(keywords, L'\xff')) return true;
  std::string latin1;
  for (const std::wstring& text : keywords)
    latin1 += encoded(text, character_set::latin1) + '\n';
  return !is_ascii(latin1) && is_utf8(latin1);
}

void append_dataset(std::string& block, std::uint16_t id, std::string_view value) {
  block.push_back(dataset_marker);
  append_u16(block, id, byte_order::big);
  if (value.size() <= longest_short_value) {
    append_u16(block, static_cast<std::uint16_t>(value.size()), byte_order::big);
  } else {
    append_u16(block, 0x8004, byte_order::big);
    append_u32(block, static_cast<std::uint32_t>(value.size()), byte_order::big);
  }
  block += value;
}

}  // namespace

bool is_iptc_block(std::string_view block) { return list_datasets(block).has_value(); }

std::optional<std::vector<std::wstring>> iptc_keywords(std::string_view block) {
  const std::optional<dataset_list> list = list_datasets(block);
  if (!list) return std::nullopt;
  const character_set set = declared_or_guessed(list->datasets);
  std::vector<std::wstring> keywords;
  for (const dataset& data : list->datasets) {
    if (data.id == keyword && !data.value.empty()) keywords.push_back(decoded(data.value, set));
  }
  if (keywords.empty()) return std::nullopt;
  return keywords;
}

std::vector<std::wstring> iptc_keywords_beyond(std::string_view block, std::span<const std::wstring> known) {
  const std::optional<dataset_list> list = list_datasets(block);
  if (!list) return {};
  constexpr std::size_t longest_keyword = 64;
  const character_set set = declared_or_guessed(list->datasets);
  std::vector<std::wstring> beyond;
  for (const dataset& data : list->datasets) {
    if (data.id != keyword || data.value.empty()) continue;
    const bool is_known = std::ranges::any_of(known, [&](const std::wstring& other) {
      const std::string held = encoded(other, set);
      return held == data.value || (data.value.size() == longest_keyword && held.starts_with(data.value));
    });
    if (!is_known) beyond.push_back(decoded(data.value, set));
  }
  return beyond;
}

std::optional<std::string> iptc_value(std::string_view block, std::uint16_t id) {
  const std::optional<dataset_list> list = list_datasets(block);
  if (!list) return std::nullopt;
  const auto found =
      std::find_if(list->datasets.begin(), list->datasets.end(), [id](const dataset& data) { return data.id == id; });
  if (found == list->datasets.end()) return std::nullopt;
  return std::string(found->value);
}

std::string with_iptc_keywords(std::string_view block, std::span<const std::wstring> keywords) {
  const std::optional<dataset_list> list = list_datasets(block);
  if (!list) return std::string(block);
  const auto is_keyword = [](const dataset& data) { return data.id == keyword; };
  std::vector<dataset> others = list->datasets;
  const auto first_keyword = std::find_if(others.begin(), others.end(), is_keyword);
  const bool has_keywords = first_keyword != others.end();
  const auto keywords_at = first_keyword - others.begin();
  std::erase_if(others, is_keyword);
  // In place of the first keyword, else where the order of numbers has them.
  const auto place = has_keywords
                         ? others.begin() + keywords_at
                         : std::find_if(others.begin(), others.end(), [](const dataset& d) { return d.id > keyword; });

  character_set set = declared_or_guessed(others);
  const bool turns = turns_to_utf8(others, keywords);
  if (turns) set = character_set::utf8;
  std::string changed;
  bool declare = turns;
  const auto append_declaration = [&changed, &declare] {
    if (declare) append_dataset(changed, coded_character_set, utf8_declaration);
    declare = false;
  };
  for (auto it = others.begin();; ++it) {
    if (it == place) {
      append_declaration();
      for (const std::wstring& text : keywords)
        append_dataset(changed, keyword, encoded(text, set));
    }
    if (it == others.end()) break;
    if (it->id > coded_character_set) append_declaration();
    changed += it->bytes;
  }
  changed += list->tail;
  return changed;
}

}  // namespace platform::host::image
