// The people regions of a file: embedded in a JPEG, else as names in the property set that the file system keeps for
// the file and as regions in its XMP sidecar.
#pragma once

#include <string>
#include <vector>

#include "metadata/people_region.h"

namespace quill_box::metadata {

/// From the first that has any: the file's own bytes, its property set (names alone), its sidecar.
[[nodiscard]] std::vector<people_region> read_people_regions(const std::wstring& path);

}  // namespace quill_box::metadata
