#include "platform/host/image/png_chunks.h"

#include "platform/host/byte_order.h"

namespace platform::host::image {

std::optional<png_chunk> png_chunk_at(byte_source& source, std::uint64_t offset) {
  constexpr std::uint32_t largest_data = 0x7fffffff;
  const std::optional<std::string> head = source.read(offset, 8);
  if (!head) return std::nullopt;
  const png_chunk found{offset, head->substr(4), get_u32(*head, 0, byte_order::big)};
  if (found.size > largest_data || found.end() > source.size()) return std::nullopt;
  return found;
}

}  // namespace platform::host::image
