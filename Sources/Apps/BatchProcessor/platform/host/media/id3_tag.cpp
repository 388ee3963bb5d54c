// A tag: "ID3", version, revision, flags and the size of what follows (4 bytes of 7 bits, "synchsafe"), an extended
// header if flagged, frames, zeros as padding, in 2.4 perhaps a footer. Unsynchronisation puts a zero behind an 0xff
// that is followed by 0xe0 or above, by zero, or by the end. Up to 2.3 it covers the whole content and sizes count the
// bytes without it; in 2.4 each frame has its own, and sizes count the bytes with it.
#include "platform/host/media/id3_tag.h"

#include <algorithm>
#include <utility>

#include "platform/host/byte_order.h"
#include "platform/host/edit_plan.h"

namespace platform::host::media {

namespace {

constexpr std::size_t tag_header_size = 10;
constexpr std::size_t room_for_next_time = 2048;
constexpr std::size_t greatest_tag = (std::size_t{1} << 28) - 1;
constexpr std::size_t most_frames = 65536;

constexpr std::uint8_t tag_unsynchronised = 0x80;
constexpr std::uint8_t tag_extended = 0x40;
constexpr std::uint8_t tag_experimental = 0x20;
constexpr std::uint8_t tag_footer = 0x10;

/// What the second byte of a frame's flags says, in the bits of its version.
struct frame_format_bits {
  std::uint8_t grouped;
  std::uint8_t unreadable;  ///< compressed or encrypted, or a bit without a meaning
  std::uint8_t unsynchronised;
  std::uint8_t has_length;
};
constexpr frame_format_bits no_format_bits = {0, 0, 0, 0};
constexpr frame_format_bits format_bits_23 = {0x20, 0xdf, 0, 0};
constexpr frame_format_bits format_bits_24 = {0x40, 0xbc, 0x02, 0x01};

const frame_format_bits& format_bits(const id3_tag& tag) {
  return tag.version == 2 ? no_format_bits : tag.version == 3 ? format_bits_23 : format_bits_24;
}

std::size_t id_length(const id3_tag& tag) { return tag.version == 2 ? 3 : 4; }
std::size_t frame_header_size(const id3_tag& tag) { return tag.version == 2 ? 6 : 10; }
bool unsynchronised_as_a_whole(const id3_tag& tag) { return tag.version < 4 && (tag.flags & tag_unsynchronised) != 0; }

std::optional<std::size_t> read_synchsafe(std::string_view bytes, std::size_t offset) {
  std::size_t value = 0;
  for (const char byte : bytes.substr(offset, 4)) {
    if ((byte & 0x80) != 0) return std::nullopt;
    value = value << 7 | static_cast<unsigned char>(byte);
  }
  return value;
}

std::string synchsafe_bytes(std::size_t value) {
  return big_bytes((value & 0x7f) | (value & 0x3f80) << 1 | (value & 0x1fc000) << 2 | (value & 0xfe00000) << 3, 4);
}

std::string synchronised(std::string_view bytes) {
  std::string plain;
  plain.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    plain += bytes[i];
    if (bytes[i] == '\xff' && i + 1 < bytes.size() && bytes[i + 1] == '\0') ++i;
  }
  return plain;
}

std::string unsynchronised(std::string_view bytes) {
  std::string spread;
  spread.reserve(bytes.size() + 1);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    spread += bytes[i];
    if (bytes[i] != '\xff') continue;
    const bool last = i + 1 == bytes.size();
    if (last || bytes[i + 1] == '\0' || static_cast<unsigned char>(bytes[i + 1]) >= 0xe0) spread += '\0';
  }
  return spread;
}

/// The content as the file stores it. Padding is no part of it: zeros behind the result stand for themselves.
std::string as_stored(const id3_tag& tag, std::string_view content) {
  return unsynchronised_as_a_whole(tag) ? unsynchronised(content) : std::string(content);
}

bool all_zero(std::string_view bytes) { return bytes.find_first_not_of('\0') == std::string_view::npos; }

/// The extended header of 2.3: size without itself (6, or 10 with a checksum), flags, size of the padding.
bool read_extended_header_23(id3_tag& tag) {
  const std::string_view content = tag.content;
  if (content.size() < 10) return false;
  const auto size = get_big(content, 0, 4);
  const std::uint64_t flags = get_big(content, 4, 2);
  if ((flags & 0x7fff) != 0 || size != (flags == 0 ? 6U : 10U) || content.size() < 4 + size) return false;
  tag.fixed = flags != 0;
  tag.padding_field = 6;
  tag.frames_begin = 4 + size;
  return true;
}

/// The extended header of 2.4: synchsafe size with itself, the number of flag bytes (1), flags, then for each flag
/// the length of its data and the data.
bool read_extended_header_24(id3_tag& tag) {
  const std::string_view content = tag.content;
  if (content.size() < 6) return false;
  const auto size = read_synchsafe(content, 0);
  if (!size || *size < 6 || *size > content.size() || content[4] != 1) return false;
  constexpr char is_update = 0x40;
  tag.fixed = (content[5] & ~is_update) != 0;
  tag.frames_begin = *size;
  return true;
}

bool is_frame_id(std::string_view id) {
  return std::all_of(id.begin(), id.end(), [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); });
}

struct frame_list {
  std::vector<id3_frame> frames;
  std::size_t end = 0;
  friend bool operator==(const frame_list& a, const frame_list& b) {
    return a.end == b.end && std::equal(a.frames.begin(), a.frames.end(), b.frames.begin(), b.frames.end(),
                                        [](const id3_frame& x, const id3_frame& y) { return x.size == y.size; });
  }
};

enum class size_form : std::uint8_t { plain, synchsafe };

std::optional<frame_list> list_frames(const id3_tag& tag, std::string_view content, size_form form) {
  const std::size_t header = frame_header_size(tag);
  frame_list list{{}, tag.frames_begin};
  while (content.size() - list.end >= header && content[list.end] != '\0') {
    const std::string_view id = content.substr(list.end, id_length(tag));
    if (!is_frame_id(id) || list.frames.size() == most_frames) return std::nullopt;
    std::optional<std::size_t> size;
    if (form == size_form::synchsafe) {
      size = read_synchsafe(content, list.end + 4);
    } else {
      size = get_big(content, list.end + id.size(), id.size());
    }
    if (!size || *size > content.size() - list.end - header) return std::nullopt;
    list.frames.push_back({std::string(id), list.end, header + *size});
    list.end += header + *size;
  }
  if (!all_zero(content.substr(list.end))) return std::nullopt;
  return list;
}

bool read_frames(id3_tag& tag) {
  auto list = list_frames(tag, tag.content, size_form::plain);
  if (tag.version == 4) {
    // One widespread writer stored the sizes of 2.4 frames as plain numbers. Where both readings work out and differ,
    // nothing tells which one is meant.
    auto synchsafe = list_frames(tag, tag.content, size_form::synchsafe);
    if (list && synchsafe && !(*list == *synchsafe)) return false;
    tag.plain_sizes = !synchsafe;
    if (synchsafe) list = std::move(synchsafe);
  }
  if (!list) return false;
  tag.frames = std::move(list->frames);
  tag.frames_end = list->end;
  return true;
}

bool read_content(id3_tag& tag) {
  tag.content = unsynchronised_as_a_whole(tag) ? synchronised(tag.stored) : tag.stored;
  if (tag.version > 2 && (tag.flags & tag_extended) != 0) {
    if (!(tag.version == 3 ? read_extended_header_23(tag) : read_extended_header_24(tag))) return false;
  }
  if (!read_frames(tag)) return false;
  // What isn't stored the way that it would be stored again can't be changed in parts.
  std::string again = as_stored(tag, std::string_view(tag.content).substr(0, tag.frames_end));
  if (again.size() > tag.stored.size()) return false;
  again.resize(tag.stored.size());
  if (again != tag.stored) return false;
  const std::size_t padding = tag.content.size() - tag.frames_end;
  if (tag.has_footer && padding != 0) return false;
  if (tag.padding_field && get_big(tag.content, *tag.padding_field, 4) != padding) tag.fixed = true;
  return true;
}

std::uint8_t known_flags(int version) {
  constexpr std::uint8_t flags_of_23 = tag_unsynchronised | tag_extended | tag_experimental;
  switch (version) {
    case 2:
      return tag_unsynchronised;
    case 3:
      return flags_of_23;
    case 4:
      return flags_of_23 | tag_footer;
    default:
      return 0;
  }
}

/// What a 2.3 or 2.4 frame has between its header and its data.
struct frame_parts {
  std::size_t data = 0;  ///< offset of the data from the frame's start
  std::uint8_t format = 0;
  bool unsynchronised = false;
};

frame_parts parts_of(const id3_tag& tag, std::string_view frame) {
  frame_parts parts{frame_header_size(tag), 0, false};
  if (tag.version == 2) return parts;
  const frame_format_bits& bits = format_bits(tag);
  parts.format = static_cast<std::uint8_t>(frame[9]);
  if ((parts.format & bits.grouped) != 0) ++parts.data;
  if ((parts.format & bits.has_length) != 0) parts.data += 4;
  parts.unsynchronised =
      tag.version == 4 && ((parts.format & bits.unsynchronised) != 0 || (tag.flags & tag_unsynchronised) != 0);
  return parts;
}

std::string size_bytes(const id3_tag& tag, std::size_t size) {
  return tag.version == 4 && !tag.plain_sizes ? synchsafe_bytes(size) : big_bytes(size, id_length(tag));
}

/// Chapters may name the bytes of the file where they start and end; those behind the tag move when it grows. False
/// where that can't be done.
bool move_chapters(const id3_tag& tag, std::string& content, std::size_t growth) {
  const auto list =
      list_frames(tag, content, tag.version == 4 && !tag.plain_sizes ? size_form::synchsafe : size_form::plain);
  if (!list) return false;
  const std::size_t tag_end = tag_header_size + tag.stored.size() + (tag.has_footer ? tag_header_size : 0);
  std::string moved = content.substr(0, tag.frames_begin);
  for (const id3_frame& frame : list->frames) {
    const std::string_view bytes = std::string_view(content).substr(frame.offset, frame.size);
    if (frame.id == "ASPI") return false;  // an index from one position in the file, for which no reader was found
    if (frame.id != "CHAP") {
      moved += bytes;
      continue;
    }
    id3_tag view;
    view.version = tag.version;
    view.flags = tag.flags;
    view.plain_sizes = tag.plain_sizes;
    view.content = std::string(bytes);
    const id3_frame alone{frame.id, 0, view.content.size()};
    auto data = frame_data(view, alone);
    if (!data) return false;
    // Element identifier and a zero, start and end in milliseconds, start and end in bytes; all ones for "not given".
    const std::size_t name_end = data->find('\0');
    if (name_end == std::string::npos || data->size() - name_end - 1 < 16) return false;
    bool changed = false;
    for (const std::size_t field : {name_end + 9, name_end + 13}) {
      const std::uint64_t offset = get_big(*data, field, 4);
      if (offset == greatest_of(4) || offset < tag_end) continue;
      if (offset + growth >= greatest_of(4)) return false;
      data->replace(field, 4, big_bytes(offset + growth, 4));
      changed = true;
    }
    moved += changed ? frame_with_data(view, alone, *data) : std::string(bytes);
  }
  content = std::move(moved);
  return true;
}

edit_plan edits_for(const id3_tag& tag, std::string_view stored) {
  edit_plan plan;
  const std::string before = synchsafe_bytes(tag.stored.size());
  const std::string after = synchsafe_bytes(stored.size());
  add_difference(plan, 6, before, after);
  add_difference(plan, tag_header_size, tag.stored, stored);
  if (tag.has_footer) add_difference(plan, tag_header_size + tag.stored.size() + 6, before, after);
  return plan;
}

}  // namespace

hresult_result<std::optional<id3_tag>> read_id3_tag(byte_source& source) {
  const auto start = source.read(0, std::min<std::uint64_t>(source.size(), tag_header_size));
  if (!start) return hresult::fail;
  if (!start->starts_with("ID3")) return std::optional<id3_tag>();
  if (start->size() < tag_header_size) return hresult::fail;
  id3_tag tag;
  tag.version = static_cast<unsigned char>((*start)[3]);
  tag.flags = static_cast<std::uint8_t>((*start)[5]);
  const auto size = read_synchsafe(*start, 6);
  if (tag.version < 2 || tag.version > 4 || (*start)[4] == '\xff' || !size) return hresult::fail;
  if ((tag.flags & ~known_flags(tag.version)) != 0) return hresult::fail;
  tag.has_footer = (tag.flags & tag_footer) != 0;
  auto stored = source.read(tag_header_size, *size);
  if (!stored) return hresult::fail;
  tag.stored = *std::move(stored);
  if (tag.has_footer) {
    const auto footer = source.read(tag_header_size + *size, tag_header_size);
    if (!footer || *footer != "3DI" + start->substr(3)) return hresult::fail;
  }
  if (!read_content(tag)) return hresult::fail;
  return std::optional<id3_tag>(std::move(tag));
}

std::optional<std::string> frame_data(const id3_tag& tag, const id3_frame& frame) {
  const std::string_view bytes = std::string_view(tag.content).substr(frame.offset, frame.size);
  const frame_parts parts = parts_of(tag, bytes);
  const frame_format_bits& bits = format_bits(tag);
  if ((parts.format & bits.unreadable) != 0 || parts.data > bytes.size()) return std::nullopt;
  const std::string_view stored = bytes.substr(parts.data);
  std::string data = parts.unsynchronised ? synchronised(stored) : std::string(stored);
  if (parts.unsynchronised) {
    // Where only the tag claims it, or the frame wasn't stored by the rule, readers differ on what it says.
    const bool claimed = (parts.format & bits.unsynchronised) != 0;
    if (claimed ? unsynchronised(data) != stored : data != stored) return std::nullopt;
  }
  if ((parts.format & bits.has_length) != 0 && read_synchsafe(bytes, parts.data - 4) != data.size())
    return std::nullopt;
  return data;
}

std::string frame_with_data(const id3_tag& tag, const id3_frame& frame, std::string_view data) {
  const std::string_view bytes = std::string_view(tag.content).substr(frame.offset, frame.size);
  const frame_parts parts = parts_of(tag, bytes);
  const frame_format_bits& bits = format_bits(tag);
  const std::string stored = parts.unsynchronised ? unsynchronised(data) : std::string(data);
  std::string made(bytes.substr(0, parts.data));
  made.replace(id_length(tag), id_length(tag), size_bytes(tag, parts.data - frame_header_size(tag) + stored.size()));
  if (parts.unsynchronised) made[9] = static_cast<char>(parts.format | bits.unsynchronised);
  if ((parts.format & bits.has_length) != 0) made.replace(parts.data - 4, 4, synchsafe_bytes(data.size()));
  return made + stored;
}

std::string new_frame(const id3_tag& tag, std::string_view id, std::string_view data) {
  const bool spread = tag.version == 4 && (tag.flags & tag_unsynchronised) != 0;
  const std::string stored = spread ? unsynchronised(data) : std::string(data);
  std::string frame(id);
  frame += size_bytes(tag, stored.size());
  if (tag.version > 2) {
    frame += '\0';
    frame += spread ? static_cast<char>(format_bits_24.unsynchronised) : '\0';
  }
  return frame + stored;
}

std::optional<edit_plan> replace_frames(const id3_tag& tag, std::string_view frames) {
  std::string content = tag.content.substr(0, tag.frames_begin);
  content += frames;
  std::string stored = as_stored(tag, content);
  std::size_t size = tag.stored.size();
  if (tag.has_footer) {
    size = stored.size();
  } else if (stored.size() > size) {
    size = stored.size() + room_for_next_time;
  }
  if (size > greatest_tag) return std::nullopt;
  // A tag shrinks only where it has a footer; no chapter is moved forwards.
  if (size < tag.stored.size() && std::any_of(tag.frames.begin(), tag.frames.end(), [](const id3_frame& frame) {
        return frame.id == "CHAP" || frame.id == "ASPI";
      })) {
    return std::nullopt;
  }
  if (size > tag.stored.size() && !move_chapters(tag, content, size - tag.stored.size())) return std::nullopt;
  if (tag.padding_field) {
    // The number itself may need a byte more or less where the tag is unsynchronised, so it is found by trying.
    bool settled = false;
    for (int attempt = 0; attempt < 4 && !settled; ++attempt) {
      const std::size_t used = as_stored(tag, content).size();
      if (used > size) return std::nullopt;
      const std::string padding = big_bytes(size - used, 4);
      settled = content.compare(*tag.padding_field, 4, padding) == 0;
      content.replace(*tag.padding_field, 4, padding);
    }
    if (!settled) return std::nullopt;
  }
  stored = as_stored(tag, content);
  if (stored.size() > size || (tag.has_footer && stored.size() != size)) return std::nullopt;
  stored.resize(size);
  return edits_for(tag, stored);
}

std::string new_id3_tag(std::string_view id, std::string_view data) {
  const std::string frame = new_frame(id3_tag(), id, data);
  std::string tag("ID3\x03\0\0", 6);
  tag += synchsafe_bytes(frame.size() + room_for_next_time);
  tag += frame;
  tag.resize(tag.size() + room_for_next_time);
  return tag;
}

}  // namespace platform::host::media
