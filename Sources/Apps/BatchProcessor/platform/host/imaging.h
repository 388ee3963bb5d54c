// The imaging facility of the host for JPEG, PNG, TIFF and WebP files: XMP values set in place; sizes and Exif fields
// read.
#pragma once

#include "platform/imaging.h"

namespace platform::host {

/// For writing it knows "/xmp/" (in a TIFF file "/ifd/xmp/" or "/{ushort=700}/") followed by "xmp:Rating" or
/// "dc:subject", at both levels; imaging_property_not_found for any other path. A commit changes the packet where it
/// stands and keeps its size; imaging_too_much_metadata where that has no room for the values, or where there is no
/// packet.
///
/// A reader looks at headers only. It knows the single numbers of the first image directory: "/app1/ifd/{ushort=274}"
/// of a JPEG, also as "/app1/{ushort=0}/{ushort=274}", and "/ifd/{ushort=274}" of the other kinds. A field with
/// anything but one SHORT or LONG is a value of another type.
[[nodiscard]] imaging& imaging_instance();

}  // namespace platform::host
