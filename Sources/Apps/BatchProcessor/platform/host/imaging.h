// The imaging facility of the host: XMP values of JPEG, PNG, TIFF and WebP files, set in place.
#pragma once

#include "platform/imaging.h"

namespace platform::host {

/// Knows "/xmp/" (in a TIFF file "/ifd/xmp/" or "/{ushort=700}/") followed by "xmp:Rating" or "dc:subject", at both
/// levels; imaging_property_not_found for any other path. A commit changes the packet where it stands and keeps its
/// size; imaging_too_much_metadata where that has no room for the values, or where there is no packet.
[[nodiscard]] imaging& imaging_instance();

}  // namespace platform::host
