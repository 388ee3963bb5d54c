// The shared settings: any bytes are settings or nothing, and no section or category is without its name.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "settings/settings_document.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view json(reinterpret_cast<const char*>(data), size);
  if (const auto settings = high_level_settings::parse_settings(json); settings && settings->apps) {
    for (const auto& [app_id, record] : *settings->apps) {
      if (app_id.empty() || app_id != record.app_id) std::abort();
    }
  }
  if (const auto categories = high_level_settings::parse_organize_categories(json)) {
    if (categories->empty()) std::abort();
    for (const auto& category : *categories) {
      if (category.name.empty()) std::abort();
    }
  }
  return 0;
}
