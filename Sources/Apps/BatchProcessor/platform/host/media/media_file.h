// A media file on disk, opened and understood.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/host/file_rewrite.h"
#include "platform/host/media/rating_format.h"
#include "platform/host/unique_descriptor.h"
#include "platform/property_system.h"

namespace platform::host::media {

struct media_file {
  const rating_format* format = nullptr;
  std::string path;
  unique_descriptor descriptor;  ///< where the file was opened for writing, it holds the lock that keeps others from it
  file_stamp stamp;              ///< of the content that the rating was read from
  std::unique_ptr<byte_source> source;
  std::optional<std::uint32_t> percent;  ///< none where the file has no rating
};

/// The format of the path's type, by its extension: .mp3, .mp4 .m4v .mov, .wma .wmv; null for any other.
[[nodiscard]] const rating_format* format_of(const std::wstring& path);

/// Fails as the open of the file does, with sharing_violation while another one has it open for writing, with
/// hresult::fail for what is no file (a pipe, a device) and for a file that the format can't read, or change.
[[nodiscard]] hresult_result<media_file> open_media_file(const std::wstring& path, handler_access access);

}  // namespace platform::host::media
