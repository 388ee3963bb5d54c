#include "metadata/embedded_metadata.h"

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "metadata/out_of_memory.h"
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

using new_encoder =
    platform::hresult_result<std::unique_ptr<platform::metadata_encoder>> (platform::image_decoder::*)();

// Releases its encoder at the end: an image has one encoder at a time.
bool set_at_first_possible(platform::image_decoder& decoder, new_encoder make, std::span<const wchar_t* const> paths,
                           const platform::property_value& value) {
  const auto encoder = (decoder.*make)();
  if (!encoder) return false;
  for (const wchar_t* path : paths) {
    if (succeeded((*encoder)->set(path, value)) && succeeded((*encoder)->commit())) return true;
  }
  return false;
}

// `make_value` is called once the image is open.
template <class Make>
bool write_embedded(const std::wstring& path, const query_paths& paths, const Make& make_value) {
  using platform::image_decoder;
  if (path.empty()) return false;
  const auto decoder = platform::current().images.open(path);
  if (!decoder) return false;
  const platform::property_value value = make_value();
  return set_at_first_possible(**decoder, &image_decoder::frame_encoder, paths.frame, value) ||
         set_at_first_possible(**decoder, &image_decoder::container_encoder, paths.container, value);
}

}  // namespace

bool write_embedded_rating(const std::wstring& path, int stars) {
  return false_without_memory(
      [&] { return write_embedded(path, rating_paths, [stars] { return static_cast<std::uint32_t>(stars); }); });
}

bool write_embedded_keywords(const std::wstring& path, std::span<const std::wstring> tags) {
  return false_without_memory([&] {
    return write_embedded(path, keyword_paths, [tags] { return std::vector<std::wstring>(tags.begin(), tags.end()); });
  });
}

}  // namespace quill_box::metadata
