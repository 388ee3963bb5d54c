// The JPEG scan and the rewrite of its XMP segment. The first two bytes say how long a packet is put in.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "metadata/jpeg_xmp.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quill_box::metadata;
  if (size < 2) return 0;
  const std::string packet(data[0] * 256U + data[1], 'p');
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
  const auto scan = scan_jpeg_for_xmp(bytes);
  if (!scan) return 0;
  require(scan->insertion_point >= 2 && scan->insertion_point <= bytes.size());
  if (scan->found) {
    require(scan->segment_start + 33 == scan->payload_start && scan->payload_start <= scan->segment_end);
    require(scan->segment_end <= bytes.size());
  }
  const auto image = jpeg_with_xmp(bytes, *scan, packet);
  require(image.has_value() == (packet.size() <= 65504));
  if (!image) return 0;
  // All that surrounds the segment is the same, and the scan of the new image finds the packet.
  const std::size_t start = scan->found ? scan->segment_start : scan->insertion_point;
  const std::size_t end = scan->found ? scan->segment_end : scan->insertion_point;
  require(image->size() == bytes.size() - (end - start) + 33 + packet.size());
  require(image->starts_with(bytes.substr(0, start)) && image->ends_with(bytes.substr(end)));
  const auto again = scan_jpeg_for_xmp(*image);
  require(again && again->found && again->segment_start == start);
  require(std::string_view(*image).substr(again->payload_start, again->segment_end - again->payload_start) == packet);
  return 0;
}
