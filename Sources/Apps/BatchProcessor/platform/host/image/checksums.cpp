#include "platform/host/image/checksums.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>

#include "platform/host/byte_order.h"

namespace platform::host::image {

namespace {

constexpr std::array<std::uint32_t, 256> make_crc_table() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    std::uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit)
      value = (value & 1) != 0 ? (value >> 1) ^ 0xedb88320 : value >> 1;
    table[i] = value;
  }
  return table;
}

constexpr std::array<std::uint32_t, 256> crc_table = make_crc_table();

// floor(2^32 * |sin(i + 1)|)
std::array<std::uint32_t, 64> make_sine_table() {
  std::array<std::uint32_t, 64> table{};
  for (std::size_t i = 0; i < table.size(); ++i) {
    table[i] = static_cast<std::uint32_t>(std::floor(4294967296.0 * std::fabs(std::sin(static_cast<double>(i + 1)))));
  }
  return table;
}

using md5_state = std::array<std::uint32_t, 4>;

void add_block(md5_state& state, std::string_view block) {
  static const std::array<std::uint32_t, 64> sines = make_sine_table();
  constexpr int shifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
  auto [a, b, c, d] = state;
  for (std::size_t i = 0; i < 64; ++i) {
    std::uint32_t mix = 0;
    std::size_t word = 0;
    switch (i / 16) {
      case 0:
        mix = (b & c) | (~b & d), word = i;
        break;
      case 1:
        mix = (d & b) | (~d & c), word = (5 * i + 1) % 16;
        break;
      case 2:
        mix = b ^ c ^ d, word = (3 * i + 5) % 16;
        break;
      default:
        mix = c ^ (b | ~d), word = (7 * i) % 16;
        break;
    }
    const std::uint32_t sum = a + mix + sines[i] + get_u32(block, word * 4, byte_order::little);
    a = d;
    d = c;
    c = b;
    b += std::rotl(sum, shifts[i / 16][i % 4]);
  }
  state = {state[0] + a, state[1] + b, state[2] + c, state[3] + d};
}

}  // namespace

std::uint32_t crc32(std::string_view bytes) {
  std::uint32_t crc = 0xffffffff;
  for (const char c : bytes)
    crc = crc_table[(crc ^ static_cast<unsigned char>(c)) & 0xff] ^ (crc >> 8);
  return ~crc;
}

std::string md5(std::string_view bytes) {
  std::string message(bytes);
  message.push_back('\x80');
  message.append((120 - message.size() % 64) % 64, '\0');
  append_number(message, std::uint64_t{bytes.size()} * 8, 8, byte_order::little);

  md5_state state = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  for (std::size_t at = 0; at < message.size(); at += 64)
    add_block(state, std::string_view(message).substr(at, 64));
  std::string digest;
  for (const std::uint32_t word : state)
    append_u32(digest, word, byte_order::little);
  return digest;
}

}  // namespace platform::host::image
