// The values of one photo that names and places are made of.
#pragma once

#include <string>

#include "organize/name_patterns.h"

namespace quill_box::organize {

/// Date and position by the property handler of the file's type, the date failing that from the file's creation, place
/// names from the geo data, people from the regions on the photo. What isn't known stays empty; nothing is raised but
/// what opening the metadata raises (file_metadata_store::open_for_read).
///
/// In a path on a drive or a share a colon in the file name leads to a stream and ends the name. In any other path,
/// /home/u/12:30 lunch.jpg, it is a character like any other, so that no file loses its extension by it.
[[nodiscard]] photo_fields read_photo_fields(const std::wstring& path);

}  // namespace quill_box::organize
