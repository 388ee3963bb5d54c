// The XMP segment (APP1) of a JPEG, found and replaced by its bytes.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quill_box::metadata {

/// Where a JPEG has its XMP segment, or where a new one belongs: behind the leading APP and comment segments.
/// All are offsets into the file.
struct jpeg_xmp_scan {
  bool found = false;
  std::size_t segment_start = 0;  ///< this and the next two only when found
  std::size_t payload_start = 0;
  std::size_t segment_end = 0;  ///< of the payload too
  std::size_t insertion_point = 2;
};

/// The whole content of a file of 1 byte to largest_file_in_memory. False for any other, for a short read and without
/// memory for it; `buffer` is left as it was then.
[[nodiscard]] bool read_whole_file(const std::wstring& path, std::string& buffer);

/// None where `bytes` isn't a JPEG. Damage ends the scan: what stands behind it is not looked at.
[[nodiscard]] std::optional<jpeg_xmp_scan> scan_jpeg_for_xmp(std::string_view bytes);

/// The JPEG with `packet` as its XMP segment; none when the packet is too long for a segment.
/// `scan` is what scan_jpeg_for_xmp found in `bytes`.
[[nodiscard]] std::optional<std::string> jpeg_with_xmp(std::string_view bytes, const jpeg_xmp_scan& scan,
                                                       std::string_view packet);

/// Writes jpeg_with_xmp over the file. False for any failure, a lack of memory too; a failed write leaves the file as
/// it then stands.
[[nodiscard]] bool write_jpeg_with_xmp(const std::wstring& path, std::string_view bytes, const jpeg_xmp_scan& scan,
                                       std::string_view packet);

}  // namespace quill_box::metadata
