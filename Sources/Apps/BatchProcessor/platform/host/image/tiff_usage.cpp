#include "platform/host/image/tiff_usage.h"

#include <algorithm>
#include <limits>
#include <set>

namespace platform::host::image {

namespace {

constexpr std::size_t most_directories = 65536;
constexpr std::size_t most_uses = std::size_t{1} << 20;
constexpr std::uint64_t header_size = 8;

// Owners of bytes beside the first directory's fields, which go by their tags.
constexpr std::uint32_t first_directory = 0x10000;
constexpr std::uint32_t anything_else = 0x10001;
constexpr std::uint32_t unknown = 0x10002;

// Exif, GPS, interoperability, sub-images.
constexpr std::uint16_t directory_tags[] = {0x8769, 0x8825, 0xa005, 330};

// Offsets and sizes of image data: strips, tiles, a JPEG stream, free bytes that a program keeps for itself.
struct data_tags {
  std::uint16_t offsets;
  std::uint16_t sizes;
};
constexpr data_tags all_data_tags[] = {{273, 279}, {324, 325}, {513, 514}, {288, 289}};

constexpr std::uint64_t to_the_end = std::numeric_limits<std::uint64_t>::max();

bool overlap(const tiff_area& a, const tiff_area& b) { return a.begin < b.end && b.begin < a.end; }

}  // namespace

bool tiff_usage::is_value_alone(const tiff_area& area, std::uint16_t tag) {
  if (!is_looked_up_) look_up();
  const bool is_inside = area.begin >= header_size && area.end <= block_.range.size;
  // Of the field itself there is one use; a second one is a field that is there twice.
  if (is_unknown_ || !is_inside) return false;
  const auto is_other = [&](const use& other) { return overlap(area, other.area) && other.owner != tag; };
  const auto is_own = [&](const use& other) { return overlap(area, other.area) && other.owner == tag; };
  return std::ranges::none_of(uses_, is_other) && std::ranges::count_if(uses_, is_own) <= 1;
}

bool tiff_usage::has_data_beyond_end() {
  if (!is_looked_up_) look_up();
  return is_cut_;
}

// Guesses don't count against what is known to be a directory.
bool tiff_usage::is_first_directory_alone() {
  if (!is_looked_up_) look_up();
  const tiff_directory& directory = block_.directory;
  const tiff_area area{directory.offset, directory.offset + directory.size()};
  return std::ranges::none_of(uses_, [&area](const use& other) {
    return other.owner != first_directory && other.owner != unknown && overlap(area, other.area);
  });
}

void tiff_usage::look_up() {
  is_looked_up_ = true;
  add_directory(block_.directory, true);
  std::set<std::uint64_t> known = {block_.directory.offset};
  while (!unread_.empty() && !is_unknown_) {
    const std::uint64_t offset = unread_.back();
    unread_.pop_back();
    if (offset == 0 || !known.insert(offset).second) continue;
    if (known.size() > most_directories) is_unknown_ = true;
    const std::optional<tiff_directory> directory =
        read_tiff_directory(block_.range, block_.directory.order, static_cast<std::uint32_t>(offset));
    if (directory) {
      add_directory(*directory, false);
    } else {
      add_use({offset, to_the_end}, unknown);
    }
  }
}

void tiff_usage::add_directory(const tiff_directory& directory, bool is_first) {
  add_use({directory.offset, directory.offset + directory.size()}, is_first ? first_directory : anything_else);
  unread_.push_back(directory.next);
  for (const tiff_entry& entry : directory.entries) {
    const std::uint32_t owner = is_first ? entry.tag : anything_else;
    if (const auto area = tiff_value_area(directory, entry)) {
      add_use(*area, owner);
    } else if (entry.count != 0 && !tiff_type_is_known(entry.type)) {
      add_use({get_u32(entry.value, 0, directory.order), to_the_end}, unknown);
    }
    if (std::ranges::find(directory_tags, entry.tag) == std::end(directory_tags)) continue;
    const auto below = numbers(directory, entry);
    is_unknown_ = is_unknown_ || !below;
    if (is_unknown_) return;
    unread_.insert(unread_.end(), below->begin(), below->end());
  }
  for (const data_tags& tags : all_data_tags)
    add_data(directory, tags.offsets, tags.sizes);
}

void tiff_usage::add_data(const tiff_directory& directory, std::uint16_t offsets_tag, std::uint16_t sizes_tag) {
  const tiff_entry* const offsets_entry = directory.find(static_cast<tiff_tag>(offsets_tag));
  const tiff_entry* const sizes_entry = directory.find(static_cast<tiff_tag>(sizes_tag));
  if (offsets_entry == nullptr) return;
  const bool is_paired = sizes_entry != nullptr && sizes_entry->count == offsets_entry->count;
  const auto offsets = is_paired ? numbers(directory, *offsets_entry) : std::nullopt;
  const auto sizes = is_paired ? numbers(directory, *sizes_entry) : std::nullopt;
  is_unknown_ = is_unknown_ || !offsets || !sizes;
  if (is_unknown_) return;
  for (std::size_t i = 0; i < offsets->size(); ++i) {
    const tiff_area data{(*offsets)[i], (*offsets)[i] + (*sizes)[i]};
    is_cut_ = is_cut_ || data.end > block_.range.size;
    add_use(data, anything_else);
  }
}

void tiff_usage::add_use(const tiff_area& area, std::uint32_t owner) {
  if (area.begin < area.end) uses_.push_back({area, owner});
  is_unknown_ = is_unknown_ || uses_.size() > most_uses;
}

// None for what can't be read, is no list of whole numbers, or is longer than what may be kept.
std::optional<std::vector<std::uint64_t>> tiff_usage::numbers(const tiff_directory& directory,
                                                              const tiff_entry& entry) {
  const std::size_t room = most_uses - std::min(most_uses, uses_.size() + unread_.size());
  if (entry.count > room) return std::nullopt;
  const std::optional<std::string> bytes = tiff_value(block_.range, directory, entry);
  if (!bytes) return std::nullopt;
  std::size_t width = 0;
  switch (static_cast<tiff_type>(entry.type)) {
    case tiff_type::unsigned_short:
      width = 2;
      break;
    case tiff_type::unsigned_long:
    case tiff_type::directory:
      width = 4;
      break;
    default:
      return std::nullopt;
  }
  std::vector<std::uint64_t> numbers;
  for (std::size_t at = 0; at + width <= bytes->size(); at += width)
    numbers.push_back(get_number(*bytes, at, width, directory.order));
  return numbers;
}

}  // namespace platform::host::image
