#include "platform/host/image/image_header.h"

#include <functional>
#include <string_view>

#include "platform/host/image/png_chunks.h"
#include "platform/host/image/webp_chunks.h"

namespace platform::host::image {

namespace {

using namespace std::string_view_literals;

constexpr std::uint8_t app1 = 0xe1;
constexpr std::string_view exif_signature = "Exif\0\0"sv;
constexpr std::size_t most_jpeg_steps = 100000;  // segments and fill bytes in front of them

struct jpeg_piece {
  std::uint8_t marker = 0;
  std::uint64_t data = 0;
  std::uint64_t size = 0;
};

// Markers that stand alone: they have no length, and none of them comes in front of the frame.
bool stands_alone(std::uint8_t marker) { return marker <= 0x01 || (marker >= 0xd0 && marker <= 0xd9); }

// The first segment in front of the scan that `wanted` says yes to.
std::optional<jpeg_piece> find_in_jpeg(byte_source& source, const std::function<bool(const jpeg_piece&)>& wanted) {
  constexpr std::uint8_t start_of_scan = 0xda;
  std::uint64_t at = 2;
  for (std::size_t step = 0; step < most_jpeg_steps; ++step) {
    const std::optional<std::string> head = source.read(at, 4);
    if (!head || (*head)[0] != '\xff') return std::nullopt;
    const auto marker = static_cast<std::uint8_t>((*head)[1]);
    if (marker == 0xff) {
      ++at;  // a fill byte
      continue;
    }
    const std::uint16_t length = get_u16(*head, 2, byte_order::big);
    if (stands_alone(marker) || marker == start_of_scan || length < 2) return std::nullopt;
    const jpeg_piece piece{marker, at + 4, std::uint64_t{length} - 2};
    if (wanted(piece)) return piece;
    at = piece.data + piece.size;
  }
  return std::nullopt;
}

// All that are numbered as one, without the tables among them.
bool is_frame(const jpeg_piece& piece) {
  constexpr std::uint8_t huffman_tables = 0xc4;
  constexpr std::uint8_t reserved = 0xc8;
  constexpr std::uint8_t arithmetic_conditions = 0xcc;
  return piece.marker >= 0xc0 && piece.marker <= 0xcf && piece.marker != huffman_tables && piece.marker != reserved &&
         piece.marker != arithmetic_conditions;
}

std::optional<image_size> jpeg_size(byte_source& source) {
  const std::optional<jpeg_piece> frame = find_in_jpeg(source, is_frame);
  if (!frame || frame->size < 5) return std::nullopt;
  const std::optional<std::string> bytes = source.read(frame->data, 5);  // precision, height, width
  if (!bytes) return std::nullopt;
  return image_size{get_u16(*bytes, 3, byte_order::big), get_u16(*bytes, 1, byte_order::big)};
}

std::optional<image_size> png_size(byte_source& source) {
  const std::optional<png_chunk> header = png_chunk_at(source, png_signature_size);
  if (!header || header->type != "IHDR" || header->size < 8) return std::nullopt;
  const std::optional<std::string> bytes = source.read(header->data(), 8);
  if (!bytes) return std::nullopt;
  return image_size{get_u32(*bytes, 0, byte_order::big), get_u32(*bytes, 4, byte_order::big)};
}

std::optional<image_size> tiff_size(byte_source& source) {
  const std::optional<tiff_block> page = first_image_directory(source, container_kind::tiff);
  if (!page) return std::nullopt;
  const std::optional<std::uint32_t> width = tiff_number(*page, tiff_tag::image_width);
  const std::optional<std::uint32_t> height = tiff_number(*page, tiff_tag::image_height);
  if (!width || !height) return std::nullopt;
  return image_size{*width, *height};
}

std::optional<image_size> webp_size(byte_source& source) {
  const std::optional<webp_chunk> first = webp_chunk_at(source, first_webp_chunk, source.size());
  if (!first) return std::nullopt;
  if (first->type != "VP8X") {
    const std::optional<webp_canvas> canvas = webp_canvas_of(source, *first);
    if (!canvas) return std::nullopt;
    return image_size{canvas->width, canvas->height};
  }
  if (first->size < 10) return std::nullopt;
  const std::optional<std::string> bytes = source.read(first->data() + 4, 6);  // two times 24 bits, less one
  if (!bytes) return std::nullopt;
  return image_size{static_cast<std::uint32_t>(get_little(*bytes, 0, 3)) + 1,
                    static_cast<std::uint32_t>(get_little(*bytes, 3, 3)) + 1};
}

std::optional<byte_range> jpeg_exif(byte_source& source) {
  const std::optional<jpeg_piece> exif = find_in_jpeg(source, [&source](const jpeg_piece& piece) {
    return piece.marker == app1 && piece.size > exif_signature.size() &&
           source.read(piece.data, exif_signature.size()) == exif_signature;
  });
  if (!exif || exif->size > source.size() - exif->data) return std::nullopt;
  return byte_range{&source, exif->data + exif_signature.size(), exif->size - exif_signature.size()};
}

std::optional<byte_range> png_exif(byte_source& source) {
  std::uint64_t at = png_signature_size;
  for (std::size_t i = 0; i < most_png_chunks; ++i) {
    const std::optional<png_chunk> next = png_chunk_at(source, at);
    if (!next || next->type == "IEND") return std::nullopt;
    if (next->type == "eXIf") return byte_range{&source, next->data(), next->size};
    at = next->end();
  }
  return std::nullopt;
}

std::optional<byte_range> webp_exif(byte_source& source) {
  std::uint64_t at = first_webp_chunk;
  for (std::size_t i = 0; i < most_webp_chunks; ++i) {
    const std::optional<webp_chunk> next = webp_chunk_at(source, at, source.size());
    if (!next) return std::nullopt;
    if (next->type == "EXIF") return webp_exif_block(source, *next);
    at = next->end();
  }
  return std::nullopt;
}

std::optional<byte_range> exif_block(byte_source& source, container_kind kind) {
  switch (kind) {
    case container_kind::jpeg:
      return jpeg_exif(source);
    case container_kind::png:
      return png_exif(source);
    case container_kind::tiff:
      return byte_range{&source, 0, source.size()};
    case container_kind::webp:
      return webp_exif(source);
  }
  return std::nullopt;
}

}  // namespace

std::optional<image_size> stored_image_size(byte_source& source, container_kind kind) {
  switch (kind) {
    case container_kind::jpeg:
      return jpeg_size(source);
    case container_kind::png:
      return png_size(source);
    case container_kind::tiff:
      return tiff_size(source);
    case container_kind::webp:
      return webp_size(source);
  }
  return std::nullopt;
}

std::optional<tiff_block> first_image_directory(byte_source& source, container_kind kind) {
  const std::optional<byte_range> exif = exif_block(source, kind);
  if (!exif) return std::nullopt;
  return read_first_tiff_directory(*exif);
}

}  // namespace platform::host::image
