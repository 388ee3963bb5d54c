#include "platform/windows/shell.h"

#include "platform/windows/com_reference.h"
#include "platform/windows/error_codes.h"

namespace platform::windows {

namespace {

static_assert(static_cast<LONG>(shell_event::rename_item) == SHCNE_RENAMEITEM);
static_assert(static_cast<LONG>(shell_event::remove_directory) == SHCNE_RMDIR);
static_assert(static_cast<LONG>(shell_event::update_directory) == SHCNE_UPDATEDIR);
static_assert(static_cast<LONG>(shell_event::update_item) == SHCNE_UPDATEITEM);
static_assert(static_cast<UINT>(shell_flush::path) == SHCNF_PATHW);
static_assert(static_cast<UINT>(shell_flush::path_and_wait) == (SHCNF_PATHW | SHCNF_FLUSH));
static_assert(static_cast<UINT>(shell_flush::path_and_return) == (SHCNF_PATHW | SHCNF_FLUSHNOWAIT));

// CLSID_LocalThumbnailCache, which the headers name without a value.
constexpr CLSID local_thumbnail_cache_class = {
    0x50ef4544, 0xac9f, 0x4a8e, {0xb2, 0x1b, 0x8a, 0x26, 0x18, 0x0d, 0xb1, 0x3f}};

}  // namespace

void shell::notify(shell_event event, shell_flush flush, const std::wstring& path) {
  SHChangeNotify(static_cast<LONG>(event), static_cast<UINT>(flush), path.c_str(), nullptr);
}

void shell::notify_of_rename(const std::wstring& old_path, const std::wstring& new_path) {
  SHChangeNotify(SHCNE_RENAMEITEM, SHCNF_PATHW, old_path.c_str(), new_path.c_str());
}

hresult shell::renew_thumbnail(const std::wstring& path, std::uint32_t size) {
  com_reference<IThumbnailCache> cache;
  const hresult created = outcome(create_in_process(local_thumbnail_cache_class, cache));
  if (!succeeded(created)) return created;

  com_reference<IShellItem> item;
  const hresult parsed =
      outcome(SHCreateItemFromParsingName(path.c_str(), nullptr, item.identifier(), item.put_untyped()));
  if (!succeeded(parsed)) return parsed;

  com_reference<ISharedBitmap> thumbnail;
  return outcome(cache->GetThumbnail(item.get(), size, WTS_FORCEEXTRACTION, thumbnail.put(), nullptr, nullptr));
}

}  // namespace platform::windows
