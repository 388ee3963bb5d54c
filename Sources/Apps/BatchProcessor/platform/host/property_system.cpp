#include "platform/host/property_system.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/host/errno_codes.h"
#include "platform/host/image/image_property_store.h"
#include "platform/host/media/media_property_store.h"
#include "platform/host/path_bytes.h"
#include "platform/host/property_sets.h"

namespace platform::host {

namespace {

struct handler {
  bool (*serves)(const std::wstring& path);
  hresult_result<std::unique_ptr<property_store>> (*open)(const std::wstring& path, handler_access access);
};
constexpr std::array<handler, 2> handlers = {{
    {has_image_handler, open_image_store},
    {has_media_handler, open_media_store},
}};

class property_system final : public platform::property_system {
 public:
  hresult_result<std::unique_ptr<property_store>> open_handler_store(const std::wstring& path,
                                                                     handler_access access) override {
    const path_bytes native(path);
    if (!succeeded(native.error())) return hresult_from(native.error());
    struct stat status {};
    if (::stat(native.c_str(), &status) != 0) return hresult_from(error_from_errno(errno, native.c_str()));
    const auto found =
        std::find_if(handlers.begin(), handlers.end(), [&](const handler& handler) { return handler.serves(path); });
    // A folder has no handler, whatever its name ends in.
    if (found == handlers.end() || S_ISDIR(status.st_mode)) return hresult::class_not_registered;
    return found->open(path, access);
  }

  storage_result<std::unique_ptr<property_set_storage>> open_property_set_storage(const std::wstring& path,
                                                                                  storage_access access) override {
    return open_property_sets(path, access);
  }
};

}  // namespace

platform::property_system& property_system_instance() {
  static property_system instance;
  return instance;
}

}  // namespace platform::host
