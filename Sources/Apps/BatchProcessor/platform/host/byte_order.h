// Whole numbers of 1 to 8 bytes in byte strings, in either byte order. Readers' callers have checked that the bytes are
// there; of a number that is written, what doesn't fit is for the caller to refuse.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace platform::host {

enum class byte_order { little, big };

[[nodiscard]] constexpr std::uint64_t get_number(std::string_view bytes, std::size_t at, std::size_t width,
                                                 byte_order order) {
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < width; ++i) {
    const std::size_t index = order == byte_order::big ? at + i : at + width - 1 - i;
    number = number << 8 | static_cast<unsigned char>(bytes[index]);
  }
  return number;
}

[[nodiscard]] constexpr std::uint16_t get_u16(std::string_view bytes, std::size_t at, byte_order order) {
  return static_cast<std::uint16_t>(get_number(bytes, at, 2, order));
}
[[nodiscard]] constexpr std::uint32_t get_u32(std::string_view bytes, std::size_t at, byte_order order) {
  return static_cast<std::uint32_t>(get_number(bytes, at, 4, order));
}
[[nodiscard]] constexpr std::uint64_t get_big(std::string_view bytes, std::size_t at, std::size_t width) {
  return get_number(bytes, at, width, byte_order::big);
}
[[nodiscard]] constexpr std::uint64_t get_little(std::string_view bytes, std::size_t at, std::size_t width) {
  return get_number(bytes, at, width, byte_order::little);
}

/// The low `width` bytes of the number.
inline void append_number(std::string& out, std::uint64_t number, std::size_t width, byte_order order) {
  for (std::size_t i = 0; i < width; ++i) {
    const std::size_t shift = 8 * (order == byte_order::big ? width - 1 - i : i);
    out.push_back(static_cast<char>(static_cast<unsigned char>(number >> shift & 0xff)));
  }
}
inline void append_u16(std::string& out, std::uint16_t number, byte_order order) {
  append_number(out, number, 2, order);
}
inline void append_u32(std::string& out, std::uint32_t number, byte_order order) {
  append_number(out, number, 4, order);
}

[[nodiscard]] inline std::string number_bytes(std::uint64_t number, std::size_t width, byte_order order) {
  std::string bytes;
  append_number(bytes, number, width, order);
  return bytes;
}
[[nodiscard]] inline std::string u16_bytes(std::uint16_t number, byte_order order) {
  return number_bytes(number, 2, order);
}
[[nodiscard]] inline std::string u32_bytes(std::uint32_t number, byte_order order) {
  return number_bytes(number, 4, order);
}
[[nodiscard]] inline std::string big_bytes(std::uint64_t number, std::size_t width) {
  return number_bytes(number, width, byte_order::big);
}
[[nodiscard]] inline std::string little_bytes(std::uint64_t number, std::size_t width) {
  return number_bytes(number, width, byte_order::little);
}

/// The greatest number of `width` bytes.
[[nodiscard]] constexpr std::uint64_t greatest_of(std::size_t width) {
  return width >= 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << (8 * width)) - 1;
}

}  // namespace platform::host
