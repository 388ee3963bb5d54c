// A hash that stays the same from run to run: for what is kept in files, names and attributes.
#pragma once

#include <cstdint>
#include <string_view>

namespace platform::host {

/// FNV-1a.
[[nodiscard]] constexpr std::uint64_t hash_of(std::string_view bytes) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : bytes)
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  return hash;
}

}  // namespace platform::host
