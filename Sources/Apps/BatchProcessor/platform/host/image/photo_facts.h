// When and where a photo was taken, as the image's metadata blocks tell it.
//
//          date                                                    position
//   Exif   0x9003, 0x9004, "2026:03:01 12:30:00"                   GPS directory 1 to 4: three rationals, "N"
//   IPTC   2:55 "20260301", 2:60 "123000+0100"
//   XMP    xmp:CreateDate, exif:DateTimeOriginal, ISO 8601         exif:GPSLatitude, exif:GPSLongitude: "48,51.5N"
//
// Of several dates the first good one counts, in the order of the shell's photo handlers: 0x9003, IPTC, xmp:CreateDate,
// 0x9004, exif:DateTimeOriginal. Of positions Exif's. What is no date, no angle or no text is as good as absent.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "platform/file_system.h"
#include "platform/host/image/image_container.h"

namespace platform::host::image {

/// The camera's clock as current_bias.h turns it into UTC. A time zone beside the date is left out: the day that the
/// camera showed is the one that people know the photo by. A date whose time of day is blank is of midnight.
[[nodiscard]] std::optional<file_time> read_date_taken(const metadata_blocks& blocks);

enum class gps_axis { latitude, longitude };

/// An angle on the globe: not below 0, and not beyond the pole or the date line.
struct gps_angle {
  std::array<double, 3> parts = {};  ///< degrees, minutes, seconds
  std::wstring reference;            ///< "N" or "S", "E" or "W", in the case in which it is stored

  /// In degrees, negative for south and west.
  [[nodiscard]] double decimal() const;
};

[[nodiscard]] std::optional<gps_angle> read_angle(const metadata_blocks& blocks, gps_axis axis);

}  // namespace platform::host::image
