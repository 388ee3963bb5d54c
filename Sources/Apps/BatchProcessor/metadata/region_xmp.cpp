#include "metadata/region_xmp.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <initializer_list>
#include <optional>
#include <utility>

#include "metadata/cut_text.h"
#include "metadata/xmp_text.h"
#include "text/conversions.h"
#include "text/format.h"

namespace quill_box::metadata {

namespace {

constexpr std::size_t none = std::string_view::npos;

constexpr std::string_view private_uri = "http://ns.quillbox.example/qzx/regions/1.0/";
constexpr std::string_view own_marker = "qzxx:managed=\"true\"";

constexpr std::string_view description_start = "<rdf:Description";
constexpr std::string_view description_end = "</rdf:Description>";
constexpr std::string_view list_item_start = "<rdf:li";

// What a start tag's name is followed by, where the element may have content, and where it may also be empty.
constexpr std::string_view name_ends = "\t\n\r >";
constexpr std::string_view name_ends_of_any = "\t\n\r />";

constexpr std::string_view region_elements[] = {"MP:RegionInfo", "mwg-rs:Regions"};

struct namespace_declaration {
  std::string_view prefix;
  std::string_view uri;
};
constexpr namespace_declaration block_namespaces[] = {
    {"MP", "http://ns.microsoft.com/photo/1.2/"},
    {"MPRI", "http://ns.microsoft.com/photo/1.2/t/RegionInfo#"},
    {"MPReg", "http://ns.microsoft.com/photo/1.2/t/Region#"},
    {"mwg-rs", "http://www.metadataworkinggroup.com/schemas/regions/"},
    {"stArea", "http://ns.adobe.com/xmp/sType/Area#"},
    {"stDim", "http://ns.adobe.com/xap/1.0/sType/Dimensions#"},
};

void append(std::string& text, std::initializer_list<std::string_view> parts) {
  for (const std::string_view part : parts)
    text += part;
}

void append_head(std::string& block) {
  append(block, {"  <rdf:Description rdf:about=\"\"\n    xmlns:qzxx=\"", private_uri, "\" ", own_marker});
  for (const namespace_declaration& declared : block_namespaces)
    append(block, {"\n    xmlns:", declared.prefix, "=\"", declared.uri, "\""});
  block += ">\n";
}

// The corner and the size.
void append_microsoft_region(std::string& block, const people_region& region) {
  block += text::format(
      "      <rdf:li rdf:parseType=\"Resource\">\n"
      "       <MPReg:Rectangle>{}, {}, {}, {}</MPReg:Rectangle>\n"
      "       <MPReg:PersonDisplayName>{}</MPReg:PersonDisplayName>\n"
      "      </rdf:li>\n",
      fraction_text(region.x), fraction_text(region.y), fraction_text(region.w), fraction_text(region.h),
      xml_escape(text::utf8_from_wide(region.name)));
}

// The centre and the size.
void append_working_group_region(std::string& block, const people_region& region) {
  block += text::format(
      "      <rdf:li rdf:parseType=\"Resource\">\n"
      "       <mwg-rs:Name>{}</mwg-rs:Name>\n"
      "       <mwg-rs:Type>Face</mwg-rs:Type>\n"
      "       <mwg-rs:Area stArea:x=\"{}\" stArea:y=\"{}\" stArea:w=\"{}\" stArea:h=\"{}\" "
      "stArea:unit=\"normalized\"/>\n"
      "      </rdf:li>\n",
      xml_escape(text::utf8_from_wide(region.name)), fraction_text(region.x + region.w * 0.5),
      fraction_text(region.y + region.h * 0.5), fraction_text(region.w), fraction_text(region.h));
}

void append_regions(std::string& block, std::span<const people_region> regions,
                    void (*append_region)(std::string&, const people_region&)) {
  block += "     <rdf:Bag>\n";
  for (const people_region& region : regions) {
    if (!region.name.empty()) append_region(block, region);
  }
  block += "     </rdf:Bag>\n";
}

void append_dimensions(std::string& block, platform::image_size size) {
  if (size.width == 0 || size.height == 0) return;
  block += text::format("    <mwg-rs:AppliedToDimensions stDim:w=\"{}\" stDim:h=\"{}\" stDim:unit=\"pixel\"/>\n",
                        size.width, size.height);
}

struct start_tag {
  std::size_t start = 0;
  std::size_t end = 0;  ///< behind the ">"
  bool is_empty = false;
};

// The first element of the name, which one of `ends` follows.
std::optional<start_tag> find_start_tag(std::string_view text, std::string_view name, std::string_view ends) {
  const std::string opening = "<" + std::string(name);
  std::size_t start = text.find(opening);
  while (start != none) {
    const std::size_t behind = start + opening.size();
    if (behind == text.size()) return std::nullopt;
    if (ends.find(text[behind]) != none) {
      const std::size_t close = text.find('>', behind);
      if (close == none) return std::nullopt;
      return start_tag{start, close + 1, text[close - 1] == '/'};
    }
    start = text.find(opening, behind);
  }
  return std::nullopt;
}

// Each goes out whole, with the Description that it marks: from the last start of one in front of the marker to the
// first end behind it.
std::string without_own_blocks(std::string text) {
  cut_text cutting(std::move(text));
  for (std::size_t marker = cutting.rest().find(own_marker); marker != none; marker = cutting.rest().find(own_marker)) {
    cutting.advance(marker);
    const std::size_t start = cutting.front().rfind(description_start);
    const std::size_t end = cutting.rest().find(description_end);
    if (start == none || end == none) break;
    cutting.cut_with_line(start, end + description_end.size());
    // A marker may stand across the cut now.
    cutting.step_back(own_marker.size() - 1);
  }
  return std::move(cutting).take();
}

std::string without_elements(std::string text, std::string_view name) {
  const std::string closing = "</" + std::string(name) + ">";
  cut_text cutting(std::move(text));
  while (const auto tag = find_start_tag(cutting.rest(), name, name_ends_of_any)) {
    std::size_t end = tag->end;
    if (!tag->is_empty) {
      const std::size_t closed = cutting.rest().find(closing, tag->end);
      if (closed == none) break;
      end = closed + closing.size();
    }
    cutting.advance(tag->start);
    cutting.cut_with_line(cutting.front().size(), end - tag->start);
  }
  return std::move(cutting).take();
}

bool is_white(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// What the C library's conversion gives in the "C" locale, whatever the program's is: leading white space and a sign
// are fine, and so is anything behind the number. 0 where there is none, and for one that is out of range.
double number_at_start(std::string_view text) {
  while (!text.empty() && is_white(text.front()))
    text.remove_prefix(1);
  const bool is_negative = text.starts_with('-');
  if (is_negative || text.starts_with('+')) text.remove_prefix(1);
  auto format = std::chars_format::general;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    format = std::chars_format::hex;
    text.remove_prefix(2);
  }
  if (text.starts_with('-')) return 0;
  double number = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number, format);
  if (failure != std::errc()) return 0;
  return is_negative ? -number : number;
}

void read_rectangle(std::string_view text, people_region& region) {
  for (double* const side : {&region.x, &region.y, &region.w, &region.h}) {
    const std::size_t start = text.find_first_not_of(" ,");
    if (start == none) return;
    text.remove_prefix(start);
    const std::size_t end = std::min(text.find(','), text.size());
    *side = number_at_start(text.substr(0, end));
    text.remove_prefix(end);
  }
}

people_region region_of(std::string_view item) {
  people_region region;
  std::string value;
  if (read_xmp_value(item, "MPReg:PersonDisplayName", value)) region.name = text::wide_from_utf8(value);
  if (read_xmp_value(item, "MPReg:Rectangle", value)) read_rectangle(value, region);
  return region;
}

}  // namespace

std::string fraction_text(double value) {
  // What is no number compares as false.
  return text::format("{:.6f}", value > 0 ? std::min(value, 1.0) : 0.0);
}

std::string build_region_block(std::span<const people_region> regions, platform::image_size size) {
  std::string block;
  append_head(block);
  block +=
      "   <MP:RegionInfo rdf:parseType=\"Resource\">\n"
      "    <MPRI:Regions>\n";
  append_regions(block, regions, append_microsoft_region);
  block +=
      "    </MPRI:Regions>\n"
      "   </MP:RegionInfo>\n"
      "   <mwg-rs:Regions rdf:parseType=\"Resource\">\n";
  append_dimensions(block, size);
  block += "    <mwg-rs:RegionList>\n";
  append_regions(block, regions, append_working_group_region);
  block +=
      "    </mwg-rs:RegionList>\n"
      "   </mwg-rs:Regions>\n"
      "  </rdf:Description>\n";
  return block;
}

std::string build_region_packet(std::span<const people_region> regions, platform::image_size size) {
  std::string packet;
  append(packet, {"<?xpacket begin=\"\xef\xbb\xbf\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n<x:xmpmeta xmlns:x=\"",
                  xmp_wrapper_uri, "\" x:xmptk=\"LKF QZX\">\n <rdf:RDF xmlns:rdf=\"", rdf_uri, "\">\n",
                  build_region_block(regions, size), " </rdf:RDF>\n</x:xmpmeta>\n<?xpacket end=\"w\"?>"});
  return packet;
}

std::string strip_region_blocks(std::string text) {
  text = without_own_blocks(std::move(text));
  for (const std::string_view name : region_elements)
    text = without_elements(std::move(text), name);
  return text;
}

std::string with_region_block(std::string text, std::span<const people_region> regions, platform::image_size size) {
  text = strip_region_blocks(std::move(text));
  const std::size_t end = text.rfind(rdf_end_tag);
  if (end == none) return build_region_packet(regions, size);
  return text.insert(end, build_region_block(regions, size));
}

bool parse_region_info(std::string_view text, std::vector<people_region>& out) {
  const std::size_t start = text.find("<MP:RegionInfo");
  if (start == none) return false;
  text.remove_prefix(start);
  text = text.substr(0, text.find("</MP:RegionInfo>"));
  std::size_t item = text.find(list_item_start);
  const bool has_any = item != none;
  while (item != none) {
    const std::size_t next = text.find(list_item_start, item + list_item_start.size());
    out.push_back(region_of(text.substr(item, next == none ? none : next - item)));
    item = next;
  }
  return has_any;
}

bool read_xmp_value(std::string_view text, std::string_view property, std::string& out) {
  const auto tag = find_start_tag(text, property, name_ends);
  if (tag && !tag->is_empty) {
    const std::size_t end = text.find("</" + std::string(property), tag->end);
    if (end != none) {
      out = xml_unescape(text.substr(tag->end, end - tag->end));
      return true;
    }
  }
  const std::string opening = std::string(property) + "=\"";
  const std::size_t found = text.find(opening);
  const std::size_t start = found == none ? none : found + opening.size();
  const std::size_t end = find_from(text, "\"", start);
  if (end == none) return false;
  out = xml_unescape(text.substr(start, end - start));
  return true;
}

}  // namespace quill_box::metadata
