#include "metadata/xmp_sidecar.h"

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <utility>

#include "metadata/out_of_memory.h"
#include "metadata/xmp_text.h"
#include "platform/machine.h"
#include "text/conversions.h"

namespace quill_box::metadata {

namespace {

constexpr std::size_t none = std::string_view::npos;
constexpr std::string_view description_end_tag = "</rdf:Description>";

std::string concatenated(std::initializer_list<std::string_view> parts) {
  std::string whole;
  for (const std::string_view part : parts)
    whole += part;
  return whole;
}

// Both fixed forms: the lines up to the Description's children, `children`, the lines behind them.
std::string whole_sidecar(std::string_view prefix, std::string_view uri, std::string_view children) {
  return concatenated({"<?xpacket begin=\"\xef\xbb\xbf\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n<x:xmpmeta xmlns:x=\"",
                       xmp_wrapper_uri, "\" x:xmptk=\"XMP Core\">\n <rdf:RDF xmlns:rdf=\"", rdf_uri,
                       "\">\n  <rdf:Description rdf:about=\"\" xmlns:", prefix, "=\"", uri, "\">\n", children,
                       "\n  </rdf:Description>\n </rdf:RDF>\n</x:xmpmeta>\n<?xpacket end=\"w\"?>"});
}

std::string new_description(std::string_view prefix, std::string_view uri, std::string_view children) {
  return concatenated(
      {"  <rdf:Description rdf:about=\"\" xmlns:", prefix, "=\"", uri, "\">\n", children, "\n  </rdf:Description>\n "});
}

std::string replaced(std::string_view text, std::size_t start, std::size_t end, std::string_view replacement) {
  return concatenated({text.substr(0, start), replacement, text.substr(end)});
}

std::string inserted(std::string_view text, std::size_t at, std::string_view piece) {
  return replaced(text, at, at, piece);
}

std::optional<std::string> with_value_replaced(std::string_view text, std::string_view opening,
                                               std::string_view closing, std::string_view value) {
  const std::size_t found = text.find(opening);
  if (found == none) return std::nullopt;
  const std::size_t start = found + opening.size();
  const std::size_t end = find_from(text, closing, start);
  if (end == none) return std::nullopt;
  return replaced(text, start, end, value);
}

std::string rating_element(std::string_view rating) {
  return concatenated({"   ", rating_element_start, rating, "</xmp:Rating>"});
}

// Into the Description that declares the namespace of xmp:Rating.
std::optional<std::string> with_rating_in_description(std::string_view text, std::string_view rating) {
  const std::size_t declared = text.find(concatenated({"xmlns:xmp=\"", xmp_basic_uri, "\""}));
  if (declared == none) return std::nullopt;
  const std::size_t start = text.rfind("<rdf:Description", declared);
  const std::size_t end = find_from(text, description_end_tag, start);
  if (end == none) return std::nullopt;
  return inserted(text, end, rating_element(rating) + "\n  ");
}

std::optional<std::string> with_new_description(std::string_view text, std::string_view prefix, std::string_view uri,
                                                std::string_view children) {
  const std::size_t at = text.find(rdf_end_tag);
  if (at == none) return std::nullopt;
  return inserted(text, at, new_description(prefix, uri, children));
}

std::string keyword_block(std::span<const std::wstring> tags) {
  std::string block = "   <dc:subject>\n    <rdf:Bag>\n";
  for (const std::wstring& tag : tags) {
    block += "     <rdf:li>";
    text::append_utf8(block, tag);
    block += "</rdf:li>\n";
  }
  return block + "    </rdf:Bag>\n   </dc:subject>";
}

std::optional<std::string> with_block_replaced(std::string_view text, std::string_view block) {
  constexpr std::string_view end_tag = "</dc:subject>";
  const std::size_t start = text.find("<dc:subject>");
  const std::size_t end = find_from(text, end_tag, start);
  if (end == none) return std::nullopt;
  return replaced(text, start, end + end_tag.size(), block);
}

std::optional<std::string> with_block_in_description(std::string_view text, std::string_view block) {
  const std::size_t end = find_from(text, description_end_tag, text.find("xmlns:dc="));
  if (end == none) return std::nullopt;
  return inserted(text, end, concatenated({"\n", block, "\n  "}));
}

}  // namespace

std::string sidecar_with_rating(std::string_view old, std::string_view rating) {
  if (auto text = with_value_replaced(old, rating_element_start, "<", rating)) return *std::move(text);
  if (auto text = with_value_replaced(old, rating_attribute_start, "\"", rating)) return *std::move(text);
  if (auto text = with_rating_in_description(old, rating)) return *std::move(text);
  const std::string element = rating_element(rating);
  if (auto text = with_new_description(old, "xmp", xmp_basic_uri, element)) return *std::move(text);
  return whole_sidecar("xmp", xmp_basic_uri, element);
}

std::string sidecar_with_keywords(std::string_view old, std::span<const std::wstring> tags) {
  const std::string block = keyword_block(tags);
  if (auto text = with_block_replaced(old, block)) return *std::move(text);
  if (auto text = with_block_in_description(old, block)) return *std::move(text);
  if (auto text = with_new_description(old, "dc", dublin_core_uri, block)) return *std::move(text);
  return whole_sidecar("dc", dublin_core_uri, block);
}

bool edit_sidecar(const std::wstring& path, const std::function<std::string(std::string)>& edit) {
  if (path.empty()) return false;
  return false_without_memory([&] {
    const std::wstring sidecar = path + L".xmp";
    const auto facts = platform::current().files.facts(sidecar);
    // Too large to be edited, and too much to be written over.
    if (facts && facts->size > largest_file_in_memory) return false;
    return write_text_file(sidecar, edit(facts ? read_text_file(sidecar) : std::string()));
  });
}

bool write_rating_sidecar(const std::wstring& path, int stars) {
  return edit_sidecar(path, [&](const std::string& old) { return sidecar_with_rating(old, std::to_string(stars)); });
}

bool write_keywords_sidecar(const std::wstring& path, std::span<const std::wstring> tags) {
  return edit_sidecar(path, [&](const std::string& old) { return sidecar_with_keywords(old, tags); });
}

}  // namespace quill_box::metadata
