#include "platform/host/image/tiff_directory.h"

#include <algorithm>

namespace platform::host::image {

namespace {

constexpr std::size_t header_size = 8;
constexpr std::size_t entry_size = 12;
constexpr std::uint64_t largest_value = std::uint64_t{64} << 20;
constexpr tiff_tag own_tags[] = {tiff_tag::xmp,    tiff_tag::iptc,           tiff_tag::photoshop,
                                 tiff_tag::rating, tiff_tag::rating_percent, tiff_tag::keywords};

// The bytes of one value of a type; 0 for types that nobody defined.
constexpr std::uint64_t type_size(std::uint16_t type) {
  constexpr std::uint8_t sizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
  return type < std::size(sizes) ? sizes[type] : 0;
}

std::uint64_t value_size(const tiff_entry& entry) { return type_size(entry.type) * entry.count; }

std::optional<byte_order> order_of(std::string_view header) {
  using namespace std::string_view_literals;
  if (header.substr(0, 4) == "II*\0"sv) return byte_order::little;
  if (header.substr(0, 4) == "MM\0*"sv) return byte_order::big;
  return std::nullopt;
}

bool is_readable(const tiff_block& block, tiff_tag tag) {
  const std::vector<tiff_entry>& entries = block.directory.entries;
  const auto has_tag = [tag](const tiff_entry& entry) { return entry.tag == static_cast<std::uint16_t>(tag); };
  const auto first = std::find_if(entries.begin(), entries.end(), has_tag);
  if (first == entries.end()) return true;
  if (std::any_of(first + 1, entries.end(), has_tag) || type_size(first->type) == 0) return false;
  const std::optional<tiff_area> area = tiff_value_area(block.directory, *first);
  if (!area) return true;
  // What stands there changes with every change of a field.
  const std::uint64_t directory_end = block.directory.offset + block.directory.size();
  const bool meets_directory = area->begin < directory_end && area->end > block.directory.offset;
  return area->begin >= header_size && !meets_directory && area->end <= block.range.size &&
         area->end - area->begin <= largest_value;
}

}  // namespace

const tiff_entry* tiff_directory::find(tiff_tag tag) const {
  const auto found = std::find_if(entries.begin(), entries.end(), [tag](const tiff_entry& entry) {
    return entry.tag == static_cast<std::uint16_t>(tag);
  });
  return found == entries.end() ? nullptr : &*found;
}

std::optional<tiff_directory> read_tiff_directory(const byte_range& range, byte_order order, std::uint32_t offset) {
  tiff_directory directory;
  directory.order = order;
  directory.offset = offset;
  const std::optional<std::string> count_bytes = range.read(offset, 2);
  if (!count_bytes) return std::nullopt;
  const std::size_t count = get_u16(*count_bytes, 0, order);
  const std::optional<std::string> bytes = range.read(std::uint64_t{offset} + 2, count * entry_size + 4);
  if (!bytes) return std::nullopt;
  directory.entries.reserve(count);
  for (std::size_t at = 0; at < count * entry_size; at += entry_size) {
    directory.entries.push_back({get_u16(*bytes, at, order), get_u16(*bytes, at + 2, order),
                                 get_u32(*bytes, at + 4, order), bytes->substr(at + 8, 4)});
  }
  directory.next = get_u32(*bytes, count * entry_size, order);
  return directory;
}

std::optional<tiff_block> read_first_tiff_directory(const byte_range& range) {
  const std::optional<std::string> header = range.read(0, header_size);
  if (!header) return std::nullopt;
  const std::optional<byte_order> order = order_of(*header);
  if (!order) return std::nullopt;
  const std::uint32_t offset = get_u32(*header, 4, *order);
  if (offset < header_size) return std::nullopt;
  std::optional<tiff_directory> directory = read_tiff_directory(range, *order, offset);
  if (!directory) return std::nullopt;
  return tiff_block{range, std::move(*directory)};
}

std::optional<tiff_block> read_tiff_block(const byte_range& range) {
  std::optional<tiff_block> block = read_first_tiff_directory(range);
  if (!block) return std::nullopt;
  const bool readable = std::all_of(std::begin(own_tags), std::end(own_tags),
                                    [&block](tiff_tag tag) { return is_readable(*block, tag); });
  if (!readable) return std::nullopt;
  return block;
}

bool tiff_type_is_known(std::uint16_t type) { return type_size(type) != 0; }

std::optional<tiff_area> tiff_value_area(const tiff_directory& directory, const tiff_entry& entry) {
  const std::uint64_t size = value_size(entry);
  if (size <= 4) return std::nullopt;
  const std::uint64_t begin = get_u32(entry.value, 0, directory.order);
  return tiff_area{begin, begin + size};
}

std::optional<std::string> tiff_value(const byte_range& range, const tiff_directory& directory,
                                      const tiff_entry& entry) {
  if (!tiff_type_is_known(entry.type) || value_size(entry) > largest_value) return std::nullopt;
  const std::optional<tiff_area> area = tiff_value_area(directory, entry);
  if (!area) return entry.value.substr(0, value_size(entry));
  return range.read(area->begin, area->end - area->begin);
}

std::optional<std::uint32_t> tiff_number(const tiff_block& block, tiff_tag tag) {
  const tiff_entry* entry = block.directory.find(tag);
  if (entry == nullptr || entry->count != 1) return std::nullopt;
  switch (static_cast<tiff_type>(entry->type)) {
    case tiff_type::byte:
      return static_cast<unsigned char>(entry->value[0]);
    case tiff_type::unsigned_short:
      return get_u16(entry->value, 0, block.directory.order);
    case tiff_type::unsigned_long:
      return get_u32(entry->value, 0, block.directory.order);
    default:
      return std::nullopt;
  }
}

}  // namespace platform::host::image
