#include "platform/host/image/image_metadata.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

#include "platform/host/image/iptc.h"
#include "platform/host/image/xmp_spacing.h"
#include "platform/host/patch_writer.h"
#include "platform/host/star_scale.h"
#include "text/conversions.h"
#include "text/tag_list.h"

namespace platform::host::image {

namespace {

constexpr std::uint32_t off_scale = 500;

constexpr std::uint32_t stars_of(std::uint32_t percent) { return stars_of_percent(percent).value_or(off_scale); }

constexpr std::uint32_t percent_of(std::int64_t stars) {
  if (stars < 0) return 0;
  return stars < std::ssize(star_scale) ? star_scale[static_cast<std::size_t>(stars)].written : off_scale;
}

// A number as XMP writes it; some programs write "4.0".
std::optional<std::int64_t> xmp_number(const xmp_packet& packet, xmp_field field) {
  const std::optional<std::vector<std::string>> values = xmp_values(packet, field);
  if (!values || values->empty()) return std::nullopt;
  constexpr std::string_view white_space = " \t\r\n";
  std::string_view text = values->front();
  text.remove_prefix(std::min(text.find_first_not_of(white_space), text.size()));
  text = text.substr(0, text.find_last_not_of(white_space) + 1);
  if (text.starts_with('+')) text.remove_prefix(1);
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !(std::fabs(number) < 1e9)) return std::nullopt;
  return std::llround(number);
}

std::optional<std::uint32_t> rating_in_xmp(const xmp_packet& packet) {
  const std::optional<std::int64_t> stars = xmp_number(packet, xmp_field::rating);
  std::optional<std::int64_t> percent = xmp_number(packet, xmp_field::percent);
  if (percent && *percent < 0) percent.reset();
  if (!percent) return stars ? std::optional(percent_of(*stars)) : std::nullopt;
  const auto number = static_cast<std::uint32_t>(*percent);
  const bool disagree = stars && percent_of(*stars) != percent_of(stars_of(number));
  return disagree ? percent_of(*stars) : number;
}

std::optional<std::uint32_t> rating_in_exif(const tiff_block& block) {
  if (const auto percent = tiff_number(block, tiff_tag::rating_percent)) return percent;
  const auto stars = tiff_number(block, tiff_tag::rating);
  return stars ? std::optional(percent_of(*stars)) : std::nullopt;
}

std::wstring wide_from_utf16(std::string_view bytes) {
  std::wstring wide;
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    char32_t code = get_u16(bytes, at, byte_order::little);
    const bool is_high = code >= 0xd800 && code < 0xdc00;
    const char32_t low = is_high && at + 3 < bytes.size() ? get_u16(bytes, at + 2, byte_order::little) : 0;
    if (low >= 0xdc00 && low < 0xe000) {
      code = 0x10000 + ((code - 0xd800) << 10) + (low - 0xdc00);
      at += 2;
    }
    wide.push_back(static_cast<wchar_t>(code));
  }
  return wide.substr(0, wide.find(L'\0'));
}

std::string utf16_from_wide(std::wstring_view wide) {
  std::string bytes;
  for (const wchar_t unit : wide) {
    const auto code = static_cast<char32_t>(unit);
    if (code > 0xffff) {
      append_u16(bytes, static_cast<std::uint16_t>(0xd800 + (((code - 0x10000) >> 10) & 0x3ff)), byte_order::little);
      append_u16(bytes, static_cast<std::uint16_t>(0xdc00 + ((code - 0x10000) & 0x3ff)), byte_order::little);
    } else {
      append_u16(bytes, static_cast<std::uint16_t>(code), byte_order::little);
    }
  }
  append_u16(bytes, 0, byte_order::little);
  return bytes;
}

std::optional<std::vector<std::wstring>> keywords_in_exif(const tiff_block& block) {
  const tiff_entry* entry = block.directory.find(tiff_tag::keywords);
  if (entry == nullptr) return std::nullopt;
  const std::optional<std::string> bytes = tiff_value(block, *entry);
  if (!bytes) return std::nullopt;
  std::vector<std::wstring> keywords = text::split_tag_list(wide_from_utf16(*bytes));
  if (keywords.empty()) return std::nullopt;
  return keywords;
}

std::optional<std::vector<std::wstring>> keywords_in_xmp(const metadata_blocks& blocks) {
  const auto values = blocks.xmp ? xmp_values(*blocks.xmp, xmp_field::keywords) : std::nullopt;
  if (!values) return std::nullopt;
  std::vector<std::wstring> keywords;
  for (const std::string& value : *values) {
    if (!value.empty()) keywords.push_back(text::wide_from_utf8(value));
  }
  return keywords;
}

// A keyword with a semicolon in it stands there as two.
std::vector<std::wstring> exif_keywords_beyond(const tiff_block& block, const std::vector<std::wstring>& known) {
  const std::vector<std::wstring> known_there = text::split_tag_list(text::join_tag_list(known));
  std::vector<std::wstring> beyond = keywords_in_exif(block).value_or(std::vector<std::wstring>());
  std::erase_if(beyond, [&known_there](const std::wstring& keyword) {
    return std::ranges::find(known_there, keyword) != known_there.end();
  });
  return beyond;
}

// Appends the changes for a rating. 0 is no rating, as where the shell's handlers remove it.
void add_rating(std::uint32_t percent, std::vector<xmp_change>& xmp, std::vector<tiff_change>& fields) {
  if (percent == 0) {
    xmp.push_back({xmp_field::rating, {}});
    xmp.push_back({xmp_field::percent, {}});
    fields.push_back({tiff_tag::rating, {}});
    fields.push_back({tiff_tag::rating_percent, {}});
    return;
  }
  const std::uint32_t stars = stars_of(percent);
  xmp.push_back({xmp_field::rating, {std::to_string(stars)}});
  xmp.push_back({xmp_field::percent, {std::to_string(percent)}});
  fields.push_back({tiff_tag::rating, static_cast<std::uint16_t>(stars)});
  if (percent <= UINT16_MAX) {
    fields.push_back({tiff_tag::rating_percent, static_cast<std::uint16_t>(percent)});
  } else {
    fields.push_back({tiff_tag::rating_percent, {}});
  }
}

void add_keywords(const metadata_blocks& blocks, const std::vector<std::wstring>& keywords,
                  std::vector<xmp_change>& xmp, std::vector<tiff_change>& fields) {
  std::vector<std::string> values;
  values.reserve(keywords.size());
  for (const std::wstring& keyword : keywords)
    values.push_back(text::utf8_from_wide(keyword));
  const bool has_iptc_copy = blocks.xmp && xmp_values(*blocks.xmp, xmp_field::last_keyword_iptc);
  if (has_iptc_copy || blocks.iptc) xmp.push_back({xmp_field::last_keyword_iptc, values});
  xmp.push_back({xmp_field::keywords, values});
  xmp.push_back({xmp_field::last_keyword_xmp, std::move(values)});
  if (keywords.empty()) {
    fields.push_back({tiff_tag::keywords, {}});
  } else {
    fields.push_back({tiff_tag::keywords, utf16_from_wide(text::join_tag_list(keywords))});
  }
}

}  // namespace

std::optional<std::uint32_t> read_rating(const metadata_blocks& blocks) {
  if (blocks.xmp) {
    if (const auto rating = rating_in_xmp(*blocks.xmp)) return rating;
  }
  return blocks.exif ? rating_in_exif(*blocks.exif) : std::nullopt;
}

std::optional<std::vector<std::wstring>> read_keywords(const metadata_blocks& blocks) {
  std::optional<std::vector<std::wstring>> keywords = keywords_in_xmp(blocks);
  const auto add = [&keywords](std::vector<std::wstring> more) {
    if (more.empty()) return;
    if (!keywords) keywords.emplace();
    keywords->insert(keywords->end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
  };
  if (blocks.iptc) add(iptc_keywords_beyond(*blocks.iptc, keywords.value_or(std::vector<std::wstring>())));
  if (blocks.exif) add(exif_keywords_beyond(*blocks.exif, keywords.value_or(std::vector<std::wstring>())));
  return keywords;
}

namespace {

// Where the packet will stand in the file after the plan, which brings it there as `text`.
std::optional<std::uint64_t> new_packet_offset(const image_container& container, const edit_plan& plan,
                                               std::string_view text) {
  const std::optional<std::uint64_t> old_offset = container.xmp_offset();
  std::int64_t growth_before = 0;
  for (std::size_t i = 0; i < plan.size(); ++i) {
    const auto start = static_cast<std::int64_t>(plan[i].offset) + growth_of(std::span(plan).first(i));
    const std::size_t at = plan[i].bytes.find(text);
    if (at != std::string::npos) return static_cast<std::uint64_t>(start) + at;
    if (old_offset && plan[i].offset < *old_offset) growth_before = growth_of(std::span(plan).first(i + 1));
  }
  if (!old_offset) return std::nullopt;
  return static_cast<std::uint64_t>(static_cast<std::int64_t>(*old_offset) + growth_before);
}

// For a file that is written anew: with the white space of its packet laid out so that the next change is a patch, and
// so that the file grows by whole blocks, which some file systems share with the old file.
std::optional<edit_plan> plan_with_new_layout(const image_container& container, metadata_edits edits) {
  constexpr std::int64_t block = 4096;
  constexpr int most_attempts = 3;  // a container may pad what has an odd size
  const std::optional<xmp_packet>& old = container.blocks().xmp;
  edits.lays_out_anew = true;
  if (!edits.xmp && old && !container.blocks().utf16_xmp) edits.xmp = packet_change{old->text, {}, false};
  std::optional<edit_plan> plan = container.plan(edits);
  const std::optional<xmp_packet> packet = edits.xmp ? parse_xmp_packet(edits.xmp->text) : std::nullopt;
  if (!plan || !packet) return plan;
  for (int attempt = 0; attempt < most_attempts; ++attempt) {
    const auto offset = new_packet_offset(container, *plan, edits.xmp->text);
    if (!offset) return plan;
    packet_place place{*offset, 0, old ? container.blocks().stored_xmp().size() : 0, container.xmp_limit()};
    place.other_growth = growth_of(*plan) - static_cast<std::int64_t>(edits.xmp->text.size()) +
                         static_cast<std::int64_t>(place.old_size);
    std::optional<std::string> text = laid_out(*packet, place);
    if (!text) return plan;
    edits.xmp = packet_change{*std::move(text), {}, false};
    std::optional<edit_plan> next = container.plan(edits);
    if (!next) return plan;
    plan = std::move(next);
    if (growth_of(*plan) % block == 0) break;
  }
  return plan;
}

}  // namespace

std::optional<edit_plan> plan_change(const image_container& container, const image_change& change) {
  const metadata_blocks& blocks = container.blocks();
  std::vector<xmp_change> xmp;
  metadata_edits edits;
  if (change.percent) add_rating(*change.percent, xmp, edits.fields);
  if (change.keywords) {
    add_keywords(blocks, *change.keywords, xmp, edits.fields);
    if (blocks.iptc) edits.iptc = with_iptc_keywords(*blocks.iptc, *change.keywords);
  }
  if (edits.iptc == blocks.iptc) edits.iptc.reset();

  if (blocks.xmp) {
    edits.xmp = edit_xmp_packet(*blocks.xmp, xmp, container.xmp_limit());
    if (!edits.xmp) return std::nullopt;
    if (edits.xmp->text == blocks.xmp->text) edits.xmp.reset();
    // The pieces are those of the text, not of the bytes in the file.
    if (edits.xmp && blocks.utf16_xmp) edits.xmp->pieces.clear();
  } else if (std::any_of(xmp.begin(), xmp.end(), [](const xmp_change& field) { return !field.values.empty(); })) {
    std::optional<std::string> packet = new_xmp_packet(xmp, container.xmp_limit());
    if (!packet) return std::nullopt;
    edits.xmp = packet_change{*std::move(packet), {}, false};
  }
  std::optional<edit_plan> plan = container.plan(edits);
  if (plan && (plan->empty() || patch_from(container.source(), *plan))) return plan;
  std::optional<edit_plan> laid_out_plan = plan_with_new_layout(container, std::move(edits));
  return laid_out_plan ? laid_out_plan : plan;
}

std::optional<edit_plan> plan_xmp_in_place(const image_container& container, std::span<const xmp_change> changes) {
  const metadata_blocks& blocks = container.blocks();
  if (!blocks.xmp || blocks.utf16_xmp) return std::nullopt;
  metadata_edits edits;
  edits.xmp = edit_xmp_packet(*blocks.xmp, changes, blocks.xmp->text.size());
  if (!edits.xmp) return std::nullopt;
  return container.plan(edits);
}

}  // namespace platform::host::image
