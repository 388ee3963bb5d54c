#include "metadata/jpeg_xmp.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "files/file_functions.h"
#include "metadata/jpeg_segments.h"
#include "metadata/out_of_memory.h"
#include "metadata/xmp_text.h"
#include "platform/machine.h"

namespace quill_box::metadata {

using std::string_view_literals::operator""sv;

namespace {

constexpr std::uint8_t app0 = 0xe0;
constexpr std::uint8_t app15 = 0xef;
constexpr std::uint8_t comment = 0xfe;

// With the NUL at its end.
constexpr std::string_view xmp_signature = "http://ns.adobe.com/xap/1.0/\0"sv;

// What a segment's length counts beside the packet: itself and the signature.
constexpr std::size_t length_beside_packet = 2 + xmp_signature.size();
constexpr std::size_t length_limit = 65536;

bool is_xmp(std::string_view bytes, const jpeg_segment& segment) {
  const std::string_view data =
      bytes.substr(segment.start + jpeg_segment_head, segment.end - segment.start - jpeg_segment_head);
  return segment.marker == jpeg_app1 && data.starts_with(xmp_signature);
}

bool may_lead(std::uint8_t marker) { return (marker >= app0 && marker <= app15) || marker == comment; }

std::string segment_head(std::size_t packet_size) {
  const std::size_t length = packet_size + length_beside_packet;
  std::string head = "\xff\xe1";
  head += static_cast<char>(length >> 8);
  head += static_cast<char>(length & 0xff);
  return head.append(xmp_signature);
}

bool overwrite(const std::wstring& path, std::string_view bytes) {
  auto file = platform::current().files.open(
      path, {platform::access::write, platform::share::read, platform::disposition::rewrite_existing});
  if (!file) return false;
  const auto written = (*file)->write(std::as_bytes(std::span(bytes)));
  if (!written || *written != bytes.size() || !succeeded((*file)->set_end())) return false;
  return succeeded((*file)->close());
}

}  // namespace

bool read_whole_file(const std::wstring& path, std::string& buffer) {
  return false_without_memory([&] {
    auto content = files::read_whole_file(path, largest_file_in_memory, platform::share::read);
    if (!content || content->empty()) return false;
    buffer = *std::move(content);
    return true;
  });
}

std::optional<jpeg_xmp_scan> scan_jpeg_for_xmp(std::string_view bytes) {
  if (bytes.size() < 4 || !starts_as_jpeg(bytes)) return std::nullopt;
  jpeg_xmp_scan scan;
  std::size_t position = jpeg_first_segment;
  bool leading = true;
  while (const auto segment = next_jpeg_segment(bytes, position)) {
    if (is_xmp(bytes, *segment)) {
      scan.found = true;
      scan.segment_start = segment->start;
      scan.payload_start = segment->start + jpeg_segment_head + xmp_signature.size();
      scan.segment_end = segment->end;
      break;
    }
    leading = leading && may_lead(segment->marker);
    if (leading) scan.insertion_point = segment->end;
    position = segment->end;
  }
  return scan;
}

std::optional<std::string> jpeg_with_xmp(std::string_view bytes, const jpeg_xmp_scan& scan, std::string_view packet) {
  if (packet.size() >= length_limit - length_beside_packet) return std::nullopt;
  const std::string_view before = bytes.substr(0, scan.found ? scan.segment_start : scan.insertion_point);
  const std::string_view behind = bytes.substr(scan.found ? scan.segment_end : scan.insertion_point);
  const std::string head = segment_head(packet.size());
  std::string image;
  image.reserve(before.size() + head.size() + packet.size() + behind.size());
  return image.append(before).append(head).append(packet).append(behind);
}

bool write_jpeg_with_xmp(const std::wstring& path, std::string_view bytes, const jpeg_xmp_scan& scan,
                         std::string_view packet) {
  return false_without_memory([&] {
    const auto image = jpeg_with_xmp(bytes, scan, packet);
    return image && overwrite(path, *image);
  });
}

}  // namespace quill_box::metadata
