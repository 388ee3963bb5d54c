#include "platform/host/byte_runs.h"

#include <algorithm>
#include <cstddef>

namespace platform::host {

namespace {

constexpr std::size_t shortest_gap = 64;

// The end of the run of differences that starts at `first`: a gap of equal bytes follows, or the end.
std::size_t run_end(std::string_view old_bytes, std::string_view new_bytes, std::size_t first) {
  std::size_t end = first + 1;
  for (std::size_t i = end; i < old_bytes.size() && i - end < shortest_gap; ++i) {
    if (old_bytes[i] != new_bytes[i]) end = i + 1;
  }
  return end;
}

}  // namespace

void append_byte_runs(std::vector<byte_run>& runs, std::uint64_t offset, std::string_view old_bytes,
                      std::string_view new_bytes) {
  for (std::size_t at = 0;;) {
    const auto from = old_bytes.begin() + static_cast<std::ptrdiff_t>(at);
    const auto difference = std::mismatch(from, old_bytes.end(), new_bytes.begin() + static_cast<std::ptrdiff_t>(at));
    if (difference.first == old_bytes.end()) return;
    const auto first = static_cast<std::size_t>(difference.first - old_bytes.begin());
    at = run_end(old_bytes, new_bytes, first);
    runs.push_back({offset + first, old_bytes.substr(first, at - first), new_bytes.substr(first, at - first)});
  }
}

}  // namespace platform::host
