// What the desktop shell is told, so that it shows the change.
#pragma once

#include <cstdint>
#include <string>

#include "platform/errors.h"

namespace platform {

enum class shell_event : std::uint32_t {
  rename_item = 0x1,          ///< SHCNE_RENAMEITEM, which has two paths: see notify_of_rename
  remove_directory = 0x10,    ///< SHCNE_RMDIR
  update_directory = 0x1000,  ///< SHCNE_UPDATEDIR
  update_item = 0x2000,       ///< SHCNE_UPDATEITEM
};

enum class shell_flush : std::uint32_t {
  path = 0x5,                ///< SHCNF_PATHW: the shell takes it up when it likes
  path_and_wait = 0x1005,    ///< SHCNF_PATHW | SHCNF_FLUSH: returns when the shell has taken it up
  path_and_return = 0x3005,  ///< SHCNF_PATHW | SHCNF_FLUSHNOWAIT
};

class shell {
 public:
  /// SHChangeNotify, which reports nothing.
  virtual void notify(shell_event event, shell_flush flush, const std::wstring& path) = 0;
  /// SHChangeNotify with SHCNE_RENAMEITEM and SHCNF_PATHW.
  virtual void notify_of_rename(const std::wstring& old_path, const std::wstring& new_path) = 0;
  /// Has the shell extract the thumbnail of an item anew, `size` pixels wide: CLSID_LocalThumbnailCache,
  /// SHCreateItemFromParsingName, GetThumbnail with WTS_FORCEEXTRACTION.
  virtual hresult renew_thumbnail(const std::wstring& path, std::uint32_t size) = 0;

 protected:
  ~shell() = default;
};

}  // namespace platform
