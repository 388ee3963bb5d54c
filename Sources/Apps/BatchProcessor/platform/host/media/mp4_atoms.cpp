#include "platform/host/media/mp4_atoms.h"

#include <algorithm>

#include "platform/host/byte_order.h"

namespace platform::host::media {

namespace {

constexpr std::size_t most_atoms = std::size_t{1} << 20;

/// The atom at `offset`, which ends at `end` at the latest; none where its sizes say otherwise.
std::optional<atom> read_atom(byte_source& source, std::uint64_t offset, std::uint64_t end) {
  if (end - offset < 8) return std::nullopt;
  const auto header = source.read(offset, 8);
  if (!header) return std::nullopt;
  atom found{offset, get_big(*header, 0, 4), static_cast<std::uint32_t>(get_big(*header, 4, 4)), 8, false};
  if (found.size == 0 && end == source.size()) {
    found.to_file_end = true;
    found.size = end - offset;
  } else if (found.size == 1) {
    const auto large = source.read(offset + 8, 8);
    if (!large) return std::nullopt;
    found.header = 16;
    found.size = get_big(*large, 0, 8);
  }
  if (found.size < found.header || found.size > end - offset) return std::nullopt;
  return found;
}

bool is_zero(byte_source& source, std::uint64_t offset, std::uint64_t length) {
  const auto bytes = source.read(offset, length);
  return bytes && bytes->find_first_not_of('\0') == std::string::npos;
}

}  // namespace

std::string atom_bytes(std::uint32_t type, std::string_view content) {
  std::string bytes = big_bytes(8 + content.size(), 4) + big_bytes(type, 4);
  bytes += content;
  return bytes;
}

std::optional<std::vector<atom>> list_file_atoms(byte_source& source) {
  std::vector<atom> atoms;
  for (std::uint64_t offset = 0; offset < source.size(); offset = atoms.back().end()) {
    const auto next = read_atom(source, offset, source.size());
    if (!next || atoms.size() == most_atoms) return std::nullopt;
    atoms.push_back(*next);
  }
  return atoms;
}

std::optional<std::vector<atom>> list_atoms(byte_source& source, std::uint64_t begin, std::uint64_t end) {
  std::vector<atom> atoms;
  for (std::uint64_t offset = begin; offset < end; offset = atoms.back().end()) {
    if (end - offset < 8) {
      if (!is_zero(source, offset, end - offset)) return std::nullopt;
      break;
    }
    const auto next = read_atom(source, offset, end);
    // Only an atom of the file may leave its size open.
    if (!next || next->to_file_end || atoms.size() == most_atoms) return std::nullopt;
    atoms.push_back(*next);
  }
  return atoms;
}

const atom* find_atom(const std::vector<atom>& atoms, std::uint32_t type) {
  const auto found =
      std::find_if(atoms.begin(), atoms.end(), [&](const atom& candidate) { return candidate.type == type; });
  return found == atoms.end() ? nullptr : &*found;
}

std::size_t count_atoms(const std::vector<atom>& atoms, std::uint32_t type) {
  return static_cast<std::size_t>(
      std::count_if(atoms.begin(), atoms.end(), [&](const atom& candidate) { return candidate.type == type; }));
}

}  // namespace platform::host::media
