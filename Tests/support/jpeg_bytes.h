// Pieces of JPEG files, put together by hand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace jpeg_bytes {

inline const std::string start_of_image = "\xff\xd8";
inline const std::string end_of_image = "\xff\xd9";
/// A start of scan with some image data and the end of the image.
inline const std::string image_data =
    std::string("\xff\xda\x00\x08\x01\x01\x00\x00\x3f\x00", 10) + "data" + end_of_image;

inline std::string big_endian(std::uint64_t number, std::size_t size) {
  std::string bytes;
  for (std::size_t i = size; i > 0; --i)
    bytes += static_cast<char>(number >> (8 * (i - 1)) & 0xff);
  return bytes;
}

inline std::string little_endian(std::uint64_t number, std::size_t size) {
  const std::string bytes = big_endian(number, size);
  return {bytes.rbegin(), bytes.rend()};
}

inline std::string segment(unsigned marker, std::string_view data) {
  std::string bytes = "\xff";
  bytes += static_cast<char>(marker);
  return bytes.append(big_endian(data.size() + 2, 2)).append(data);
}

inline std::string xmp_segment(std::string_view packet) {
  return segment(0xe1, std::string("http://ns.adobe.com/xap/1.0/\0", 29).append(packet));
}

/// A TIFF block with `entries` empty entries in its first directory and a link behind them.
inline std::string tiff(bool is_little_endian, std::size_t entries, std::uint64_t link,
                        std::size_t directory_offset = 8) {
  const auto number = [=](std::uint64_t value, std::size_t size) {
    return is_little_endian ? little_endian(value, size) : big_endian(value, size);
  };
  std::string bytes = is_little_endian ? "II" : "MM";
  bytes += number(42, 2) + number(directory_offset, 4);
  bytes.resize(directory_offset, '\0');
  bytes += number(entries, 2) + std::string(entries * 12, 'e') + number(link, 4);
  return bytes;
}

inline std::string exif_segment(std::string_view tiff_block) {
  return segment(0xe1, std::string("Exif\0\0", 6).append(tiff_block));
}

}  // namespace jpeg_bytes
