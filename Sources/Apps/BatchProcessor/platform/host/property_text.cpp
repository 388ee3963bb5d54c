#include "platform/host/property_text.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <vector>

#include "platform/host/star_scale.h"
#include "platform/property_keys.h"
#include "text/conversions.h"
#include "text/format.h"

namespace platform::host {

namespace {

constexpr std::string_view unsigned_mark = "ui4:";
constexpr std::string_view signed_mark = "i4:";
constexpr std::string_view short_mark = "ui2:";
constexpr std::string_view text_mark = "lpwstr:";
constexpr std::string_view list_mark = "lpwstrs:";
constexpr std::string_view decimal_mark = "r8:";
constexpr std::string_view time_mark = "filetime:";
constexpr std::string_view decimals_mark = "r8s:";

template <class Number>
std::optional<Number> number_in(std::string_view text) {
  Number number{};
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure != std::errc() || end != text.data() + text.size()) return {};
  return number;
}

template <class Number>
property_value number_property(std::string_view text) {
  const std::optional<Number> number = number_in<Number>(text);
  return number ? property_value(*number) : other_type{};
}

property_value list_property(std::string_view text) {
  std::vector<std::wstring> list;
  while (!text.empty()) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) return other_type{};
    const std::optional<std::size_t> size = number_in<std::size_t>(text.substr(0, colon));
    text.remove_prefix(colon + 1);
    if (!size || *size >= text.size() || text[*size] != ',') return other_type{};
    list.push_back(text::wide_from_utf8(text.substr(0, *size)));
    text.remove_prefix(*size + 1);
  }
  return list;
}

property_value time_property(std::string_view text) {
  const auto time = number_in<file_time>(text);
  return time ? property_value(time_value{*time}) : other_type{};
}

property_value decimals_property(std::string_view text) {
  std::vector<double> list;
  while (!text.empty()) {
    const std::size_t comma = text.find(',');
    const std::optional<double> number = number_in<double>(text.substr(0, comma));
    if (!number || comma == std::string_view::npos) return other_type{};
    list.push_back(*number);
    text.remove_prefix(comma + 1);
  }
  return list;
}

// As many digits as it takes to read the same number back.
std::string decimals_text(const std::vector<double>& list) {
  std::string text(decimals_mark);
  for (const double number : list)
    text += text::format("{},", number);
  return text;
}

std::string list_text(const std::vector<std::wstring>& list) {
  std::string text(list_mark);
  for (const std::wstring& item : list) {
    const std::string utf8 = text::utf8_from_wide(item);
    text += text::format("{}:{},", utf8.size(), utf8);
  }
  return text;
}

std::optional<std::uint32_t> percent_of(const property_value& value) {
  if (const auto* const number = std::get_if<std::uint32_t>(&value)) return *number;
  if (const auto* const number = std::get_if<std::int32_t>(&value); number != nullptr && *number >= 0) {
    return static_cast<std::uint32_t>(*number);
  }
  return {};
}

std::optional<std::string> rating_text(const property_value& value) {
  const std::optional<std::uint32_t> percent = percent_of(value);
  if (!percent) return {};
  // Beyond the scale there are no stars to show.
  const std::uint32_t stars = stars_of_percent(*percent).value_or(0);
  if (stars == 0) return {};
  return std::to_string(2 * stars);
}

std::optional<std::string> tags_text(const property_value& value) {
  const auto* const tags = std::get_if<std::vector<std::wstring>>(&value);
  if (tags == nullptr || tags->empty()) return {};
  std::string text;
  for (const std::wstring& tag : *tags) {
    if (!text.empty()) text += ',';
    text::append_utf8(text, tag);
  }
  return text;
}

std::string_view without_blanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

property_value tags_from(std::string_view text) {
  std::vector<std::wstring> tags;
  while (!text.empty()) {
    const std::size_t comma = std::min(text.find(','), text.size());
    const std::string_view tag = without_blanks(text.substr(0, comma));
    if (!tag.empty()) tags.push_back(text::wide_from_utf8(tag));
    text.remove_prefix(std::min(text.size(), comma + 1));
  }
  return tags.empty() ? property_value() : property_value(std::move(tags));
}

property_value rating_from(std::string_view text) {
  // Half stars count as whole ones.
  const std::size_t stars = (number_in<std::uint8_t>(without_blanks(text)).value_or(0) + std::size_t{1}) / 2;
  if (stars == 0 || stars >= star_scale.size()) return {};
  return star_scale[stars].written;
}

}  // namespace

std::string attribute_name(const property_key& key) {
  const guid& format = key.format;
  std::string name = text::format("user.quill_box.{{{:08X}-{:04X}-{:04X}-", format.data1, format.data2, format.data3);
  for (std::size_t i = 0; i < std::size(format.data4); ++i) {
    name += text::format("{}{:02X}", i == 2 ? "-" : "", format.data4[i]);
  }
  return name + text::format("}}.{}", key.id);
}

std::optional<std::string> attribute_text(const property_value& value) {
  if (const auto* const number = std::get_if<std::uint32_t>(&value))
    return text::format("{}{}", unsigned_mark, *number);
  if (const auto* const number = std::get_if<std::int32_t>(&value)) return text::format("{}{}", signed_mark, *number);
  if (const auto* const number = std::get_if<std::uint16_t>(&value)) return text::format("{}{}", short_mark, *number);
  if (const auto* const text = std::get_if<std::wstring>(&value))
    return std::string(text_mark) + text::utf8_from_wide(*text);
  if (const auto* const number = std::get_if<double>(&value)) return text::format("{}{}", decimal_mark, *number);
  if (const auto* const time = std::get_if<time_value>(&value)) return text::format("{}{}", time_mark, time->time);
  if (const auto* const list = std::get_if<std::vector<double>>(&value); list != nullptr && !list->empty()) {
    return decimals_text(*list);
  }
  const auto* const list = std::get_if<std::vector<std::wstring>>(&value);
  if (list == nullptr || list->empty()) return {};
  return list_text(*list);
}

property_value property_from_text(std::string_view text) {
  const auto behind = [text](std::string_view mark) { return text.substr(mark.size()); };
  if (text.starts_with(unsigned_mark)) return number_property<std::uint32_t>(behind(unsigned_mark));
  if (text.starts_with(signed_mark)) return number_property<std::int32_t>(behind(signed_mark));
  if (text.starts_with(short_mark)) return number_property<std::uint16_t>(behind(short_mark));
  if (text.starts_with(text_mark)) return text::wide_from_utf8(behind(text_mark));
  if (text.starts_with(list_mark)) return list_property(behind(list_mark));
  if (text.starts_with(decimal_mark)) return number_property<double>(behind(decimal_mark));
  if (text.starts_with(time_mark)) return time_property(behind(time_mark));
  if (text.starts_with(decimals_mark)) return decimals_property(behind(decimals_mark));
  return other_type{};
}

const char* mirror_name(const property_key& key) {
  if (key == keywords_key) return "user.xdg.tags";
  if (key == rating_key) return "user.baloo.rating";
  return nullptr;
}

std::optional<std::string> mirror_text(const property_key& key, const property_value& value) {
  return key == keywords_key ? tags_text(value) : rating_text(value);
}

property_value property_from_mirror(const property_key& key, std::string_view text) {
  return key == keywords_key ? tags_from(text) : rating_from(text);
}

bool is_mirror_of(const property_key& key, const property_value& value, const std::optional<std::string>& mirror) {
  const std::optional<std::string> expected = mirror_text(key, value);
  if (!expected || !mirror) return !expected && !mirror;
  return *mirror == *expected || property_from_mirror(key, *mirror) == property_from_mirror(key, *expected);
}

}  // namespace platform::host
