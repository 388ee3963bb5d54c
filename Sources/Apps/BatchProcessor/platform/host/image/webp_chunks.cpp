#include "platform/host/image/webp_chunks.h"

#include "platform/host/byte_order.h"

namespace platform::host::image {

std::optional<webp_chunk> webp_chunk_at(byte_source& source, std::uint64_t offset, std::uint64_t limit) {
  const std::optional<std::string> head = source.read(offset, 8);
  if (!head) return std::nullopt;
  webp_chunk found{offset, head->substr(0, 4), get_u32(*head, 4, byte_order::little)};
  if (found.end() > limit) return std::nullopt;
  return found;
}

byte_range webp_exif_block(byte_source& source, const webp_chunk& exif) {
  const bool is_prefixed = exif.size >= webp_exif_signature.size() &&
                           source.read(exif.data(), webp_exif_signature.size()) == webp_exif_signature;
  const std::uint64_t skipped = is_prefixed ? webp_exif_signature.size() : 0;
  return {&source, exif.data() + skipped, exif.size - skipped};
}

std::optional<webp_canvas> webp_canvas_of(byte_source& source, const webp_chunk& bitstream) {
  constexpr std::uint32_t low_14 = 0x3fff;
  if (bitstream.type == "VP8 " && bitstream.size >= 10) {  // frame tag, start code, two times 14 bits and a scale
    const std::optional<std::string> head = source.read(bitstream.data(), 10);
    if (!head || head->substr(3, 3) != "\x9d\x01\x2a"sv) return std::nullopt;
    return webp_canvas{get_u16(*head, 6, byte_order::little) & low_14, get_u16(*head, 8, byte_order::little) & low_14,
                       false};
  }
  if (bitstream.type == "VP8L" && bitstream.size >= 5) {  // a signature, two times 14 bits less one, a bit for alpha
    const std::optional<std::string> head = source.read(bitstream.data(), 5);
    if (!head || (*head)[0] != '\x2f') return std::nullopt;
    const std::uint32_t bits = get_u32(*head, 1, byte_order::little);
    return webp_canvas{(bits & low_14) + 1, ((bits >> 14) & low_14) + 1, ((bits >> 28) & 1) != 0};
  }
  return std::nullopt;
}

}  // namespace platform::host::image
