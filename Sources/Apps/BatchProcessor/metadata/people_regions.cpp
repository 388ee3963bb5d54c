#include "metadata/people_regions.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <variant>

#include "metadata/capabilities.h"
#include "metadata/jpeg_xmp.h"
#include "metadata/out_of_memory.h"
#include "metadata/property_set_writer.h"
#include "metadata/region_xmp.h"
#include "metadata/xmp_sidecar.h"
#include "metadata/xmp_text.h"
#include "platform/machine.h"
#include "platform/property_keys.h"
#include "text/conversions.h"
#include "text/paths.h"

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
  for (const std::wstring& name : *names)
    regions.push_back({name});
  return regions;
}

region_list regions_in_sidecar(const std::wstring& path) {
  region_list regions;
  if (!parse_region_info(read_text_file(path + L".xmp"), regions)) return {};
  return regions;
}

region_list named_ones(std::span<const people_region> regions) {
  region_list named;
  for (const people_region& region : regions) {
    if (!region.name.empty()) named.push_back(region);
  }
  return named;
}

bool has_no_rectangle(const region_list& regions) {
  return std::all_of(regions.begin(), regions.end(), [](const people_region& region) {
    return region.x == 0 && region.y == 0 && region.w == 0 && region.h == 0;
  });
}

enum class compared { names, names_and_rectangles };

// One text for each region, the same for regions that would be written alike.
std::vector<std::string> sorted_signatures(const region_list& regions, compared what) {
  std::vector<std::string> signatures;
  for (const people_region& region : regions) {
    std::string signature = text::utf8_from_wide(region.name);
    if (what == compared::names_and_rectangles) {
      for (const double side : {region.x, region.y, region.w, region.h})
        signature += "|" + fraction_text(side);
    }
    signatures.push_back(std::move(signature));
  }
  std::sort(signatures.begin(), signatures.end());
  return signatures;
}

bool are_same_set(const region_list& a, const region_list& b) {
  if (a.size() != b.size()) return false;
  const compared what = has_no_rectangle(a) || has_no_rectangle(b) ? compared::names : compared::names_and_rectangles;
  return sorted_signatures(a, what) == sorted_signatures(b, what);
}

bool write_into_jpeg(const std::wstring& path, std::span<const people_region> regions, platform::image_size size) {
  std::string bytes;
  if (!read_whole_file(path, bytes)) return false;
  const auto scan = scan_jpeg_for_xmp(bytes);
  if (!scan) return false;
  if (!scan->found) return write_jpeg_with_xmp(path, bytes, *scan, build_region_packet(regions, size));
  const std::string old = bytes.substr(scan->payload_start, scan->segment_end - scan->payload_start);
  return write_jpeg_with_xmp(path, bytes, *scan, with_region_block(old, regions, size));
}

// Each name once, ordered by its UTF-16 units.
bool write_names_to_property_set(const std::wstring& path, std::span<const people_region> regions) {
  return false_without_memory([&] {
    std::set<std::pair<std::u16string, std::wstring>> sorted;
    for (const people_region& region : regions) {
      if (!region.name.empty()) sorted.emplace(text::utf16_from_wide(region.name), region.name);
    }
    std::vector<std::wstring> names;
    names.reserve(sorted.size());
    for (const auto& [units, name] : sorted)
      names.push_back(name);
    return write_property_to_ntfs_set(path, platform::people_names_key, names);
  });
}

// 1 to 8 as in Exif; 1, which is upright, for a value of another type and where there is none.
std::uint32_t orientation_of(platform::image_reader& image) {
  for (const wchar_t* query : {L"/app1/ifd/{ushort=274}", L"/ifd/{ushort=274}", L"/app1/{ushort=0}/{ushort=274}"}) {
    const auto value = image.get(query);
    if (!value) continue;
    if (const auto* number = std::get_if<std::uint16_t>(&*value)) return *number;
    if (const auto* number = std::get_if<std::uint32_t>(&*value)) return *number;
    break;
  }
  return 1;
}

bool is_turned_by_a_quarter(std::uint32_t orientation) { return orientation >= 5 && orientation <= 8; }

}  // namespace

region_list read_people_regions(const std::wstring& path) {
  if (path.empty()) return {};
  for (const auto source : {regions_in_file, regions_in_property_set}) {
    region_list regions = source(path);
    if (!regions.empty()) return regions;
  }
  return regions_in_sidecar(path);
}

bool replace_people_regions(const std::wstring& path, std::span<const people_region> regions) {
  if (path.empty()) throw std::runtime_error("Failed to set people regions: no file path");
  if (are_same_set(named_ones(read_people_regions(path)), named_ones(regions))) return false;
  const platform::image_size size = image_dimensions(path);
  if (is_jpeg(paths::extension(path)) && write_into_jpeg(path, regions, size)) return true;
  const bool has_names = write_names_to_property_set(path, regions);
  const bool has_sidecar = write_regions_sidecar(path, regions, size);
  // Names without their rectangles are enough.
  if (!has_names && !has_sidecar) throw std::runtime_error("Failed to set people regions");
  return true;
}

bool write_regions_sidecar(const std::wstring& path, std::span<const people_region> regions,
                           platform::image_size size) {
  return edit_sidecar(path, [&](std::string old) { return with_region_block(std::move(old), regions, size); });
}

platform::image_size image_dimensions(const std::wstring& path) {
  const auto image = platform::current().images.open_for_reading(path);
  if (!image) return {};
  const auto size = (*image)->size();
  if (!size || size->width == 0 || size->height == 0) return {};
  if (is_turned_by_a_quarter(orientation_of(**image))) return {size->height, size->width};
  return *size;
}

}  // namespace quill_box::metadata
