#include "platform/host/image/image_file.h"

#include <utility>

namespace platform::host::image {

hresult_result<image_file> open_image_file(const std::wstring& path, handler_access access) {
  hresult_result<content_file> file = open_content_file(path, access, hresult::imaging_unknown_format);
  if (!file) return file.error();
  std::unique_ptr<image_container> container = open_image_container(*file->source);
  if (const win32_error unread = file->source->failure(); !succeeded(unread)) return hresult_from(unread);
  const bool is_good_enough = container && (container->is_whole() || access != handler_access::read_write);
  if (!is_good_enough) return hresult::imaging_unknown_format;
  return image_file{*std::move(file), std::move(container)};
}

}  // namespace platform::host::image
