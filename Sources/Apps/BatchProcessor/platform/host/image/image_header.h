// What an image file says of itself in its headers, for readers that change nothing: more files are read than the
// containers open, which have to understand every piece.
#pragma once

#include <optional>

#include "platform/host/byte_source.h"
#include "platform/host/image/image_container.h"
#include "platform/host/image/tiff_directory.h"
#include "platform/imaging.h"

namespace platform::host::image {

/// The size of the image's pixels as they are stored: of a TIFF file the first page's, of an animation the canvas's.
/// Nothing where the header can't be found or read. A side may be 0.
[[nodiscard]] std::optional<image_size> stored_image_size(byte_source& source, container_kind kind);

/// The first directory of the image's Exif block, of a TIFF file that of the file; nothing where there is none.
[[nodiscard]] std::optional<tiff_block> first_image_directory(byte_source& source, container_kind kind);

}  // namespace platform::host::image
