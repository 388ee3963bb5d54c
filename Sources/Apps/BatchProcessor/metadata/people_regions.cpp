#include "metadata/people_regions.h"

#include <utility>
#include <variant>

#include "metadata/jpeg_xmp.h"
#include "metadata/region_xmp.h"
#include "metadata/xmp_text.h"
#include "platform/machine.h"
#include "platform/property_keys.h"

namespace quill_box::metadata {

namespace {

using region_list = std::vector<people_region>;

region_list regions_in_file(const std::wstring& path) {
  region_list regions;
  std::string bytes;
  if (!read_whole_file(path, bytes) || !parse_region_info(bytes, regions)) return {};
  return regions;
}

// Names without rectangles. A property set that can't be read is as good as none.
region_list regions_in_property_set(const std::wstring& path) {
  const auto storage =
      platform::current().properties.open_property_set_storage(path, platform::storage_access::read_deny_write);
  if (!storage) return {};
  const auto store = (*storage)->create_store(platform::store_access::read);
  if (!store) return {};
  const auto value = (*store)->get(platform::people_names_key);
  const auto* names = value ? std::get_if<std::vector<std::wstring>>(&*value) : nullptr;
  if (names == nullptr) return {};
  region_list regions;
  for (const std::wstring& name : *names) {
    // A null string reads as an empty one; it stands for nobody.
    if (!name.empty()) regions.push_back({name});
  }
  return regions;
}

region_list regions_in_sidecar(const std::wstring& path) {
  region_list regions;
  if (!parse_region_info(read_text_file(path + L".xmp"), regions)) return {};
  return regions;
}

}  // namespace

region_list read_people_regions(const std::wstring& path) {
  if (path.empty()) return {};
  for (const auto source : {regions_in_file, regions_in_property_set}) {
    region_list regions = source(path);
    if (!regions.empty()) return regions;
  }
  return regions_in_sidecar(path);
}

}  // namespace quill_box::metadata
