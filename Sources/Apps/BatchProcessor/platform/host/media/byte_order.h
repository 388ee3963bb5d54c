// Whole numbers as containers store them, of 1 to 8 bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace platform::host::media {

/// The caller has checked that `bytes` reaches to `offset + width`.
[[nodiscard]] inline std::uint64_t read_big(std::string_view bytes, std::size_t offset, std::size_t width) {
  std::uint64_t value = 0;
  for (const char byte : bytes.substr(offset, width))
    value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}

[[nodiscard]] inline std::uint64_t read_little(std::string_view bytes, std::size_t offset, std::size_t width) {
  std::uint64_t value = 0;
  for (std::size_t i = width; i > 0; --i)
    value = value << 8 | static_cast<unsigned char>(bytes[offset + i - 1]);
  return value;
}

/// The low `width` bytes of a value; what doesn't fit is for the caller to refuse.
[[nodiscard]] inline std::string little_bytes(std::uint64_t value, std::size_t width) {
  std::string bytes(width, '\0');
  for (char& byte : bytes) {
    byte = static_cast<char>(value & 0xff);
    value >>= 8;
  }
  return bytes;
}

[[nodiscard]] inline std::string big_bytes(std::uint64_t value, std::size_t width) {
  const std::string bytes = little_bytes(value, width);
  return {bytes.rbegin(), bytes.rend()};
}

/// The greatest value of `width` bytes.
[[nodiscard]] constexpr std::uint64_t greatest_of(std::size_t width) {
  return width >= 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << (8 * width)) - 1;
}

}  // namespace platform::host::media
