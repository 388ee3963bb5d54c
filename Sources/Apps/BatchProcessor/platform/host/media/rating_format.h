// What the rating of a media file needs from the format of its container.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/host/byte_source.h"
#include "platform/host/file_rewrite.h"
#include "platform/property_system.h"

namespace platform::host::media {

/// Both functions fail with hresult::fail where the structure can't be decoded.
struct rating_format {
  /// The percent value, none where the file has no rating. Opening for writing also refuses files whose structure
  /// reads well but can't be changed without harm.
  hresult_result<std::optional<std::uint32_t>> (*read)(byte_source& source, handler_access access);
  /// The edits that give the file this percent value, 0 to take the rating out; no edits where nothing changes.
  /// Fails with invalid_argument for a value that the format can't hold, and with imaging_property_not_supported
  /// where this file has no place for a rating that would leave everything else as it is.
  hresult_result<edit_plan> (*plan)(byte_source& source, std::uint32_t percent);
};

}  // namespace platform::host::media
