#include "platform/host/dos_attributes.h"

#include <charconv>

#include "platform/file_system.h"
#include "platform/host/byte_order.h"
#include "text/format.h"

namespace platform::host {

namespace {

constexpr std::uint32_t settable = attribute::hidden | attribute::system | attribute::archive;
constexpr std::uint32_t attributes_are_valid = 1;
// Those versions that keep the attribute bits behind the flags.
constexpr std::uint16_t first_version = 3;
constexpr std::uint16_t last_version = 5;

constexpr std::size_t aligned(std::size_t offset, std::size_t to) { return (offset + to - 1) / to * to; }

// What stands behind the text of a record.
struct record {
  std::uint16_t version = 0;
  std::uint32_t flags = 0;
  std::uint32_t bits = 0;
  std::string_view rest;
};

std::optional<record> parse_record(std::string_view value) {
  const std::size_t text_end = value.find('\0');
  if (text_end == std::string_view::npos) return std::nullopt;
  const std::size_t versions = aligned(text_end + 1, 2);
  const std::size_t flags = aligned(versions + 4, 4);
  if (value.size() < flags + 8) return std::nullopt;
  const std::uint16_t version = get_u16(value, versions, byte_order::little);
  if (version < first_version || version > last_version) return std::nullopt;
  if (get_u16(value, versions + 2, byte_order::little) != version) return std::nullopt;
  return record{version, get_u32(value, flags, byte_order::little), get_u32(value, flags + 4, byte_order::little),
                value.substr(flags + 8)};
}

std::string record_value(const record& record, bool with_text) {
  std::string value = with_text ? text::format("0x{:x}", record.bits) : std::string();
  value.push_back('\0');
  value.resize(aligned(value.size(), 2));
  append_u16(value, record.version, byte_order::little);
  append_u16(value, record.version, byte_order::little);
  value.resize(aligned(value.size(), 4));
  append_u32(value, record.flags, byte_order::little);
  append_u32(value, record.bits, byte_order::little);
  return value.append(record.rest);
}

std::optional<std::uint32_t> parse_text(std::string_view value) {
  std::string_view digits = value.substr(0, value.find('\0'));
  if (!digits.starts_with("0x") && !digits.starts_with("0X")) return std::nullopt;
  digits.remove_prefix(2);
  std::uint32_t bits = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), bits, 16);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return bits;
}

}  // namespace

std::uint32_t dos_attributes_from(std::string_view value) {
  if (const auto bits = parse_text(value)) return *bits;
  const auto record = parse_record(value);
  return record && (record->flags & attributes_are_valid) != 0 ? record->bits : 0;
}

std::optional<std::string> updated_dos_attributes(std::string_view old, std::uint32_t attributes) {
  constexpr std::uint32_t replaced = settable | attribute::normal;
  const std::uint32_t kept = dos_attributes_from(old) & ~replaced;
  if (auto record = parse_record(old)) {
    record->flags |= attributes_are_valid;
    record->bits = (kept & ~attribute::read_only) | (attributes & (settable | attribute::read_only));
    return record_value(*record, parse_text(old).has_value());
  }
  const std::uint32_t bits = kept | (attributes & settable);
  if (bits == 0) return std::nullopt;
  return text::format("0x{:x}", bits);
}

}  // namespace platform::host
