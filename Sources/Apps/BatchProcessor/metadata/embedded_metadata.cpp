#include "metadata/embedded_metadata.h"

#include <array>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

#include "platform/machine.h"

namespace quill_box::metadata {

namespace {

// Where a value stands in the order of trial: "/xmp" is the XMP block of a JPEG, "/ifd/xmp" the one of a TIFF-like
// file, 700 the XMP tag of a TIFF directory.
struct query_paths {
  std::array<const wchar_t*, 2> frame;
  std::array<const wchar_t*, 3> container;
};

constexpr query_paths rating_paths = {
    {L"/xmp/xmp:Rating", L"/{ushort=700}/xmp:Rating"},
    {L"/ifd/xmp/xmp:Rating", L"/{ushort=700}/xmp:Rating", L"/xmp/xmp:Rating"},
};
constexpr query_paths keyword_paths = {
    {L"/xmp/dc:subject", L"/{ushort=700}/dc:subject"},
    {L"/ifd/xmp/dc:subject", L"/{ushort=700}/dc:subject", L"/xmp/dc:subject"},
};

using encoder_result = platform::hresult_result<std::unique_ptr<platform::metadata_encoder>>;

bool set_at_first_possible(encoder_result encoder, std::span<const wchar_t* const> paths,
                           const platform::property_value& value) {
  if (!encoder) return false;
  for (const wchar_t* path : paths) {
    if (succeeded((*encoder)->set(path, value)) && succeeded((*encoder)->commit())) return true;
  }
  return false;
}

bool write_embedded(const std::wstring& path, const query_paths& paths, const platform::property_value& value) {
  const auto decoder = platform::current().images.open(path);
  if (!decoder) return false;
  return set_at_first_possible((*decoder)->frame_encoder(), paths.frame, value) ||
         set_at_first_possible((*decoder)->container_encoder(), paths.container, value);
}

}  // namespace

bool write_embedded_rating(const std::wstring& path, int stars) {
  if (path.empty()) return false;
  return write_embedded(path, rating_paths, static_cast<std::uint32_t>(stars));
}

bool write_embedded_keywords(const std::wstring& path, std::span<const std::wstring> tags) {
  if (path.empty()) return false;
  platform::property_value value;
  try {
    value = std::vector<std::wstring>(tags.begin(), tags.end());
  } catch (const std::bad_alloc&) {
    return false;
  }
  return write_embedded(path, keyword_paths, value);
}

}  // namespace quill_box::metadata
