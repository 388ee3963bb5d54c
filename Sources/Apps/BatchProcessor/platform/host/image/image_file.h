// An image on disk, opened and understood.
#pragma once

#include <memory>
#include <string>

#include "platform/host/byte_source.h"
#include "platform/host/file_rewrite.h"
#include "platform/host/image/image_container.h"
#include "platform/host/unique_descriptor.h"
#include "platform/result.h"

namespace platform::host::image {

enum class file_access { read, read_write };

struct image_file {
  std::string path;
  unique_descriptor descriptor;
  file_stamp stamp;  ///< of the content that the container was read from
  std::unique_ptr<file_source> source;
  std::unique_ptr<image_container> container;

  /// A rewrite of that content; null for an empty plan. The image must stay until its commit.
  [[nodiscard]] win32_result<std::unique_ptr<file_rewrite>> prepare(const edit_plan& plan) const;
};

/// Fails as the open of the file does, and with imaging_unknown_format for what is no file (a pipe, a device), is no
/// image of a kind that we write, or has pieces or metadata that can't be understood to the last.
[[nodiscard]] hresult_result<image_file> open_image_file(const std::wstring& path, file_access access);

}  // namespace platform::host::image
