#include "metadata/exif_thumbnail.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "files/file_functions.h"
#include "metadata/capabilities.h"
#include "metadata/jpeg_segments.h"
#include "metadata/out_of_memory.h"
#include "platform/machine.h"
#include "text/paths.h"

namespace quill_box::metadata {

using std::string_view_literals::operator""sv;

namespace {

constexpr std::string_view exif_signature = "Exif\0\0"sv;
constexpr std::size_t tiff_header_size = 8;
constexpr std::size_t directory_count_size = 2;
constexpr std::size_t directory_entry_size = 12;
constexpr std::size_t link_size = 4;
constexpr std::uint64_t tiff_number = 42;

// Numbers of a TIFF block in its own byte order. The caller makes sure that the bytes are there.
class tiff_reader {
 public:
  tiff_reader(std::string_view block, bool little_endian) : block_(block), little_endian_(little_endian) {}

  [[nodiscard]] std::uint64_t number(std::size_t offset, std::size_t size) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
      const std::size_t at = offset + (little_endian_ ? size - 1 - i : i);
      value = value << 8 | static_cast<std::uint8_t>(block_[at]);
    }
    return value;
  }

 private:
  std::string_view block_;
  bool little_endian_;
};

// Within the TIFF block, which ends with its segment.
std::optional<std::size_t> link_in_tiff(std::string_view block) {
  const bool little_endian = block.starts_with("II");
  if (block.size() < tiff_header_size || (!little_endian && !block.starts_with("MM"))) return std::nullopt;
  const tiff_reader reader(block, little_endian);
  if (reader.number(2, 2) != tiff_number) return std::nullopt;
  const std::uint64_t directory = reader.number(4, 4);
  if (directory + directory_count_size > block.size()) return std::nullopt;
  const std::uint64_t count = reader.number(directory, directory_count_size);
  const std::uint64_t link = directory + directory_count_size + count * directory_entry_size;
  if (link + link_size > block.size() || reader.number(link, link_size) == 0) return std::nullopt;
  return link;
}

bool cut_link(const std::wstring& path) {
  using platform::access;
  auto file = platform::current().files.open(path, {access::read | access::write});
  if (!file) return false;
  const auto size = (*file)->size();
  if (!size) return false;
  const auto start = files::read_exactly(**file, std::min<std::uint64_t>(*size, thumbnail_search_size));
  if (!start) return false;
  const auto link = thumbnail_link_offset(*start);
  if (!link || !succeeded((*file)->seek(*link))) return false;
  constexpr std::array<std::byte, link_size> no_link = {};
  const auto written = (*file)->write(no_link);
  const bool closed = succeeded((*file)->close());
  return closed && written && *written == no_link.size();
}

}  // namespace

std::optional<std::size_t> thumbnail_link_offset(std::string_view bytes) {
  if (bytes.size() < 4 || !starts_as_jpeg(bytes)) return std::nullopt;
  std::size_t position = jpeg_first_segment;
  while (const auto segment = next_jpeg_segment(bytes, position)) {
    const std::size_t data_start = segment->start + jpeg_segment_head;
    const std::string_view data = bytes.substr(data_start, segment->end - data_start);
    const bool room_for_tiff_header = data.size() >= exif_signature.size() + tiff_header_size;
    if (segment->marker == jpeg_app1 && room_for_tiff_header && data.starts_with(exif_signature)) {
      const auto link = link_in_tiff(data.substr(exif_signature.size()));
      if (!link) return std::nullopt;
      return data_start + exif_signature.size() + *link;
    }
    position = segment->end;
  }
  return std::nullopt;
}

bool drop_embedded_exif_thumbnail(const std::wstring& path) {
  return is_jpeg(paths::extension(path)) && false_without_memory([&] { return cut_link(path); });
}

}  // namespace quill_box::metadata
