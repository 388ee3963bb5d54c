#include "platform/host/image/image_container.h"

#include <utility>

namespace platform::host::image {

std::optional<container_kind> image_kind(byte_source& source) {
  using namespace std::string_view_literals;
  const std::optional<std::string> start = source.read(0, 12);
  if (!start) return std::nullopt;
  const std::string_view bytes = *start;
  if (bytes.starts_with("\xff\xd8\xff"sv)) return container_kind::jpeg;
  if (bytes.starts_with("\x89PNG\r\n\x1a\n"sv)) return container_kind::png;
  if (bytes.starts_with("II*\0"sv) || bytes.starts_with("MM\0*"sv)) return container_kind::tiff;
  if (bytes.starts_with("RIFF"sv) && bytes.substr(8) == "WEBP"sv) return container_kind::webp;
  return std::nullopt;
}

void image_container::read_exif(const byte_range& range) {
  blocks_.exif = read_tiff_block(range);
  if (blocks_.exif) return;
  note_damage();
  blocks_.exif = read_first_tiff_directory(range);
}

void image_container::read_xmp(std::optional<std::string> packet) {
  if (packet) {
    if (std::optional<std::string> text = utf8_from_utf16_xmp(*packet)) {
      blocks_.utf16_xmp = std::exchange(*packet, *std::move(text));
    }
    blocks_.xmp = parse_xmp_packet(*std::move(packet));
  }
  if (!blocks_.xmp) note_damage();
}

std::unique_ptr<image_container> open_image_container(byte_source& source) {
  const std::optional<container_kind> kind = image_kind(source);
  if (!kind) return nullptr;
  switch (*kind) {
    case container_kind::jpeg:
      return open_jpeg(source);
    case container_kind::png:
      return open_png(source);
    case container_kind::tiff:
      return open_tiff(source);
    case container_kind::webp:
      return open_webp(source);
  }
  return nullptr;
}

}  // namespace platform::host::image
