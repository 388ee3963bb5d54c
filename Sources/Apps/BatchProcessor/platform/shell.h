// What the desktop shell is told, so that it shows the change.
#pragma once

#include <cstdint>
#include <string>

#include "platform/errors.h"

namespace platform {

enum class shell_event : std::uint32_t {
  update_directory = 0x1000,  ///< SHCNE_UPDATEDIR
  update_item = 0x2000,       ///< SHCNE_UPDATEITEM
};

enum class shell_flush : std::uint32_t {
  path_and_wait = 0x1005,    ///< SHCNF_PATHW | SHCNF_FLUSH: returns when the shell has taken it up
  path_and_return = 0x3005,  ///< SHCNF_PATHW | SHCNF_FLUSHNOWAIT
};

class shell {
 public:
  /// SHChangeNotify, which reports nothing.
  virtual void notify(shell_event event, shell_flush flush, const std::wstring& path) = 0;
  /// Has the shell extract the thumbnail of an item anew, `size` pixels wide: CLSID_LocalThumbnailCache,
  /// SHCreateItemFromParsingName, GetThumbnail with WTS_FORCEEXTRACTION.
  virtual hresult renew_thumbnail(const std::wstring& path, std::uint32_t size) = 0;

 protected:
  ~shell() = default;
};

}  // namespace platform
