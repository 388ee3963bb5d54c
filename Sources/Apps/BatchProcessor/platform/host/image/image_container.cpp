#include "platform/host/image/image_container.h"

namespace platform::host::image {

std::unique_ptr<image_container> open_image_container(byte_source& source) {
  using namespace std::string_view_literals;
  const std::optional<std::string> start = source.read(0, 12);
  if (!start) return nullptr;
  const std::string_view bytes = *start;
  if (bytes.starts_with("\xff\xd8\xff"sv)) return open_jpeg(source);
  if (bytes.starts_with("\x89PNG\r\n\x1a\n"sv)) return open_png(source);
  if (bytes.starts_with("II*\0"sv) || bytes.starts_with("MM\0*"sv)) return open_tiff(source);
  if (bytes.starts_with("RIFF"sv) && bytes.substr(8) == "WEBP"sv) return open_webp(source);
  return nullptr;
}

}  // namespace platform::host::image
