// Whole numbers in byte strings, in either byte order. Callers have checked that the bytes are there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace platform::host::image {

enum class byte_order { little, big };

template <class Number>
[[nodiscard]] constexpr Number get_number(std::string_view bytes, std::size_t at, byte_order order) {
  Number number = 0;
  for (std::size_t i = 0; i < sizeof(Number); ++i) {
    const std::size_t index = order == byte_order::big ? at + i : at + sizeof(Number) - 1 - i;
    number = static_cast<Number>((number << 8) | static_cast<unsigned char>(bytes[index]));
  }
  return number;
}

[[nodiscard]] constexpr std::uint16_t get_u16(std::string_view bytes, std::size_t at, byte_order order) {
  return get_number<std::uint16_t>(bytes, at, order);
}

[[nodiscard]] constexpr std::uint32_t get_u32(std::string_view bytes, std::size_t at, byte_order order) {
  return get_number<std::uint32_t>(bytes, at, order);
}

template <class Number>
void append_number(std::string& out, Number number, byte_order order) {
  for (std::size_t i = 0; i < sizeof(Number); ++i) {
    const std::size_t shift = 8 * (order == byte_order::big ? sizeof(Number) - 1 - i : i);
    out.push_back(static_cast<char>(static_cast<unsigned char>((number >> shift) & 0xff)));
  }
}

inline void append_u16(std::string& out, std::uint16_t number, byte_order order) { append_number(out, number, order); }
inline void append_u32(std::string& out, std::uint32_t number, byte_order order) { append_number(out, number, order); }

[[nodiscard]] inline std::string u16_bytes(std::uint16_t number, byte_order order) {
  std::string bytes;
  append_u16(bytes, number, order);
  return bytes;
}

[[nodiscard]] inline std::string u32_bytes(std::uint32_t number, byte_order order) {
  std::string bytes;
  append_u32(bytes, number, order);
  return bytes;
}

}  // namespace platform::host::image
