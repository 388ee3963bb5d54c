// Reads the geo files' fields. Behind the end of the bytes every number is zero and every string empty.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "platform/file_system.h"

namespace quill_box::organize {

static_assert(std::endian::native == std::endian::little, "the files are little-endian, and so are our machines");

class byte_reader {
 public:
  explicit byte_reader(std::string_view bytes) : rest_(bytes) {}
  /// The file from its start, `size` bytes of it, in blocks: it need not be in memory beside what is made of it. Where
  /// it can't be read any further the bytes end. The file must stay open as long as the reader lives.
  byte_reader(platform::file& file, std::uint64_t size);
  byte_reader(const byte_reader&) = delete;
  byte_reader& operator=(const byte_reader&) = delete;

  /// True once a field was asked for that isn't there whole.
  [[nodiscard]] bool is_past_end() const { return is_past_end_; }
  /// How many bytes can come at most.
  [[nodiscard]] std::uint64_t rest() const { return rest_.size() + unread_; }

  template <class Number>
  Number number() {
    const std::string_view field = bytes(sizeof(Number));
    Number value = 0;
    if (!field.empty()) std::memcpy(&value, field.data(), sizeof value);
    return value;
  }

  /// A 16-bit length and that many bytes of UTF-8; valid until the next field.
  std::string_view string() { return bytes(number<std::uint16_t>()); }

  /// Up to 65,535 bytes, valid until the next field; empty where fewer are left.
  std::string_view bytes(std::size_t size) {
    if (size > rest_.size()) refill(size);
    const std::string_view taken = rest_.substr(0, is_past_end_ ? 0 : size);
    rest_.remove_prefix(taken.size());
    return taken;
  }

  /// Takes as many bytes as there is room for; where fewer are left the room keeps what it held behind them.
  void copy_to(std::span<std::byte> room);

 private:
  void refill(std::size_t wanted);

  std::string_view rest_;  ///< read and not taken yet
  bool is_past_end_ = false;
  platform::file* file_ = nullptr;
  std::uint64_t unread_ = 0;  ///< of the file
  std::vector<char> block_;
};

}  // namespace quill_box::organize
