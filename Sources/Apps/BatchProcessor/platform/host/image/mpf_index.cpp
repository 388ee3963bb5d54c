#include "platform/host/image/mpf_index.h"

#include "platform/host/image/tiff_directory.h"

namespace platform::host::image {

namespace {

constexpr std::size_t entry_size = 16;  // attribute, size, offset (4 bytes each), two dependent images
constexpr std::size_t size_at = 4;
constexpr std::size_t offset_at = 8;

// Moves a number of the list; false where the result isn't one of 32 bits.
bool move_number(std::string& bytes, std::size_t at, std::int64_t by, byte_order order) {
  const std::int64_t moved = std::int64_t{get_u32(bytes, at, order)} + by;
  if (moved < 0 || moved > UINT32_MAX) return false;
  bytes.replace(at, 4, u32_bytes(static_cast<std::uint32_t>(moved), order));
  return true;
}

}  // namespace

std::optional<mpf_entries> read_mpf_entries(const byte_range& block) {
  const std::optional<tiff_block> index = read_tiff_block(block);
  if (!index) return std::nullopt;
  const tiff_entry* entry = index->directory.find(tiff_tag::mp_entry);
  if (entry == nullptr) return std::nullopt;
  const std::optional<tiff_area> area = tiff_value_area(index->directory, *entry);
  std::optional<std::string> bytes = tiff_value(*index, *entry);
  if (!area || !bytes || bytes->size() % entry_size != 0) return std::nullopt;
  return mpf_entries{area->begin, std::move(*bytes), index->directory.order};
}

std::optional<std::string> moved_mpf_entries(const mpf_entries& entries, std::int64_t growth,
                                             std::int64_t growth_behind) {
  std::string bytes = entries.bytes;
  for (std::size_t at = 0; at < bytes.size(); at += entry_size) {
    // The first image is the one that the index is in: its offset is 0 by definition.
    const bool is_first = get_u32(bytes, at + offset_at, entries.order) == 0;
    const bool unused = is_first && get_u32(bytes, at + size_at, entries.order) == 0;
    if (unused) continue;
    const bool moved = is_first ? move_number(bytes, at + size_at, growth, entries.order)
                                : move_number(bytes, at + offset_at, growth_behind, entries.order);
    if (!moved) return std::nullopt;
  }
  return bytes;
}

}  // namespace platform::host::image
