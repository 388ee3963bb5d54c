// The checksums that image containers keep of their pieces.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace platform::host::image {

/// CRC-32 as in ISO 3309, the one that PNG chunks end in.
[[nodiscard]] std::uint32_t crc32(std::string_view bytes);

/// The 16 bytes of RFC 1321. It guards nothing here: it only tells other programs that two blocks belong together.
[[nodiscard]] std::string md5(std::string_view bytes);

}  // namespace platform::host::image
