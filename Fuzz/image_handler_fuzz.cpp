// The image handler on bytes from outside. The first byte chooses the container and the change; whatever the rest is,
// an image that opens can be changed, gives the new values back, changes back, and keeps everything else.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/current_bias.h"
#include "platform/host/image/image_bytes.h"
#include "platform/host/image/image_metadata.h"
#include "platform/host/image/photo_facts.h"

namespace {

using namespace platform::host;
using namespace platform::host::image;
using wide_strings = std::vector<std::wstring>;

void require(bool condition) {
  if (!condition) std::abort();
}

std::unique_ptr<image_container> open_kind(unsigned kind, byte_source& source) {
  switch (kind) {
    case 0:
      return open_jpeg(source);
    case 1:
      return open_png(source);
    case 2:
      return open_tiff(source);
    default:
      return open_webp(source);
  }
}

// PNG chunks that the handler reads need a right checksum, which no fuzzer guesses.
std::string with_right_checksums(std::string bytes) {
  std::size_t at = 8;
  while (at + 12 <= bytes.size()) {
    const std::size_t size = get_u32(bytes, at, byte_order::big);
    if (size > bytes.size() - at - 12) break;
    bytes.replace(at + 8 + size, 4,
                  u32_bytes(crc32(std::string_view(bytes).substr(at + 4, size + 4)), byte_order::big));
    at += size + 12;
  }
  return bytes;
}

struct change_result {
  std::string bytes;
  bool done = false;
};

// Whatever the bytes say, a date is one of the calendar and an angle one of the globe.
void require_sound_facts(const std::string& bytes, unsigned kind) {
  memory_source source(bytes);
  const auto container = open_kind(kind, source);
  if (!container) return;
  if (const auto date = read_date_taken(container->blocks())) require(bool(local_from_file_time(*date)));
  for (const gps_axis axis : {gps_axis::latitude, gps_axis::longitude}) {
    const auto angle = read_angle(container->blocks(), axis);
    if (!angle) continue;
    require(std::fabs(angle->decimal()) <= (axis == gps_axis::latitude ? 90 : 180));
    require(std::all_of(angle->parts.begin(), angle->parts.end(), [](double part) { return part >= 0; }));
    require(angle->reference.size() == 1);
  }
}

// The new values have to be read back, and a second time there is nothing to do.
change_result change_and_check(const std::string& bytes, unsigned kind, const image_change& change) {
  memory_source source(bytes);
  const auto container = open_kind(kind, source);
  if (!container) return {};
  const std::optional<edit_plan> plan = plan_change(*container, change);
  if (!plan) return {};
  std::uint64_t done = 0;
  for (const splice& part : *plan) {
    require(part.offset >= done && part.offset <= bytes.size() && part.erase <= bytes.size() - part.offset);
    done = part.offset + part.erase;
  }
  change_result result{image_bytes::apply_plan(bytes, *plan), true};

  memory_source changed_source(result.bytes);
  const auto changed = open_kind(kind, changed_source);
  require(changed != nullptr && changed->is_whole());
  if (change.percent) {
    const auto expected = *change.percent == 0 ? std::nullopt : change.percent;
    require(read_rating(changed->blocks()) == expected);
  } else {
    require(read_rating(changed->blocks()) == read_rating(container->blocks()));
  }
  if (change.keywords) {
    require(read_keywords(changed->blocks()).value_or(wide_strings()) == *change.keywords);
  } else {
    require(read_keywords(changed->blocks()) == read_keywords(container->blocks()));
  }
  const std::optional<edit_plan> again = plan_change(*changed, change);
  require(again && again->empty());
  return result;
}

// What follows takes containers apart on its own, so that it doesn't share the handler's mistakes. The images are
// known to open.

std::string jpeg_without_metadata(std::string_view bytes) {
  std::string rest;
  std::size_t at = 2;
  while (static_cast<unsigned char>(bytes[at + 1]) != 0xda) {
    if (bytes[at + 1] == '\xff') {
      rest += bytes[at++];
      continue;
    }
    const std::string_view segment = bytes.substr(at, std::size_t{2} + get_u16(bytes, at + 2, byte_order::big));
    const auto holds = [segment](std::string_view marker, std::string_view signature) {
      return segment.starts_with(marker) && segment.substr(4).starts_with(signature);
    };
    const bool is_metadata = holds("\xff\xe1", {"Exif\0\0", 6}) || holds("\xff\xe1", "http://ns.adobe.com/xap/1.0/") ||
                             holds("\xff\xed", "Photoshop 3.0") || holds("\xff\xe2", "MPF");
    if (!is_metadata) rest += segment;
    at += segment.size();
  }
  return rest.append(bytes.substr(at));
}

std::string png_without_metadata(std::string_view bytes) {
  std::string rest;
  std::size_t at = 8;
  for (std::string_view type; type != "IEND";) {
    const std::string_view chunk = bytes.substr(at, std::size_t{12} + get_u32(bytes, at, byte_order::big));
    type = chunk.substr(4, 4);
    const bool is_xmp = type == "iTXt" && chunk.substr(8).starts_with("XML:com.adobe.xmp");
    if (type != "eXIf" && type != "iDOT" && !is_xmp) rest += chunk;
    at += chunk.size();
  }
  return rest.append(bytes.substr(at));
}

std::string webp_without_metadata(std::string_view bytes) {
  std::string rest;
  const std::size_t end = std::size_t{8} + get_u32(bytes, 4, byte_order::little);
  std::size_t at = 12;
  while (at < end) {
    const std::size_t size = get_u32(bytes, at + 4, byte_order::little);
    const std::string_view chunk = bytes.substr(at, 8 + size + size % 2);
    const std::string_view type = chunk.substr(0, 4);
    if (type != "EXIF" && type != "XMP " && type != "VP8X") rest += chunk;
    at += chunk.size();
  }
  return rest.append(bytes.substr(end));
}

std::string without_metadata(unsigned kind, std::string_view bytes) {
  if (kind == 0) return jpeg_without_metadata(bytes);
  if (kind == 1) return png_without_metadata(bytes);
  return kind == 3 ? webp_without_metadata(bytes) : std::string();
}

bool is_ours(std::uint16_t tag) {
  constexpr std::uint16_t tags[] = {700, 33723, 34377, 0x4746, 0x4749, 0x9c9e, 0xea1c};
  return std::find(std::begin(tags), std::end(tags), tag) != std::end(tags);
}

std::string bytes_of(const byte_range& range) { return range.read(0, range.size).value_or(""); }

// The first directory's strips, each where it is said to be.
std::vector<tiff_area> strips_of(const tiff_block& block) {
  std::vector<tiff_area> strips;
  const tiff_entry* const offsets = block.directory.find(tiff_tag{273});
  const tiff_entry* const sizes = block.directory.find(tiff_tag{279});
  if (offsets == nullptr || sizes == nullptr || offsets->type != 4 || sizes->type != 4) return {};
  const auto begins = tiff_value(block, *offsets);
  const auto lengths = tiff_value(block, *sizes);
  if (!begins || !lengths || begins->size() != lengths->size()) return {};
  for (std::size_t at = 0; at < begins->size(); at += 4) {
    const std::uint64_t begin = get_u32(*begins, at, block.directory.order);
    strips.push_back({begin, begin + get_u32(*lengths, at, block.directory.order)});
  }
  return strips;
}

// A TIFF file, or an Exif block: outside of the header, the first directory and our fields' values every byte stands
// where it stood, and so does every byte of the strips, even where a field of ours claims it too.
void require_same_tiff(const tiff_block& before, const tiff_block& after) {
  const std::string old_bytes = bytes_of(before.range);
  const std::string new_bytes = bytes_of(after.range);
  require(new_bytes.size() >= old_bytes.size());
  std::vector<bool> may_change(old_bytes.size());
  const auto mark = [&may_change](const tiff_area& area, bool value) {
    for (std::uint64_t at = area.begin; at < std::min<std::uint64_t>(area.end, may_change.size()); ++at)
      may_change[at] = value;
  };
  const tiff_directory& directory = before.directory;
  for (const tiff_entry& entry : directory.entries) {
    const auto area = tiff_value_area(directory, entry);
    if (area && is_ours(entry.tag)) mark(*area, true);
  }
  for (const tiff_area& strip : strips_of(before))
    mark(strip, false);
  mark({4, 8}, true);
  mark({directory.offset, directory.offset + directory.size()}, true);
  for (std::size_t at = 0; at < old_bytes.size(); ++at)
    require(may_change[at] || old_bytes[at] == new_bytes[at]);

  std::vector<const tiff_entry*> kept;
  for (const tiff_entry& entry : after.directory.entries) {
    if (!is_ours(entry.tag)) kept.push_back(&entry);
  }
  std::size_t count = 0;
  for (const tiff_entry& entry : directory.entries) {
    if (is_ours(entry.tag)) continue;
    require(count < kept.size() && kept[count]->tag == entry.tag && kept[count]->type == entry.type &&
            kept[count]->count == entry.count && kept[count]->value == entry.value);
    ++count;
  }
  require(count == kept.size());
}

void require_rest_kept(const std::string& before, const std::string& after, unsigned kind) {
  require(without_metadata(kind, before) == without_metadata(kind, after));
  memory_source old_source(before);
  memory_source new_source(after);
  const auto old_image = open_kind(kind, old_source);
  const auto new_image = open_kind(kind, new_source);
  const auto& old_block = old_image->blocks().exif;
  const auto& new_block = new_image->blocks().exif;
  require(new_block || !old_block);
  if (old_block) require_same_tiff(*old_block, *new_block);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const unsigned kind = data[0] & 3;
  std::string bytes(data + 1, data + size);
  if (kind == 1) bytes = with_right_checksums(std::move(bytes));

  require_sound_facts(bytes, kind);
  const wide_strings tags{L"a tag", L"\u00e9t\u00e9 <&>", L"\u0444"};
  const change_result rated = change_and_check(bytes, kind, {75, {}});
  if (!rated.done) return 0;
  require_rest_kept(bytes, rated.bytes, kind);
  require(change_and_check(rated.bytes, kind, {25, {}}).done);
  const change_result tagged = change_and_check(rated.bytes, kind, {{}, tags});
  if (!tagged.done) return 0;
  require_rest_kept(rated.bytes, tagged.bytes, kind);
  const change_result removed = change_and_check(tagged.bytes, kind, {0, wide_strings()});
  require(removed.done);
  require_rest_kept(tagged.bytes, removed.bytes, kind);
  return 0;
}
