// The people regions of a file: embedded in a JPEG, else as names in the property set that the file system keeps for
// the file and as regions in its XMP sidecar.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "metadata/people_region.h"
#include "platform/imaging.h"

namespace quill_box::metadata {

/// From the first that has any: the file's own bytes, its property set (names alone), its sidecar.
[[nodiscard]] std::vector<people_region> read_people_regions(const std::wstring& path);

/// Makes `regions` the file's regions; those without a name are left out. False, and nothing is written, where the file
/// has the same set already, in any order. A side that has no rectangle at all is compared by its names.
/// Raises a std::runtime_error with text for the user when nothing could be written.
bool replace_people_regions(const std::wstring& path, std::span<const people_region> regions);

/// False for a sidecar larger than largest_file_in_memory, when the text can't be written, and when memory runs out.
[[nodiscard]] bool write_regions_sidecar(const std::wstring& path, std::span<const people_region> regions,
                                         platform::image_size size);

/// In pixels, as the image is to be seen: an orientation that turns it swaps them. Zeros where they aren't known.
[[nodiscard]] platform::image_size image_dimensions(const std::wstring& path);

}  // namespace quill_box::metadata
