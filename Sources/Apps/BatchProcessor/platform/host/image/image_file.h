// An image on disk, opened and understood.
#pragma once

#include <memory>
#include <string>

#include "platform/host/content_file.h"
#include "platform/host/image/image_container.h"

namespace platform::host::image {

struct image_file {
  content_file file;
  std::unique_ptr<image_container> container;
};

/// Fails as open_content_file does, as the read of its bytes does, and with imaging_unknown_format for what is no file,
/// is no image of a kind that we write, or, to be changed, has pieces or metadata that can't be understood to the last.
/// To be read it is open all the same.
[[nodiscard]] hresult_result<image_file> open_image_file(const std::wstring& path, handler_access access);

}  // namespace platform::host::image
