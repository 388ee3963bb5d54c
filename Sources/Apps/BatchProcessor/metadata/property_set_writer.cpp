#include "metadata/property_set_writer.h"

#include "metadata/out_of_memory.h"
#include "platform/machine.h"

namespace quill_box::metadata {

bool write_property_to_ntfs_set(const std::wstring& path, const platform::property_key& key,
                                const platform::property_value& value) {
  return false_without_memory([&] {
    const auto storage =
        platform::current().properties.open_property_set_storage(path, platform::storage_access::read_write_exclusive);
    if (!storage) return false;
    const auto store = (*storage)->create_store(platform::store_access::read_write);
    return store && succeeded((*store)->set(key, value)) && succeeded((*store)->commit());
  });
}

}  // namespace quill_box::metadata
