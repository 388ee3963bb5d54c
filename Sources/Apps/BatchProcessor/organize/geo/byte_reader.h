// Reads the geo files' fields. Behind the end of the bytes every number is zero and every string empty.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace quill_box::organize {

static_assert(std::endian::native == std::endian::little, "the files are little-endian, and so are our machines");

class byte_reader {
 public:
  explicit byte_reader(std::string_view bytes) : rest_(bytes) {}

  /// True once a field was asked for that isn't there whole.
  [[nodiscard]] bool is_past_end() const { return is_past_end_; }
  [[nodiscard]] std::size_t rest() const { return rest_.size(); }

  template <class Number>
  Number number() {
    const std::string_view field = bytes(sizeof(Number));
    Number value = 0;
    if (!field.empty()) std::memcpy(&value, field.data(), sizeof value);
    return value;
  }

  /// A 16-bit length and that many bytes of UTF-8.
  std::string_view string() { return bytes(number<std::uint16_t>()); }

  /// Empty where fewer are left.
  std::string_view bytes(std::size_t size) {
    if (size > rest_.size()) {
      is_past_end_ = true;
      rest_ = {};
    }
    const std::string_view taken = rest_.substr(0, is_past_end_ ? 0 : size);
    rest_.remove_prefix(taken.size());
    return taken;
  }

 private:
  std::string_view rest_;
  bool is_past_end_ = false;
};

}  // namespace quill_box::organize
