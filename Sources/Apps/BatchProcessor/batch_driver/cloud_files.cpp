#include "batch_driver/cloud_files.h"

#include <array>
#include <cstddef>

#include "logging/log.h"
#include "platform/machine.h"
#include "text/formatted_runtime_error.h"

namespace quill_box::batch_processor {

namespace {

bool read_first_byte(const std::wstring& item) {
  auto file = platform::current().files.open(item, {platform::access::read, platform::share::read});
  if (!file) return false;
  std::array<std::byte, 1> first;
  const auto count = (*file)->read(first);
  return count && *count == first.size();
}

}  // namespace

void fetch_cloud_file(const std::wstring& item) {
  if (read_first_byte(item)) return;
  logging::log(logging::level::error, "File {} is an offline cloud file but hydration failed.", item);
  throw exceptions::formatted_runtime_error(L"Failed to download the file.");
}

}  // namespace quill_box::batch_processor
