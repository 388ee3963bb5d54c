#include "platform/host/media/mp4_rating.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "platform/host/byte_order.h"
#include "platform/host/edit_plan.h"
#include "platform/host/media/mp4_atoms.h"
#include "platform/host/media/mp4_offsets.h"
#include "platform/host/media/mp4_xtra.h"

namespace platform::host::media {

namespace {

constexpr std::uint64_t room_for_next_time = 1024;
constexpr std::uint64_t smallest_atom = 8;
constexpr std::uint64_t greatest_xtra = 16 << 20;

struct mp4_file {
  std::vector<atom> atoms;
  atom moov;
  std::vector<atom> moov_atoms;
  std::optional<atom> udta;
  std::vector<atom> udta_atoms;
  std::optional<atom> xtra;
  std::string xtra_content;
  xtra_rating rating;
};

/// Where the atoms within another end; the zero that may stand behind them stays last.
std::uint64_t end_of(const std::vector<atom>& children, const atom& parent) {
  return children.empty() ? parent.content() : children.back().end();
}

bool is_first_atom(std::uint32_t type) {
  static constexpr std::array types = {atom_type("ftyp"), atom_type("moov"), atom_type("mdat"),
                                       atom_type("wide"), atom_type("free"), atom_type("skip")};
  return std::find(types.begin(), types.end(), type) != types.end();
}

/// Finds the user data: of several the one with Windows' properties, else the first. False where that is not clear.
bool read_user_data(byte_source& source, mp4_file& file) {
  for (const atom& child : file.moov_atoms) {
    if (child.type != atom_type("udta")) continue;
    auto atoms = list_children(source, child);
    if (!atoms || count_atoms(*atoms, atom_type("Xtra")) > 1) return false;
    const atom* const xtra = find_atom(*atoms, atom_type("Xtra"));
    if (xtra != nullptr && file.xtra) return false;
    if (xtra != nullptr) file.xtra = *xtra;
    if (file.udta && xtra == nullptr) continue;
    file.udta = child;
    file.udta_atoms = *std::move(atoms);
  }
  return true;
}

hresult_result<mp4_file> parse(byte_source& source) {
  mp4_file file;
  auto atoms = list_file_atoms(source);
  if (!atoms || atoms->empty() || !is_first_atom(atoms->front().type)) return hresult::fail;
  file.atoms = *std::move(atoms);
  if (count_atoms(file.atoms, atom_type("moov")) != 1) return hresult::fail;
  file.moov = *find_atom(file.atoms, atom_type("moov"));
  auto children = list_children(source, file.moov);
  // A compressed moov hides what is in it.
  if (!children || find_atom(*children, atom_type("cmov")) != nullptr) return hresult::fail;
  file.moov_atoms = *std::move(children);
  if (!read_user_data(source, file)) return hresult::fail;
  if (file.xtra) {
    if (file.xtra->size > greatest_xtra) return hresult::fail;
    auto content = source.read(file.xtra->content(), file.xtra->content_size());
    const auto rating = content ? read_xtra(*content) : std::nullopt;
    if (!rating) return hresult::fail;
    file.xtra_content = *std::move(content);
    file.rating = *rating;
  }
  return file;
}

hresult_result<std::optional<std::uint32_t>> read(byte_source& source, handler_access) {
  const auto file = parse(source);
  if (!file) return file.error();
  return file->rating.percent;
}

/// Where the bytes come from that the change needs, or where those go that it sets free.
struct room {
  enum class place : std::uint8_t { udta, moov, behind_moov } where = place::udta;
  atom free;
};

std::optional<room> find_room(const mp4_file& file, std::int64_t growth) {
  const auto fits = [&](const atom& candidate) {
    if (candidate.type != atom_type("free") && candidate.type != atom_type("skip")) return false;
    if (candidate.header != 8 || candidate.to_file_end) return false;
    const std::int64_t left = static_cast<std::int64_t>(candidate.size) - growth;
    return left == 0 ||
           (left >= static_cast<std::int64_t>(smallest_atom) && static_cast<std::uint64_t>(left) <= greatest_of(4));
  };
  const auto in = [&](const std::vector<atom>& atoms, room::place where) -> std::optional<room> {
    const auto found = std::find_if(atoms.begin(), atoms.end(), fits);
    return found == atoms.end() ? std::nullopt : std::optional(room{where, *found});
  };
  if (auto found = in(file.udta_atoms, room::place::udta)) return found;
  if (auto found = in(file.moov_atoms, room::place::moov)) return found;
  const auto next = std::find_if(file.atoms.begin(), file.atoms.end(),
                                 [&](const atom& candidate) { return candidate.offset == file.moov.end(); });
  if (next == file.atoms.end() || !fits(*next)) return std::nullopt;
  return room{room::place::behind_moov, *next};
}

/// The splice that takes `growth` bytes from a free atom, or adds as many to it.
splice resized(const atom& free, std::int64_t growth) {
  const auto left = static_cast<std::uint64_t>(static_cast<std::int64_t>(free.size) - growth);
  if (left == 0) return {free.offset, free.size, {}};
  splice edit{free.offset, smallest_atom, big_bytes(left, 4) + big_bytes(free.type, 4)};
  if (growth > 0) {
    edit.erase += static_cast<std::uint64_t>(growth);
  } else {
    edit.bytes.append(static_cast<std::size_t>(-growth), '\0');
  }
  return edit;
}

/// False where the new size doesn't fit the atom's field.
bool resize_header(const atom& self, std::int64_t growth, edit_plan& plan) {
  if (growth == 0 || self.to_file_end) return true;
  const auto size = static_cast<std::uint64_t>(static_cast<std::int64_t>(self.size) + growth);
  const std::size_t width = self.header == 16 ? 8 : 4;
  if (size > greatest_of(width)) return false;
  plan.push_back({self.header == 16 ? self.offset + 8 : self.offset, width, big_bytes(size, width)});
  return true;
}

std::string free_atom(std::uint64_t size) {
  return atom_bytes(atom_type("free"), std::string(size - smallest_atom, '\0'));
}

/// The splice that gives the file its new Xtra atom (none if empty), with a new udta atom where it had none.
splice change_of(const mp4_file& file, const std::string& xtra) {
  if (file.xtra) return {file.xtra->offset, file.xtra->size, xtra};
  if (file.udta) return {end_of(file.udta_atoms, *file.udta), 0, xtra};
  return {end_of(file.moov_atoms, file.moov), 0, atom_bytes(atom_type("udta"), xtra)};
}

/// What becomes of the sizes of the atoms around the change.
struct growths {
  std::int64_t change = 0;
  std::int64_t udta = 0;
  std::int64_t moov = 0;
};

/// Adds the change and the edits that give it room: from a free atom, else by a moov atom that grows, with a new free
/// atom for the next time. What the change sets free becomes a free atom behind it. False where an atom would become
/// too large.
bool add_with_room(const mp4_file& file, splice change, edit_plan& plan) {
  const auto growth = static_cast<std::int64_t>(change.bytes.size()) - static_cast<std::int64_t>(change.erase);
  if (-growth >= static_cast<std::int64_t>(smallest_atom)) {
    change.bytes += free_atom(static_cast<std::uint64_t>(-growth));
    plan.push_back(std::move(change));
    return true;
  }
  // Of two splices at one offset the change comes first.
  plan.push_back(std::move(change));
  std::int64_t udta_growth = growth;
  std::int64_t moov_growth = 0;
  if (const auto found = find_room(file, growth)) {
    plan.push_back(resized(found->free, growth));
    if (found->where == room::place::udta) udta_growth = 0;
    if (found->where == room::place::behind_moov) moov_growth = growth;
  } else {
    const std::uint64_t place = file.udta ? file.udta->end() : plan.front().offset;
    plan.push_back({place, 0, free_atom(room_for_next_time)});
    moov_growth = growth + static_cast<std::int64_t>(room_for_next_time);
  }
  return (!file.udta || resize_header(*file.udta, udta_growth, plan)) && resize_header(file.moov, moov_growth, plan);
}

/// The bytes that change places, and by how much those behind them move.
displacement displaced(const mp4_file& file, const edit_plan& plan) {
  displacement moved{~std::uint64_t{0}, 0, 0};
  std::int64_t total = 0;
  for (const splice& edit : plan) {
    const auto growth = static_cast<std::int64_t>(edit.bytes.size()) - static_cast<std::int64_t>(edit.erase);
    total += growth;
    if (growth == 0 && edit.erase <= 8) continue;  // the size of an atom
    moved.begin = std::min(moved.begin, edit.offset);
    moved.end = std::max(moved.end, edit.offset + edit.erase);
  }
  if (total == 0) return moved;
  moved.end = file.moov.end();
  const bool last = moved.end == file.atoms.back().end();
  moved.growth = last ? 0 : static_cast<std::uint64_t>(total);
  return moved;
}

void sort(edit_plan& plan) {
  std::stable_sort(plan.begin(), plan.end(), [](const splice& a, const splice& b) { return a.offset < b.offset; });
}

hresult_result<edit_plan> plan(byte_source& source, std::uint32_t percent) {
  const auto file = parse(source);
  if (!file) return file.error();
  if (file->rating.percent.value_or(0) == percent) return edit_plan();
  const std::string content = xtra_with_rating(file->xtra_content, percent);
  const std::string xtra = content.empty() ? std::string() : atom_bytes(atom_type("Xtra"), content);
  edit_plan edits;
  if (file->xtra && content.size() == file->xtra_content.size()) {
    add_difference(edits, file->xtra->content(), file->xtra_content, content);
    return edits;
  }
  if (!add_with_room(*file, change_of(*file, xtra), edits)) return hresult::imaging_property_not_supported;
  sort(edits);
  auto joined = join_balanced(source, std::move(edits));
  if (!joined) return hresult::fail;
  const auto offsets = read_offsets(source, file->atoms);
  const bool moved = offsets && move_offsets(source, *offsets, displaced(*file, *joined), *joined);
  if (!moved) return hresult::imaging_property_not_supported;
  sort(*joined);
  return *std::move(joined);
}

}  // namespace

const rating_format mp4_rating = {read, plan};

}  // namespace platform::host::media
