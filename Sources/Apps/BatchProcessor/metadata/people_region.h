// A person on a photo.
#pragma once

#include <string>

namespace quill_box::metadata {

/// A rectangle with a person's name. All four numbers are fractions of the image, 0 to 1; all zeros mean that nothing
/// but the name is known. They are handed on as they are, whatever the image's orientation.
struct people_region {
  std::wstring name;  ///< empty for a person that nobody named
  double x = 0;       ///< left edge
  double y = 0;       ///< top edge
  double w = 0;
  double h = 0;

  bool operator==(const people_region&) const = default;
};

}  // namespace quill_box::metadata
