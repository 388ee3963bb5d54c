#include "platform/host/media/mp4_xtra.h"

#include <cstddef>
#include <limits>
#include <utility>

#include "platform/host/byte_order.h"

namespace platform::host::media {

namespace {

constexpr std::string_view rating_name = "WM/SharedUserRating";
constexpr std::uint64_t unsigned_64_bits = 19;
constexpr std::size_t value_header = 6;

struct entry {
  std::size_t size = 0;
  std::string_view name;
  std::string_view values;  ///< behind their number
  std::uint64_t value_count = 0;
};

std::optional<entry> read_entry(std::string_view content, std::size_t offset) {
  const std::string_view rest = content.substr(offset);
  if (rest.size() < 12) return std::nullopt;
  const std::uint64_t size = get_big(rest, 0, 4);
  const std::uint64_t name_length = get_big(rest, 4, 4);
  if (size > rest.size() || size < 12 || name_length > size - 12) return std::nullopt;
  const auto values = 12 + name_length;
  return entry{size, rest.substr(8, values - 12), rest.substr(values, size - values), get_big(rest, values - 4, 4)};
}

bool values_are_sound(const entry& entry) {
  std::size_t offset = 0;
  for (std::uint64_t i = 0; i < entry.value_count; ++i) {
    if (entry.values.size() - offset < value_header) return false;
    const std::uint64_t size = get_big(entry.values, offset, 4);
    if (size < value_header || size > entry.values.size() - offset) return false;
    offset += size;
  }
  return offset == entry.values.size();
}

std::optional<std::uint32_t> rating_of(const entry& entry) {
  if (entry.value_count != 1 || entry.values.size() != value_header + 8) return std::nullopt;
  if (get_big(entry.values, 4, 2) != unsigned_64_bits) return std::nullopt;
  const std::uint64_t value = get_little(entry.values, value_header, 8);
  if (value > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  return static_cast<std::uint32_t>(value);
}

std::string rating_entry(std::uint32_t percent) {
  const std::string value = big_bytes(value_header + 8, 4) + big_bytes(unsigned_64_bits, 2) + little_bytes(percent, 8);
  std::string made = big_bytes(12 + rating_name.size() + value.size(), 4) + big_bytes(rating_name.size(), 4);
  made += rating_name;
  return made + big_bytes(1, 4) + value;
}

}  // namespace

std::optional<xtra_rating> read_xtra(std::string_view content) {
  xtra_rating found;
  for (std::size_t offset = 0; offset < content.size();) {
    const auto next = read_entry(content, offset);
    if (!next || !values_are_sound(*next)) return std::nullopt;
    if (next->name == rating_name) {
      const auto percent = rating_of(*next);
      if (!percent) return std::nullopt;
      if (!found.percent) found.percent = percent;
    }
    offset += next->size;
  }
  return found;
}

std::string xtra_with_rating(std::string_view content, std::uint32_t percent) {
  std::string made;
  bool stored = percent == 0;
  for (std::size_t offset = 0; offset < content.size();) {
    const auto next = read_entry(content, offset);
    if (!next) break;  // not reached: the content was read before
    if (next->name != rating_name) {
      made += content.substr(offset, next->size);
    } else if (!std::exchange(stored, true)) {
      made += rating_entry(percent);
    }
    offset += next->size;
  }
  if (!stored) made += rating_entry(percent);
  return made;
}

}  // namespace platform::host::media
