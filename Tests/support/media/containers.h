// Small media files, built byte by byte and independent of the code under test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

inline std::string big(std::uint64_t value, std::size_t width) {
  std::string bytes;
  for (std::size_t i = width; i > 0; --i)
    bytes += static_cast<char>(value >> (8 * (i - 1)) & 0xff);
  return bytes;
}

inline std::string little(std::uint64_t value, std::size_t width) {
  std::string bytes;
  for (std::size_t i = 0; i < width; ++i)
    bytes += static_cast<char>(value >> (8 * i) & 0xff);
  return bytes;
}

inline std::uint64_t big_at(std::string_view bytes, std::size_t at, std::size_t width) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i)
    value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

inline std::uint64_t little_at(std::string_view bytes, std::size_t at, std::size_t width) {
  std::uint64_t value = 0;
  for (std::size_t i = width; i > 0; --i)
    value = value << 8 | static_cast<unsigned char>(bytes[at + i - 1]);
  return value;
}

inline std::string zeros(std::size_t count) { return std::string(count, '\0'); }

// ID3v2

inline std::string synchsafe(std::uint64_t value) {
  std::string bytes;
  for (int shift = 21; shift >= 0; shift -= 7)
    bytes += static_cast<char>(value >> shift & 0x7f);
  return bytes;
}

inline std::string id3_frame(int version, std::string_view id, std::string_view data, unsigned flags = 0) {
  std::string frame(id);
  if (version == 2) {
    frame += big(data.size(), 3);
  } else {
    frame += version == 4 ? synchsafe(data.size()) : big(data.size(), 4);
    frame += big(flags, 2);
  }
  frame += data;
  return frame;
}

/// `content` is what stands behind the header, padding included.
inline std::string id3_tag(int version, std::string_view content, unsigned flags = 0) {
  std::string tag = "ID3";
  tag += static_cast<char>(version);
  tag += '\0';
  tag += static_cast<char>(flags);
  tag += synchsafe(content.size());
  tag += content;
  return tag;
}

inline std::string popularimeter_data(std::string_view name, unsigned rating, std::string_view counter) {
  std::string data(name);
  data += '\0';
  data += static_cast<char>(rating);
  data += counter;
  return data;
}

inline const std::string windows_player = "Windows Media Player 9 Series";

/// Two MPEG 1 layer III frames of 128 kbit/s at 44.1 kHz, 417 bytes each.
inline std::string mpeg_audio() {
  std::string frame("\xff\xfb\x90\x00", 4);
  for (int i = 0; frame.size() < 417; ++i)
    frame += static_cast<char>(i * 7);
  return frame + frame;
}

// MPEG-4

inline std::string mp4_atom(std::string_view type, std::string_view content) {
  std::string bytes = big(8 + content.size(), 4);
  bytes += type;
  bytes += content;
  return bytes;
}

inline std::string xtra_entry(std::string_view name, unsigned type, std::string_view data) {
  std::string value = big(6 + data.size(), 4) + big(type, 2);
  value += data;
  std::string entry = big(12 + name.size() + value.size(), 4) + big(name.size(), 4);
  entry += name;
  return entry + big(1, 4) + value;
}

inline std::string rating_entry(std::uint64_t percent) {
  return xtra_entry("WM/SharedUserRating", 19, little(percent, 8));
}

inline std::string mp4_ftyp() { return mp4_atom("ftyp", "isom" + zeros(3) + "\x01" + "isomavc1"); }

/// A track whose chunks stand at the given offsets.
inline std::string mp4_track(const std::vector<std::uint64_t>& chunks, std::size_t width = 4) {
  std::string offsets = zeros(4) + big(chunks.size(), 4);
  for (const std::uint64_t chunk : chunks)
    offsets += big(chunk, width);
  const std::string dref = mp4_atom("dref", zeros(4) + big(1, 4) + mp4_atom("url ", big(1, 4)));
  const std::string stbl =
      mp4_atom("stbl", mp4_atom("stsz", zeros(12)) + mp4_atom(width == 8 ? "co64" : "stco", offsets));
  return mp4_atom("trak",
                  mp4_atom("tkhd", zeros(84)) + mp4_atom("mdia", mp4_atom("minf", mp4_atom("dinf", dref) + stbl)));
}

// Advanced Systems Format

inline const std::string asf_header_id("\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C", 16);
inline const std::string asf_data_id("\x36\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C", 16);
inline const std::string asf_description_id("\x40\xA4\xD0\xD2\x07\xE3\xD2\x11\x97\xF0\x00\xA0\xC9\x5E\xA8\x50", 16);
inline const std::string asf_file_id("\xA1\xDC\xAB\x8C\x47\xA9\xCF\x11\x8E\xE4\x00\xC0\x0C\x20\x53\x65", 16);
inline const std::string asf_padding_id("\x74\xD4\x06\x18\xDF\xCA\x09\x45\xA4\xBA\x9A\xAB\xCB\x96\xAA\xE8", 16);
inline const std::string asf_signature_id("\xFC\xB3\x11\x22\x23\xBD\xD2\x11\xB4\xB7\x00\xA0\xC9\x55\xFC\x6E", 16);

inline std::string asf_object(std::string_view id, std::string_view content) {
  std::string bytes(id);
  bytes += little(24 + content.size(), 8);
  bytes += content;
  return bytes;
}

inline std::string utf16(std::string_view ascii) {
  std::string wide;
  for (const char c : ascii)
    wide += {c, '\0'};
  return wide;
}

inline std::string asf_descriptor(std::string_view name, unsigned type, std::string_view value) {
  const std::string wide = utf16(name) + zeros(2);
  std::string bytes = little(wide.size(), 2) + wide + little(type, 2) + little(value.size(), 2);
  bytes += value;
  return bytes;
}

inline std::string asf_description(const std::vector<std::string>& descriptors) {
  std::string content = little(descriptors.size(), 2);
  for (const std::string& descriptor : descriptors)
    content += descriptor;
  return asf_object(asf_description_id, content);
}

inline std::string asf_header(const std::vector<std::string>& objects) {
  std::string content;
  for (const std::string& object : objects)
    content += object;
  return asf_header_id + little(30 + content.size(), 8) + little(objects.size(), 4) + "\x01\x02" + content;
}

inline std::string asf_data() {
  return asf_object(asf_data_id, zeros(16) + little(1, 8) + "\x01\x01" + "packets of sound");
}

}  // namespace test_support
