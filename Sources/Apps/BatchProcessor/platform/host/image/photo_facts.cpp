#include "platform/host/image/photo_facts.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "platform/host/current_bias.h"
#include "platform/host/image/iptc.h"

namespace platform::host::image {

namespace {

// The longest text that still is a date or a reference; what claims more isn't even read.
constexpr std::uint32_t longest_text = 64;

std::optional<tiff_directory> directory_at(const tiff_block& block, tiff_tag pointer) {
  const tiff_entry* entry = block.directory.find(pointer);
  if (entry == nullptr || entry->count != 1) return std::nullopt;
  const auto type = static_cast<tiff_type>(entry->type);
  if (type != tiff_type::unsigned_long && type != tiff_type::directory) return std::nullopt;
  const byte_order order = block.directory.order;
  return read_tiff_directory(block.range, order, get_u32(entry->value, 0, order));
}

// Up to the NUL.
std::optional<std::string> text_in(const tiff_block& block, const tiff_directory& directory, tiff_tag tag) {
  const tiff_entry* entry = directory.find(tag);
  if (entry == nullptr || entry->type != static_cast<std::uint16_t>(tiff_type::ascii)) return std::nullopt;
  if (entry->count > longest_text) return std::nullopt;
  std::optional<std::string> text = tiff_value(block.range, directory, *entry);
  if (text) text->resize(std::min(text->find('\0'), text->size()));
  return text;
}

std::optional<std::string> first_value(const metadata_blocks& blocks, xmp_field field) {
  if (!blocks.xmp) return std::nullopt;
  std::optional<std::vector<std::string>> values = xmp_values(*blocks.xmp, field);
  if (!values || values->empty()) return std::nullopt;
  constexpr std::string_view white_space = " \t\r\n";
  const std::string& text = values->front();
  const std::size_t first = text.find_first_not_of(white_space);
  if (first == std::string::npos) return std::nullopt;
  return text.substr(first, text.find_last_not_of(white_space) + 1 - first);
}

// The number in exactly `count` digits; nothing where they aren't there.
std::optional<int> digits(std::string_view text, std::size_t at, std::size_t count) {
  if (at > text.size() || count > text.size() - at) return std::nullopt;
  int number = 0;
  for (const char c : text.substr(at, count)) {
    if (c < '0' || c > '9') return std::nullopt;
    number = number * 10 + (c - '0');
  }
  return number;
}

std::optional<local_time> time_of(std::optional<int> year, std::optional<int> month, std::optional<int> day) {
  if (!year || !month || !day) return std::nullopt;
  return local_time{.year = *year, .month = *month, .day = *day};
}

bool set_time_of_day(local_time& time, std::optional<int> hour, std::optional<int> minute, std::optional<int> second) {
  if (!hour || !minute || !second) return false;
  time.hour = *hour;
  time.minute = *minute;
  time.second = *second;
  return true;
}

// "2026:03:01 12:30:00" as in Exif, "2026-03-01T12:30+01:00" as in XMP. A clock that doesn't know fills in blanks.
std::optional<local_time> time_in(std::string_view text) {
  constexpr std::size_t date_size = 10;
  const auto is_separator = [](char c) { return c == ':' || c == '-'; };
  std::optional<local_time> time = time_of(digits(text, 0, 4), digits(text, 5, 2), digits(text, 8, 2));
  if (!time || !is_separator(text[4]) || !is_separator(text[7])) return std::nullopt;
  const std::string_view rest = text.substr(date_size);
  if (rest.find_first_not_of(" :") == std::string_view::npos) return time;
  if ((rest[0] != ' ' && rest[0] != 'T') || rest.size() < 6 || rest[3] != ':') return std::nullopt;
  const bool has_seconds = rest.size() > 6 && rest[6] == ':';
  const bool is_good =
      set_time_of_day(*time, digits(rest, 1, 2), digits(rest, 4, 2), has_seconds ? digits(rest, 7, 2) : 0);
  return is_good ? time : std::nullopt;
}

std::optional<file_time> date_in(const std::optional<std::string>& text) {
  const std::optional<local_time> time = text ? time_in(*text) : std::nullopt;
  return time ? file_time_from_local(*time) : std::nullopt;
}

std::optional<file_time> date_in_iptc(const metadata_blocks& blocks) {
  const std::optional<std::string> date = blocks.iptc ? iptc_value(*blocks.iptc, iptc_date_created) : std::nullopt;
  if (!date || date->size() != 8) return std::nullopt;
  std::optional<local_time> time = time_of(digits(*date, 0, 4), digits(*date, 4, 2), digits(*date, 6, 2));
  if (!time) return std::nullopt;
  if (const auto clock = iptc_value(*blocks.iptc, iptc_time_created)) {
    // Without a time that makes sense it is midnight's.
    static_cast<void>(set_time_of_day(*time, digits(*clock, 0, 2), digits(*clock, 2, 2), digits(*clock, 4, 2)));
  }
  return file_time_from_local(*time);
}

struct axis_rules {
  tiff_tag reference;
  tiff_tag value;
  xmp_field in_xmp;
  std::wstring_view references;
  double most;
};

const axis_rules& rules_of(gps_axis axis) {
  static constexpr axis_rules latitude = {tiff_tag::gps_latitude_ref, tiff_tag::gps_latitude, xmp_field::gps_latitude,
                                          L"NSns", 90};
  static constexpr axis_rules longitude = {tiff_tag::gps_longitude_ref, tiff_tag::gps_longitude,
                                           xmp_field::gps_longitude, L"EWew", 180};
  return axis == gps_axis::latitude ? latitude : longitude;
}

// The angle if it is one of the axis.
std::optional<gps_angle> checked(gps_angle angle, const axis_rules& rules) {
  const bool is_positive = std::all_of(angle.parts.begin(), angle.parts.end(), [](double part) { return part >= 0; });
  if (!is_positive || angle.reference.size() != 1 ||
      rules.references.find(angle.reference[0]) == std::wstring_view::npos) {
    return std::nullopt;
  }
  const double size = angle.decimal() < 0 ? -angle.decimal() : angle.decimal();
  if (!(size <= rules.most)) return std::nullopt;
  return angle;
}

std::optional<gps_angle> angle_in_exif(const tiff_block& block, const axis_rules& rules) {
  const std::optional<tiff_directory> gps = directory_at(block, tiff_tag::gps_directory);
  if (!gps) return std::nullopt;
  const tiff_entry* entry = gps->find(rules.value);
  if (entry == nullptr || entry->type != static_cast<std::uint16_t>(tiff_type::rational)) return std::nullopt;
  gps_angle angle;
  if (entry->count != angle.parts.size()) return std::nullopt;
  const std::optional<std::string> value = tiff_value(block.range, *gps, *entry);
  const std::optional<std::string> reference = text_in(block, *gps, rules.reference);
  if (!value || !reference) return std::nullopt;
  angle.reference.assign(reference->begin(), reference->end());
  for (std::size_t i = 0; i < angle.parts.size(); ++i) {
    const std::uint32_t numerator = get_u32(*value, 8 * i, gps->order);
    const std::uint32_t denominator = get_u32(*value, 8 * i + 4, gps->order);
    // Seconds alone may be unknown (0/0), as where the minutes have the fraction.
    const bool is_unknown_second = i == 2 && numerator == 0;
    if (denominator == 0 && !is_unknown_second) return std::nullopt;
    if (denominator != 0) angle.parts[i] = static_cast<double>(numerator) / denominator;
  }
  return checked(std::move(angle), rules);
}

// "48,51,30N" or "48,51.5N".
std::optional<gps_angle> angle_in_xmp(std::string_view text, const axis_rules& rules) {
  if (text.empty()) return std::nullopt;
  gps_angle angle;
  angle.reference.assign(1, static_cast<wchar_t>(static_cast<unsigned char>(text.back())));
  const char* at = text.data();
  const char* const end = at + text.size() - 1;
  std::size_t count = 0;
  while (count < angle.parts.size()) {
    const auto [behind, error] = std::from_chars(at, end, angle.parts[count], std::chars_format::fixed);
    if (error != std::errc()) return std::nullopt;
    ++count;
    at = behind;
    if (at == end || *at != ',') break;
    ++at;
  }
  if (count < 2 || at != end) return std::nullopt;
  return checked(std::move(angle), rules);
}

}  // namespace

std::optional<file_time> read_date_taken(const metadata_blocks& blocks) {
  const std::optional<tiff_directory> exif =
      blocks.exif ? directory_at(*blocks.exif, tiff_tag::exif_directory) : std::nullopt;
  const auto in_exif = [&](tiff_tag tag) { return exif ? date_in(text_in(*blocks.exif, *exif, tag)) : std::nullopt; };
  if (const auto date = in_exif(tiff_tag::date_time_original)) return date;
  if (const auto date = date_in_iptc(blocks)) return date;
  if (const auto date = date_in(first_value(blocks, xmp_field::create_date))) return date;
  if (const auto date = in_exif(tiff_tag::date_time_digitized)) return date;
  return date_in(first_value(blocks, xmp_field::date_time_original));
}

double gps_angle::decimal() const {
  const double size = parts[1] / 60.0 + parts[0] + parts[2] / 3600.0;
  return reference.find_first_of(L"SsWw") == std::wstring::npos ? size : -size;
}

std::optional<gps_angle> read_angle(const metadata_blocks& blocks, gps_axis axis) {
  const axis_rules& rules = rules_of(axis);
  if (blocks.exif) {
    if (auto angle = angle_in_exif(*blocks.exif, rules)) return angle;
  }
  const std::optional<std::string> text = first_value(blocks, rules.in_xmp);
  return text ? angle_in_xmp(*text, rules) : std::nullopt;
}

}  // namespace platform::host::image
