// Small images built byte by byte, each with the metadata that a test asks for, and edit plans applied in memory.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/byte_order.h"
#include "platform/host/byte_source.h"
#include "platform/host/file_rewrite.h"
#include "platform/host/image/checksums.h"
#include "platform/host/image/image_container.h"

namespace image_bytes {

using namespace std::string_literals;
using platform::host::append_u16;
using platform::host::append_u32;
using platform::host::byte_order;
using platform::host::u16_bytes;
using platform::host::u32_bytes;

inline std::string apply_plan(std::string_view bytes, const platform::host::edit_plan& plan) {
  std::string changed;
  std::uint64_t done = 0;
  for (const platform::host::splice& change : plan) {
    if (change.offset < done || change.offset + change.erase > bytes.size()) return "a plan out of order"s;
    changed += bytes.substr(done, change.offset - done);
    changed += change.bytes;
    done = change.offset + change.erase;
  }
  changed += bytes.substr(done);
  return changed;
}

/// A container with the bytes that it reads from.
struct opened_image {
  std::unique_ptr<platform::host::memory_source> source;
  std::unique_ptr<platform::host::image::image_container> container;

  explicit operator bool() const { return container != nullptr; }
  const platform::host::image::image_container& operator*() const { return *container; }
  const platform::host::image::image_container* operator->() const { return container.get(); }
};

/// Whole or not. `bytes` must outlive what comes back.
inline opened_image open_to_read(std::string_view bytes) {
  opened_image image;
  image.source = std::make_unique<platform::host::memory_source>(bytes);
  image.container = platform::host::image::open_image_container(*image.source);
  return image;
}

/// To be changed: nothing that isn't whole.
inline opened_image open(std::string_view bytes) {
  opened_image image = open_to_read(bytes);
  if (image && !image->is_whole()) image.container.reset();
  return image;
}

// XMP.

inline constexpr std::string_view xmp_namespaces =
    " xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\""
    " xmlns:MicrosoftPhoto=\"http://ns.microsoft.com/photo/1.0/\"";

/// A packet around what stands inside of rdf:RDF.
inline std::string packet(std::string_view inside, std::size_t padding = 200) {
  return "<?xpacket begin=\"\xef\xbb\xbf\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
         "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">\n"
         " <rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n" +
         std::string(inside) + "\n </rdf:RDF>\n</x:xmpmeta>" + std::string(padding, ' ') + "<?xpacket end=\"w\"?>";
}

/// A description with these attributes and children; it declares the prefixes of our fields.
inline std::string description(std::string_view attributes, std::string_view children = {}) {
  const std::string start = "  <rdf:Description rdf:about=\"\"" + std::string(xmp_namespaces) + std::string(attributes);
  return children.empty() ? start + "/>" : start + ">" + std::string(children) + "\n  </rdf:Description>";
}

inline std::string bag(std::string_view name, const std::vector<std::string>& items) {
  std::string text = "\n   <" + std::string(name) + ">\n    <rdf:Bag>";
  for (const std::string& item : items)
    text += "\n     <rdf:li>" + item + "</rdf:li>";
  return text + "\n    </rdf:Bag>\n   </" + std::string(name) + ">";
}

// TIFF.

struct field {
  std::uint16_t tag;
  std::uint16_t type;
  std::uint32_t count;
  std::string value;
};

inline field short_field(std::uint16_t tag, std::uint16_t number, byte_order order) {
  return {tag, 3, 1, u16_bytes(number, order)};
}

inline field bytes_field(std::uint16_t tag, std::uint16_t type, const std::string& value) {
  return {tag, type, static_cast<std::uint32_t>(value.size()), value};
}

/// Header, IFD0 with the fields in the order given, their values, then `rest`.
inline std::string tiff(byte_order order, const std::vector<field>& fields, std::string_view rest = {},
                        std::uint32_t next = 0) {
  std::string bytes = order == byte_order::little ? "II*\0"s : "MM\0*"s;
  append_u32(bytes, 8, order);
  append_u16(bytes, static_cast<std::uint16_t>(fields.size()), order);
  const std::size_t values_at = 8 + 2 + 12 * fields.size() + 4;
  std::string values;
  for (const field& f : fields) {
    append_u16(bytes, f.tag, order);
    append_u16(bytes, f.type, order);
    append_u32(bytes, f.count, order);
    if (f.value.size() <= 4) {
      std::string value = f.value;
      value.resize(4, '\0');
      bytes += value;
    } else {
      append_u32(bytes, static_cast<std::uint32_t>(values_at + values.size()), order);
      values += f.value;
      values.append(values.size() % 2, '\0');
    }
  }
  append_u32(bytes, next, order);
  return bytes + values + std::string(rest);
}

/// A block as a camera writes it: make and model, and behind them bytes that only the camera understands.
inline std::string camera_exif(byte_order order = byte_order::little) {
  return tiff(order, {bytes_field(0x010f, 2, "A camera maker\0"s), bytes_field(0x0110, 2, "Model 5\0"s)},
              "MakerNote bytes");
}

// JPEG.

inline std::string segment(unsigned char marker, std::string_view payload) {
  return "\xff"s + static_cast<char>(marker) +
         u16_bytes(static_cast<std::uint16_t>(payload.size() + 2), byte_order::big) + std::string(payload);
}

inline std::string jfif() { return segment(0xe0, "JFIF\0\1\1\0\0\1\0\1\0\0"s); }
inline std::string exif_segment(std::string_view block) { return segment(0xe1, "Exif\0\0"s + std::string(block)); }
inline std::string xmp_segment(std::string_view text) {
  return segment(0xe1, "http://ns.adobe.com/xap/1.0/\0"s + std::string(text));
}
inline std::string photoshop_segment(std::string_view part) {
  return segment(0xed, "Photoshop 3.0\0"s + std::string(part));
}

inline const std::string scan = segment(0xda, "\1\1\0\0\x3f\0"s) + "pixels \xff\0 pixels \xff\xd9"s;

/// SOI, the segments, a table, the scan, then what trails.
inline std::string jpeg(std::string_view segments, std::string_view trailer = {}) {
  return "\xff\xd8"s + std::string(segments) + segment(0xdb, std::string(65, '\1')) + scan + std::string(trailer);
}

inline std::string resource(std::uint16_t id, std::string_view value) {
  std::string bytes = "8BIM"s + u16_bytes(id, byte_order::big) + "\0\0"s;
  append_u32(bytes, static_cast<std::uint32_t>(value.size()), byte_order::big);
  bytes += value;
  bytes.append(value.size() % 2, '\0');
  return bytes;
}

inline std::string dataset(int record, int number, std::string_view value) {
  return "\x1c"s + static_cast<char>(record) + static_cast<char>(number) +
         u16_bytes(static_cast<std::uint16_t>(value.size()), byte_order::big) + std::string(value);
}

/// The index of a file with two images: the first one's size, the second one's distance from the index.
inline std::string mpf_segment(std::uint32_t first_size, std::uint32_t second_offset) {
  constexpr byte_order order = byte_order::big;
  const std::string entries = u32_bytes(0x030000, order) + u32_bytes(first_size, order) + u32_bytes(0, order) +
                              u32_bytes(0, order) + u32_bytes(0, order) + u32_bytes(100, order) +
                              u32_bytes(second_offset, order) + u32_bytes(0, order);
  return segment(0xe2, "MPF\0"s + tiff(order, {bytes_field(0xb000, 7, "0100"),
                                               {0xb001, 4, 1, u32_bytes(2, order)},
                                               bytes_field(0xb002, 7, entries)}));
}

// PNG.

inline std::string png_chunk(std::string_view type, std::string_view data) {
  std::string body(type);
  body += data;
  std::string bytes = u32_bytes(static_cast<std::uint32_t>(data.size()), byte_order::big) + body;
  append_u32(bytes, platform::host::image::crc32(body), byte_order::big);
  return bytes;
}

inline std::string png_xmp(std::string_view text) {
  return png_chunk("iTXt", "XML:com.adobe.xmp\0\0\0\0\0"s + std::string(text));
}

inline std::string png(std::string_view before_pixels = {}, std::string_view behind_pixels = {},
                       std::string_view trailer = {}) {
  return "\x89PNG\r\n\x1a\n"s + png_chunk("IHDR", "\0\0\0\1\0\0\0\1\x08\0\0\0\0"s) + std::string(before_pixels) +
         png_chunk("IDAT", "no pixels really") + std::string(behind_pixels) + png_chunk("IEND", "") +
         std::string(trailer);
}

// WebP.

inline std::string webp_chunk(std::string_view type, std::string_view data) {
  std::string bytes(type);
  append_u32(bytes, static_cast<std::uint32_t>(data.size()), byte_order::little);
  bytes += data;
  bytes.append(data.size() % 2, '\0');
  return bytes;
}

inline std::string webp(std::string_view chunks, std::string_view trailer = {}) {
  return "RIFF"s + u32_bytes(static_cast<std::uint32_t>(chunks.size() + 4), byte_order::little) + "WEBP"s +
         std::string(chunks) + std::string(trailer);
}

inline std::string vp8(std::uint16_t width, std::uint16_t height) {
  return webp_chunk("VP8 ", "\x10\0\0\x9d\x01\x2a"s + u16_bytes(width, byte_order::little) +
                                u16_bytes(height, byte_order::little) + "bitstream");
}

inline std::string vp8l(std::uint32_t width, std::uint32_t height, std::uint32_t alpha) {
  return webp_chunk(
      "VP8L", "\x2f"s + u32_bytes((width - 1) | (height - 1) << 14 | alpha << 28, byte_order::little) + "bitstream!");
}

inline std::string vp8x(unsigned char flags, std::uint32_t width, std::uint32_t height) {
  return webp_chunk("VP8X", std::string(1, static_cast<char>(flags)) + "\0\0\0"s +
                                u32_bytes(width - 1, byte_order::little).substr(0, 3) +
                                u32_bytes(height - 1, byte_order::little).substr(0, 3));
}

}  // namespace image_bytes
