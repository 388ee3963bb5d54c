// The search for the link to a JPEG's embedded preview.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "metadata/exif_thumbnail.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using quill_box::metadata::thumbnail_link_offset;
  std::string bytes(reinterpret_cast<const char*>(data), size);
  const auto link = thumbnail_link_offset(bytes);
  if (!link) return 0;
  require(size >= 4 && *link <= size - 4);
  const std::string no_link(4, '\0');
  require(bytes.compare(*link, 4, no_link) != 0);
  // A link can stand where the header does and be part of it; cutting it then leaves no Exif block, else no link.
  bytes.replace(*link, 4, no_link);
  const auto again = thumbnail_link_offset(bytes);
  require(!again || *again != *link);
  return 0;
}
