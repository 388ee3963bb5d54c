#include "platform/host/media/mp4_offsets.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/host/byte_order.h"

namespace platform::host::media {

namespace {

/// The atoms that hold positions, or hold atoms that do. Depth is bounded by these kinds: none holds itself.
enum class kind : std::uint32_t {
  file = 0,
  plain = 1,  ///< no position in it
  moov = atom_type("moov"),
  trak = atom_type("trak"),
  mdia = atom_type("mdia"),
  minf = atom_type("minf"),
  dinf = atom_type("dinf"),
  stbl = atom_type("stbl"),
  moof = atom_type("moof"),
  traf = atom_type("traf"),
  mfra = atom_type("mfra"),
  meta = atom_type("meta"),
  stco = atom_type("stco"),
  co64 = atom_type("co64"),
  saio = atom_type("saio"),
  tfhd = atom_type("tfhd"),
  tfra = atom_type("tfra"),
  sidx = atom_type("sidx"),
  iloc = atom_type("iloc"),
  dref = atom_type("dref"),
};

/// What may stand where: atoms that are a kind of their own, and plain ones, as names of four characters with a blank
/// between them. An atom that isn't named can't be judged.
struct parent_row {
  kind parent;
  std::string_view kinds;
  std::string_view plain;
};
constexpr parent_row known_atoms[] = {
    {kind::file, "moov moof mfra meta sidx", "ftyp styp mdat wide pdin prft emsg ssix"},
    {kind::moov, "trak meta", "mvhd iods udta mvex pssh clip ctab"},
    {kind::trak, "mdia meta", "tkhd edts tref udta load clip matt tapt imap txas trgr"},
    {kind::mdia, "minf", "mdhd hdlr elng udta"},
    {kind::minf, "stbl dinf", "vmhd smhd hmhd nmhd sthd gmhd hdlr"},
    {kind::dinf, "dref", ""},
    {kind::stbl, "stco co64 saio",
     "stsd stts stss stsc stsz stz2 ctts cslg sdtp sgpd sbgp csgp subs stsh padb stdp stps saiz senc"},
    {kind::moof, "traf", "mfhd pssh"},
    {kind::traf, "tfhd", "trun tfdt sbgp sgpd csgp subs saiz saio senc sdtp"},
    {kind::mfra, "tfra", "mfro"},
    {kind::meta, "iloc dinf", "hdlr pitm iinf iref iprp ipro idat keys ilst xml  bxml mhdr ctry lang grpl"},
};

constexpr std::size_t most_atoms_visited = std::size_t{1} << 22;
/// A record's fixed fields are read with its first bytes; none of them has more.
constexpr std::uint64_t record_head = 32;
constexpr std::uint64_t greatest_iloc = 64 << 20;

bool has_name(std::string_view names, std::string_view name) {
  for (std::size_t at = 0; at < names.size(); at += 5) {
    if (names.substr(at, 4) == name) return true;
  }
  return false;
}

std::optional<kind> kind_of(kind parent, std::uint32_t type) {
  if (type == atom_type("free") || type == atom_type("skip")) return kind::plain;
  const auto* const row = std::ranges::find(known_atoms, parent, &parent_row::parent);
  if (row == std::end(known_atoms)) return std::nullopt;
  const std::string name = big_bytes(type, 4);
  if (has_name(row->kinds, name)) return static_cast<kind>(type);
  return has_name(row->plain, name) ? std::optional(kind::plain) : std::nullopt;
}

bool is_xmp(byte_source& source, const atom& self) {
  static constexpr std::string_view id("\xBE\x7A\xCF\xCB\x97\xA9\x42\xE8\x9C\x71\x99\x94\x91\xE3\xAF\xAC", 16);
  return self.type == atom_type("uuid") && self.content_size() >= id.size() &&
         source.read(self.content(), id.size()) == std::optional<std::string>(id);
}

class offset_reader {
 public:
  offset_reader(byte_source& source, offset_map& map) : source_(source), map_(map) {}

  /// False where something contradicts itself.
  bool visit(kind parent, const std::vector<atom>& atoms) {
    visited_ += atoms.size();
    if (visited_ > most_atoms_visited) return false;
    return std::all_of(atoms.begin(), atoms.end(), [&](const atom& self) {
      const auto known = kind_of(parent, self.type);
      if (known) return read(*known, self);
      if (parent != kind::file || !is_xmp(source_, self)) map_.complete = false;
      return true;
    });
  }

 private:
  bool read(kind self_kind, const atom& self) {
    switch (self_kind) {
      case kind::plain:
        return true;
      case kind::stco:
        return read_list(self, 4, 4);
      case kind::co64:
        return read_list(self, 4, 8);
      case kind::saio:
        return read_saio(self);
      case kind::tfhd:
        return read_tfhd(self);
      case kind::tfra:
        return read_tfra(self);
      case kind::sidx:
        return read_sidx(self);
      case kind::iloc:
        return read_iloc(self);
      case kind::dref:
        return read_dref(self);
      case kind::meta:
        return read_meta(self);
      default:
        break;
    }
    const auto children = list_children(source_, self);
    return children && visit(self_kind, *children);
  }

  /// The content's first bytes, filled up with zeros so that every fixed field can be read; the caller compares what
  /// it used with the content's size.
  std::optional<std::string> head_of(const atom& self) {
    auto bytes = source_.read(self.content(), std::min(self.content_size(), record_head));
    if (bytes) bytes->resize(record_head);
    return bytes;
  }

  /// A count at `at`, and behind it as many positions.
  bool read_list(const atom& self, std::uint64_t at, std::uint8_t width) {
    const auto head = head_of(self);
    if (!head || self.content_size() < at + 4) return false;
    const std::uint64_t count = get_big(*head, at, 4);
    if (count * width > self.content_size() - at - 4) return false;
    if (count > 0) map_.tables.push_back({self.content() + at + 4, count, width, width});
    return true;
  }

  bool read_saio(const atom& self) {
    const auto head = head_of(self);
    if (!head || self.content_size() < 8) return false;
    const bool typed = (get_big(*head, 0, 4) & 1) != 0;
    return read_list(self, typed ? 12 : 4, (*head)[0] == 0 ? 4 : 8);
  }

  bool read_tfhd(const atom& self) {
    const auto head = head_of(self);
    if (!head || self.content_size() < 8) return false;
    const bool has_base = (get_big(*head, 0, 4) & 1) != 0;
    if (!has_base) return true;
    if (self.content_size() < 16) return false;
    offset_table base{self.content() + 8, 1, 8, 8};
    base.is_base = true;
    map_.tables.push_back(base);
    return true;
  }

  /// Version and flags, track, the widths of three numbers (each its 2 bits + 1), count; entries of a time, a position
  /// and the three numbers.
  bool read_tfra(const atom& self) {
    const auto head = head_of(self);
    if (!head || self.content_size() < 16) return false;
    const std::uint8_t width = (*head)[0] == 0 ? 4 : 8;
    const std::uint64_t widths = get_big(*head, 8, 4);
    const std::uint64_t stride = 2U * width + 3 + (widths >> 4 & 3) + (widths >> 2 & 3) + (widths & 3);
    const std::uint64_t count = get_big(*head, 12, 4);
    if (count * stride > self.content_size() - 16) return false;
    if (count > 0) {
      map_.tables.push_back({self.content() + 16 + width, count, static_cast<std::uint32_t>(stride), width});
    }
    return true;
  }

  /// Version and flags, stream, time scale, earliest time, first offset (both 32 or 64 bits by version), 16 bits
  /// reserved, count; entries of 12 bytes that start with the length of their material in 31 bits.
  bool read_sidx(const atom& self) {
    const auto head = head_of(self);
    if (!head) return false;
    segment_index index{self, 0, static_cast<std::uint8_t>((*head)[0] == 0 ? 4 : 8), 0, 0};
    const std::uint64_t first = 12U + index.width;
    const std::uint64_t entries = first + index.width + 4;
    if (self.content_size() < entries) return false;
    index.first_offset_position = self.content() + first;
    index.first_offset = get_big(*head, first, index.width);
    const std::uint64_t count = get_big(*head, entries - 2, 2);
    if (count * 12 > self.content_size() - entries) return false;
    const auto lengths = source_.read(self.content() + entries, count * 12);
    if (!lengths) return false;
    for (std::size_t i = 0; i < count; ++i)
      index.length += get_big(*lengths, i * 12, 4) & 0x7fffffff;
    map_.indexes.push_back(index);
    return true;
  }

  /// Every data reference must say that the data is in this file.
  bool read_dref(const atom& self) {
    const auto entries = self.content_size() < 8 ? std::nullopt : list_atoms(source_, self.content() + 8, self.end());
    if (!entries) return false;
    visited_ += entries->size();
    if (visited_ > most_atoms_visited) return false;
    for (const atom& entry : *entries) {
      const auto head = head_of(entry);
      if (!head || entry.content_size() < 4) return false;
      if ((get_big(*head, 0, 4) & 1) == 0) map_.complete = false;
    }
    return true;
  }

  /// QuickTime's form starts with its atoms, that of MPEG-4 with version and flags.
  bool read_meta(const atom& self) {
    const auto head = head_of(self);
    if (!head) return false;
    const bool quicktime = self.content_size() >= 8 && get_big(*head, 4, 4) == atom_type("hdlr");
    if (!quicktime && self.content_size() < 4) return false;
    const auto children = list_atoms(source_, self.content() + (quicktime ? 0 : 4), self.end());
    return children && visit(kind::meta, *children);
  }

  bool read_iloc(const atom& self);

  byte_source& source_;
  offset_map& map_;
  std::size_t visited_ = 0;
};

/// Reads numbers one behind the other; `good` turns false at the end of the bytes.
struct number_reader {
  std::string_view bytes;
  std::size_t at = 0;
  bool good = true;

  std::uint64_t next(std::size_t width) {
    good = good && width <= bytes.size() - at;
    if (!good) return 0;
    at += width;
    return get_big(bytes, at - width, width);
  }
};

bool is_iloc_width(std::uint64_t width) { return width == 0 || width == 4 || width == 8; }

/// Version and flags; the widths of offsets, lengths, bases and indexes in 4 bits each; the number of items; for each
/// its id, in versions 1 and 2 the way that it is built (0: from the file), its data reference (0: this file), a base,
/// the number of extents, and for each an index (versions 1 and 2), an offset from the base, and a length.
bool offset_reader::read_iloc(const atom& self) {
  if (self.content_size() > greatest_iloc) return false;
  const auto bytes = source_.read(self.content(), self.content_size());
  if (!bytes) return false;
  number_reader numbers{*bytes};
  const std::uint64_t version = numbers.next(4) >> 24;
  const std::uint64_t widths = numbers.next(2);
  const auto offset_width = static_cast<std::uint8_t>(widths >> 12 & 15);
  const auto length_width = static_cast<std::uint8_t>(widths >> 8 & 15);
  const auto base_width = static_cast<std::uint8_t>(widths >> 4 & 15);
  const auto index_width = static_cast<std::uint8_t>(version == 0 ? 0 : widths & 15);
  if (version > 2 || !is_iloc_width(offset_width) || !is_iloc_width(length_width) || !is_iloc_width(base_width) ||
      !is_iloc_width(index_width)) {
    return false;
  }
  const std::uint64_t items = numbers.next(version < 2 ? 2 : 4);
  for (std::uint64_t item = 0; item < items && numbers.good; ++item) {
    numbers.next(version < 2 ? 2 : 4);
    const std::uint64_t construction = version == 0 ? 0 : numbers.next(2) & 15;
    const std::uint64_t reference = numbers.next(2);
    const std::size_t base_at = numbers.at;
    const std::uint64_t base = numbers.next(base_width);
    const std::uint64_t extents = numbers.next(2);
    if (construction > 2 || reference != 0) map_.complete = false;
    if (extents > 1 && offset_width + length_width + index_width == 0) return false;
    for (std::uint64_t extent = 0; extent < extents && numbers.good; ++extent) {
      numbers.next(index_width);
      const std::size_t offset_at = numbers.at;
      numbers.next(offset_width);
      const std::uint64_t length = numbers.next(length_width);
      if (construction != 0) continue;
      // Without a length an item has the whole file; without offsets only a single extent can be moved, by its base.
      const bool by_base = offset_width == 0;
      if (length == 0 || (by_base && (base_width == 0 || extents != 1))) {
        map_.complete = false;
        continue;
      }
      offset_table table{self.content() + (by_base ? base_at : offset_at), 1, 0, by_base ? base_width : offset_width};
      table.base = by_base ? 0 : base;
      table.length = length;
      map_.tables.push_back(table);
    }
  }
  return numbers.good;
}

constexpr std::uint64_t bytes_at_a_time = 1 << 20;

/// The position as it is after the displacement; none where there is no such thing.
std::optional<std::uint64_t> moved_position(const offset_table& table, std::uint64_t position,
                                            const displacement& moved) {
  if (position >= moved.begin && position < moved.end) return std::nullopt;
  if (position < moved.begin) {
    const bool spans = table.length > moved.begin - position;
    return spans || (table.is_base && moved.growth > 0) ? std::nullopt : std::optional(position);
  }
  return position + moved.growth;
}

bool move_table(byte_source& source, const offset_table& table, const displacement& moved, edit_plan& plan) {
  const std::uint64_t at_a_time = table.stride == 0 ? 1 : std::max<std::uint64_t>(1, bytes_at_a_time / table.stride);
  for (std::uint64_t done = 0; done < table.count; done += at_a_time) {
    const std::uint64_t count = std::min(at_a_time, table.count - done);
    const std::uint64_t start = table.position + done * table.stride;
    const auto before = source.read(start, (count - 1) * table.stride + table.width);
    if (!before) return false;
    std::string after = *before;
    bool changed = false;
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint64_t number = get_big(*before, i * table.stride, table.width);
      if (number > greatest_of(8) - table.base) return false;
      const auto position = moved_position(table, number + table.base, moved);
      if (!position || *position - table.base > greatest_of(table.width)) return false;
      if (*position == number + table.base) continue;
      after.replace(i * table.stride, table.width, big_bytes(*position - table.base, table.width));
      changed = true;
    }
    if (changed) plan.push_back({start, before->size(), std::move(after)});
  }
  return true;
}

bool move_index(const segment_index& index, const displacement& moved, edit_plan& plan) {
  const std::uint64_t end = index.self.end();
  if (index.first_offset > greatest_of(8) - end || index.length > greatest_of(8) - end - index.first_offset)
    return false;
  const std::uint64_t material = end + index.first_offset;
  if (index.self.offset >= moved.end || material + index.length <= moved.begin) return true;
  if (material < moved.end) return false;
  if (index.first_offset + moved.growth > greatest_of(index.width)) return false;
  plan.push_back({index.first_offset_position, index.width, big_bytes(index.first_offset + moved.growth, index.width)});
  return true;
}

}  // namespace

std::optional<offset_map> read_offsets(byte_source& source, const std::vector<atom>& file_atoms) {
  offset_map map;
  if (!offset_reader(source, map).visit(kind::file, file_atoms)) return std::nullopt;
  for (const atom& self : file_atoms) {
    if (self.type == atom_type("moov")) break;
    if (self.type == atom_type("moof")) map.moof_before_moov = true;
  }
  return map;
}

bool move_offsets(byte_source& source, const offset_map& map, const displacement& moved, edit_plan& plan) {
  if (moved.growth > 0 && (!map.complete || map.moof_before_moov)) return false;
  const auto keeps = [&](const offset_table& table) { return move_table(source, table, moved, plan); };
  if (!std::all_of(map.tables.begin(), map.tables.end(), keeps)) return false;
  return moved.growth == 0 || std::all_of(map.indexes.begin(), map.indexes.end(),
                                          [&](const segment_index& index) { return move_index(index, moved, plan); });
}

}  // namespace platform::host::media
