// Nothing that exists moves, since offsets all over the block, those inside of MakerNotes among them, point at it. What
// needs more bytes than there are gets a copy of the directory at the block's end, with room behind it that a padding
// field (0xEA1C) owns:
//
//   directory | room | values          the directory grows into the front of the room, values take its end
//
// The same field is what Windows leaves behind in files, so that its room serves here, too.
#include <algorithm>
#include <set>
#include <utility>

#include "platform/host/image/tiff_directory.h"
#include "platform/host/image/tiff_usage.h"

namespace platform::host::image {

namespace {

constexpr std::uint64_t page_size = 4096;
constexpr std::uint64_t room_sizes[] = {2048, 512, 0};  // tried in turn
constexpr std::uint64_t smallest_room = 8;              // below that its entry would hold the value itself
constexpr std::string_view room_signature = "\x1c\xea";

constexpr std::uint64_t even(std::uint64_t offset) { return offset + offset % 2; }

// XMP and IPTC of a TIFF file have room of their own, or are too large for the common one.
bool has_own_place(tiff_tag tag) { return tag != tiff_tag::keywords; }

struct block_patch {
  std::uint64_t offset = 0;
  std::string bytes;
  bool stands_alone = false;
};

// Of patches that cover the same bytes the last one holds.
edit_plan resolve(const std::vector<block_patch>& patches) {
  edit_plan plan;
  for (auto it = patches.rbegin(); it != patches.rend(); ++it) {
    std::vector<tiff_area> free = {{it->offset, it->offset + it->bytes.size()}};
    for (const splice& done : plan) {
      const tiff_area taken{done.offset, done.offset + done.erase};
      std::vector<tiff_area> rest;
      for (const tiff_area& area : free) {
        if (area.begin < std::min(area.end, taken.begin)) rest.push_back({area.begin, std::min(area.end, taken.begin)});
        if (std::max(area.begin, taken.end) < area.end) rest.push_back({std::max(area.begin, taken.end), area.end});
      }
      free = std::move(rest);
    }
    for (const tiff_area& area : free) {
      plan.push_back({area.begin, area.end - area.begin,
                      it->bytes.substr(area.begin - it->offset, area.end - area.begin), it->stands_alone});
    }
  }
  std::sort(plan.begin(), plan.end(), [](const splice& a, const splice& b) { return a.offset < b.offset; });
  return plan;
}

enum class new_values { placed, dropped };

class directory_editor {
 public:
  directory_editor(const tiff_block& block, tiff_usage& usage, new_values mode)
      : block_(block),
        usage_(usage),
        order_(block.directory.order),
        mode_(mode),
        entries_(block.directory.entries),
        room_(find_room()) {}

  [[nodiscard]] bool apply(const tiff_change& change);
  [[nodiscard]] bool lay_out_numbers();
  [[nodiscard]] bool lay_out_in_place();
  [[nodiscard]] bool lay_out_at_end(std::uint64_t size_limit);
  [[nodiscard]] bool is_in_one_page() const;
  [[nodiscard]] tiff_edit result() { return {resolve(patches_), std::move(appended_)}; }

 private:
  struct homeless_value {
    std::uint16_t tag;
    std::string bytes;
  };
  using entry_iterator = std::vector<tiff_entry>::iterator;

  [[nodiscard]] std::uint64_t end_of_block() const { return block_.range.size + appended_.size(); }
  [[nodiscard]] std::optional<tiff_area> find_room() const;

  [[nodiscard]] entry_iterator find(std::uint16_t tag) {
    return std::find_if(entries_.begin(), entries_.end(), [tag](const tiff_entry& entry) { return entry.tag == tag; });
  }
  tiff_entry& find_or_insert(std::uint16_t tag);
  void set_bytes(tiff_tag tag, const std::string& bytes);
  void release(const tiff_entry& entry);
  [[nodiscard]] std::uint64_t new_directory_size() const { return 2 + 12 * entries_.size() + 4; }
  [[nodiscard]] std::string directory_bytes() const;
  void point_at(std::uint16_t tag, std::uint64_t offset) {
    find(tag)->value = u32_bytes(static_cast<std::uint32_t>(offset), order_);
  }
  void set_room_entry(const tiff_area& room);
  [[nodiscard]] std::uint64_t place_in_one_page(std::uint64_t size) const;

  const tiff_block& block_;
  tiff_usage& usage_;
  byte_order order_;
  new_values mode_;
  std::vector<tiff_entry> entries_;
  std::optional<tiff_area> room_;
  std::vector<homeless_value> homeless_;
  std::vector<block_patch> patches_;
  std::string appended_;
  bool changed_ = false;
};

std::optional<tiff_area> directory_editor::find_room() const {
  const tiff_entry* entry = block_.directory.find(tiff_tag::padding);
  if (entry == nullptr || entry->type != static_cast<std::uint16_t>(tiff_type::undefined)) return std::nullopt;
  const std::optional<tiff_area> area = tiff_value_area(block_.directory, *entry);
  if (!area || area->end - area->begin < smallest_room || !usage_.is_value_alone(*area, entry->tag))
    return std::nullopt;
  return area;
}

tiff_entry& directory_editor::find_or_insert(std::uint16_t tag) {
  const auto found = find(tag);
  if (found != entries_.end()) return *found;
  const auto place =
      std::find_if(entries_.begin(), entries_.end(), [tag](const tiff_entry& entry) { return entry.tag > tag; });
  return *entries_.insert(place, {tag, 0, 0, std::string(4, '\0')});
}

// Gives up an entry's value. Bytes that nothing else uses are wiped: what was removed shall be gone.
void directory_editor::release(const tiff_entry& entry) {
  const std::optional<tiff_area> area = tiff_value_area(block_.directory, entry);
  if (!area || has_own_place(static_cast<tiff_tag>(entry.tag)) || !usage_.is_value_alone(*area, entry.tag)) return;
  patches_.push_back({area->begin, std::string(area->end - area->begin, '\0')});
  if (room_ && room_->end == area->begin) room_->end = area->end;
}

bool directory_editor::apply(const tiff_change& change) {
  const auto tag = static_cast<std::uint16_t>(change.tag);
  const tiff_entry* old = block_.directory.find(change.tag);
  if (std::holds_alternative<std::monostate>(change.value)) {
    if (old == nullptr) return true;
    release(*old);
    entries_.erase(find(tag));
    changed_ = true;
    return true;
  }
  if (mode_ == new_values::dropped && old == nullptr) return true;
  if (const auto* number = std::get_if<std::uint16_t>(&change.value)) {
    const bool same = old != nullptr && old->type == static_cast<std::uint16_t>(tiff_type::unsigned_short) &&
                      tiff_number(block_, change.tag) == *number;
    if (same) return true;
    if (old != nullptr) release(*old);
    tiff_entry& entry = find_or_insert(tag);
    entry = {tag, static_cast<std::uint16_t>(tiff_type::unsigned_short), 1, u16_bytes(*number, order_)};
    entry.value.resize(4, '\0');
    changed_ = true;
    return true;
  }
  const auto& bytes = std::get<std::string>(change.value);
  if (bytes.size() > UINT32_MAX) return false;
  if (old != nullptr && tiff_value(block_, *old) == bytes) return true;
  set_bytes(change.tag, bytes);
  changed_ = true;
  return true;
}

void directory_editor::set_bytes(tiff_tag tag, const std::string& bytes) {
  const tiff_entry* old = block_.directory.find(tag);
  tiff_entry& entry = find_or_insert(static_cast<std::uint16_t>(tag));
  const auto old_type = static_cast<tiff_type>(entry.type);
  const bool keeps_type = old_type == tiff_type::byte || old_type == tiff_type::undefined;
  if (old_type == tiff_type::unsigned_long && bytes.size() % 4 == 0) {
    entry.count = static_cast<std::uint32_t>(bytes.size() / 4);  // IPTC as some programs store it
  } else {
    if (!keeps_type) {
      entry.type = static_cast<std::uint16_t>(tag == tiff_tag::iptc ? tiff_type::undefined : tiff_type::byte);
    }
    entry.count = static_cast<std::uint32_t>(bytes.size());
  }
  const std::optional<tiff_area> area = old == nullptr ? std::nullopt : tiff_value_area(block_.directory, *old);
  if (bytes.size() <= 4) {
    if (old != nullptr) release(*old);
    entry.value = bytes;
    entry.value.resize(4, '\0');
    return;
  }
  const bool at_room = area && room_ && room_->end == area->begin;
  if (area && !at_room && bytes.size() <= area->end - area->begin && usage_.is_value_alone(*area, entry.tag)) {
    std::string padded = bytes;
    padded.resize(area->end - area->begin, '\0');
    patches_.push_back({area->begin, std::move(padded)});
    return;
  }
  if (mode_ == new_values::dropped) {
    release(*old);  // only existing fields come here in this mode
    entries_.erase(find(static_cast<std::uint16_t>(tag)));
    return;
  }
  if (old != nullptr) release(*old);
  if (has_own_place(tag)) {
    appended_.append(end_of_block() % 2, '\0');
    point_at(entry.tag, end_of_block());
    appended_ += bytes;
  } else {
    homeless_.push_back({entry.tag, bytes});
  }
}

void directory_editor::set_room_entry(const tiff_area& room) {
  const auto tag = static_cast<std::uint16_t>(tiff_tag::padding);
  tiff_entry& entry = find_or_insert(tag);
  entry.type = static_cast<std::uint16_t>(tiff_type::undefined);
  entry.count = static_cast<std::uint32_t>(room.end - room.begin);
  point_at(tag, room.begin);
}

bool directory_editor::is_in_one_page() const {
  std::set<std::uint64_t> pages;
  for (const splice& part : resolve(patches_)) {
    const std::uint64_t begin = block_.range.begin + part.offset;
    if (part.stands_alone || part.erase == 0) continue;
    pages.insert({begin / page_size, (begin + part.erase - 1) / page_size});
  }
  return pages.size() <= 1;
}

std::string directory_editor::directory_bytes() const {
  std::string bytes;
  append_u16(bytes, static_cast<std::uint16_t>(entries_.size()), order_);
  for (const tiff_entry& entry : entries_) {
    append_u16(bytes, entry.tag, order_);
    append_u16(bytes, entry.type, order_);
    append_u32(bytes, entry.count, order_);
    bytes += entry.value;
  }
  append_u32(bytes, block_.directory.next, order_);
  return bytes;
}

// Where nothing changes but numbers that stand in their entries, each can be written by itself.
bool directory_editor::lay_out_numbers() {
  const std::vector<tiff_entry>& old = block_.directory.entries;
  if (!patches_.empty() || !homeless_.empty() || !appended_.empty() || entries_.size() != old.size()) return false;
  std::vector<block_patch> numbers;
  for (std::size_t i = 0; i < old.size(); ++i) {
    const tiff_entry& entry = entries_[i];
    if (entry.tag != old[i].tag || entry.type != old[i].type || entry.count != old[i].count) return false;
    if (entry.value == old[i].value) continue;
    if (tiff_value_area(block_.directory, entry)) return false;
    numbers.push_back({block_.directory.offset + 2 + 12 * i + 8, entry.value, true});
  }
  patches_ = std::move(numbers);
  return true;
}

bool directory_editor::lay_out_in_place() {
  if (!changed_) return true;
  if (!usage_.is_first_directory_alone()) return false;
  if (lay_out_numbers()) return true;
  const tiff_directory& directory = block_.directory;
  const std::uint64_t old_end = directory.offset + directory.size();
  const std::uint64_t size = new_directory_size();
  std::uint64_t offset = directory.offset;
  if (!room_ && (!homeless_.empty() || size > directory.size())) return false;
  if (size < directory.size()) patches_.push_back({offset + size, std::string(directory.size() - size, '\0')});
  if (room_) {
    tiff_area room = *room_;
    std::vector<std::uint64_t> places;
    for (const homeless_value& value : homeless_) {
      if (value.bytes.size() + 1 > room.end - room.begin) return false;
      room.end = (room.end - value.bytes.size()) & ~std::uint64_t{1};
      places.push_back(room.end);
    }
    if (room.begin == old_end) {
      room.begin = offset + size;
    } else if (size > directory.size()) {
      offset = even(room.begin);
      room.begin = offset + size;
    }
    if (room.end < room.begin + smallest_room) return false;
    for (std::size_t i = 0; i < homeless_.size(); ++i) {
      point_at(homeless_[i].tag, places[i]);
      patches_.push_back({places[i], homeless_[i].bytes});
    }
    if (room.begin != room_->begin) patches_.push_back({room.begin, std::string(room_signature)});
    set_room_entry(room);
  }
  patches_.push_back({offset, directory_bytes()});
  if (offset != directory.offset) {
    patches_.push_back({4, u32_bytes(static_cast<std::uint32_t>(offset), order_)});
  }
  return true;
}

// From the block's end on, at an even offset; where a page of the file takes it all, without a page border in it.
std::uint64_t directory_editor::place_in_one_page(std::uint64_t size) const {
  const std::uint64_t place = even(end_of_block());
  const std::uint64_t in_page = (block_.range.begin + place) % page_size;
  if (in_page + size <= page_size || size >= page_size) return place;
  return even(place + page_size - in_page);
}

bool directory_editor::lay_out_at_end(std::uint64_t size_limit) {
  const bool had_room_entry = block_.directory.find(tiff_tag::padding) != nullptr;
  std::uint64_t values = 0;
  for (const homeless_value& value : homeless_)
    values += even(value.bytes.size());
  for (const std::uint64_t room_size : room_sizes) {
    const std::uint64_t entry_of_room = room_size > 0 && !had_room_entry ? 12 : 0;
    const std::uint64_t directory_size = new_directory_size() + entry_of_room;
    std::uint64_t offset = place_in_one_page(directory_size + room_size + values);
    if (offset + directory_size + room_size + values > size_limit) offset = even(end_of_block());
    const std::uint64_t room_begin = offset + directory_size;
    std::uint64_t place = room_begin + room_size;
    if (place + values > size_limit) continue;
    if (entries_.size() + (entry_of_room > 0 ? 1 : 0) > UINT16_MAX) return false;
    if (room_size > 0) set_room_entry({room_begin, room_begin + room_size});
    std::string tail;
    for (const homeless_value& value : homeless_) {
      point_at(value.tag, place);
      tail += value.bytes;
      tail.append(value.bytes.size() % 2, '\0');
      place += even(value.bytes.size());
    }
    appended_.append(offset - end_of_block(), '\0');
    appended_ += directory_bytes();
    std::string room(room_size, '\0');
    if (room_size > 0) room.replace(0, room_signature.size(), room_signature);
    appended_ += room + tail;
    patches_.push_back({4, u32_bytes(static_cast<std::uint32_t>(offset), order_)});
    return true;
  }
  return false;
}

}  // namespace

std::optional<tiff_edit> edit_tiff_block(const tiff_block& block, std::span<const tiff_change> changes,
                                         tiff_growth growth, std::uint64_t size_limit) {
  const auto apply_all = [&changes](directory_editor& editor) {
    return std::all_of(changes.begin(), changes.end(),
                       [&editor](const tiff_change& change) { return editor.apply(change); });
  };
  tiff_usage usage(block);
  directory_editor editor(block, usage, new_values::placed);
  if (!apply_all(editor)) return std::nullopt;
  directory_editor moved = editor;
  const bool fits_in_place = editor.lay_out_in_place();
  const bool moves = !fits_in_place || (growth == tiff_growth::at_end_in_page && !editor.is_in_one_page());
  if (growth != tiff_growth::none && moves && moved.lay_out_at_end(size_limit)) return moved.result();
  if (fits_in_place) {
    tiff_edit edit = editor.result();
    if (edit.appended.empty() || block.range.size + edit.appended.size() <= size_limit) return edit;
    return std::nullopt;
  }
  if (growth != tiff_growth::none) return std::nullopt;
  directory_editor existing(block, usage, new_values::dropped);
  if (!apply_all(existing) || !existing.lay_out_in_place()) return std::nullopt;
  return existing.result();
}

std::string new_tiff_block(std::span<const tiff_change> changes) {
  using namespace std::string_view_literals;
  const std::string header("II*\0\0\0\0\0"sv);
  memory_source source(header);
  const tiff_block block{{&source, 0, header.size()}, {}};
  const std::optional<tiff_edit> edit = edit_tiff_block(block, changes, tiff_growth::at_end, UINT32_MAX);
  if (!edit) return {};
  std::string bytes = header;
  for (const splice& patch : edit->patches)
    bytes.replace(patch.offset, patch.erase, patch.bytes);
  return bytes + edit->appended;
}

}  // namespace platform::host::image
