// The rating patched into the XMP packet of any bytes. The first byte chooses the rating.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "metadata/xmp_packet_patch.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quill_box::metadata;
  if (size == 0) return 0;
  const std::string rating = data[0] % 7 == 6 ? "500" : std::to_string(data[0] % 7);
  const std::string_view content(reinterpret_cast<const char*>(data) + 1, size - 1);
  const auto patch = patch_rating_in_packet(content, rating);
  if (!patch) return 0;
  require(patch->offset <= content.size() && patch->packet.size() <= content.size() - patch->offset);
  require(patch->packet.starts_with("<?xpacket begin=") && patch->packet.ends_with("?>"));
  require(patch->packet.find(rating) != std::string::npos);
  // The file stays as long as it was, and patching once more finds the packet in the same place.
  std::string patched(content);
  patched.replace(patch->offset, patch->packet.size(), patch->packet);
  require(patched.size() == content.size());
  const auto again = patch_rating_in_packet(patched, rating);
  if (again) require(again->offset == patch->offset && again->packet.size() == patch->packet.size());
  return 0;
}
