#include "platform/host/image/photoshop_resources.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "platform/host/byte_order.h"
#include "platform/host/image/checksums.h"

namespace platform::host::image {

namespace {

constexpr std::string_view signatures[] = {"8BIM", "MeSa", "AgHg", "PHUT", "DCSR"};
constexpr std::size_t digest_size = 16;

// The resource at the front; nothing where there is none.
std::optional<photoshop_resource> first_resource(std::string_view stream) {
  constexpr std::size_t name_at = 6;
  if (stream.size() < name_at + 1) return std::nullopt;
  if (std::find(std::begin(signatures), std::end(signatures), stream.substr(0, 4)) == std::end(signatures)) {
    return std::nullopt;
  }
  const std::size_t name_size = static_cast<unsigned char>(stream[name_at]) + std::size_t{1};
  const std::size_t size_at = name_at + name_size + name_size % 2;
  if (size_at + 4 > stream.size()) return std::nullopt;
  const std::size_t size = get_u32(stream, size_at, byte_order::big);
  const std::size_t value_at = size_at + 4;
  if (size > stream.size() - value_at) return std::nullopt;
  // The last one's padding may be missing.
  const std::size_t end = std::min(value_at + size + size % 2, stream.size());
  return photoshop_resource{get_u16(stream, 4, byte_order::big), stream.substr(0, size_at),
                            stream.substr(value_at, size), stream.substr(0, end)};
}

void append_resource(std::string& stream, std::string_view head, std::string_view value) {
  stream += head;
  append_u32(stream, static_cast<std::uint32_t>(value.size()), byte_order::big);
  stream += value;
  stream.append(value.size() % 2, '\0');
}

}  // namespace

std::optional<std::vector<photoshop_resource>> list_photoshop_resources(std::string_view stream) {
  std::vector<photoshop_resource> resources;
  while (stream.find_first_not_of('\0') != std::string_view::npos) {
    const std::optional<photoshop_resource> resource = first_resource(stream);
    if (!resource) return std::nullopt;
    resources.push_back(*resource);
    stream.remove_prefix(resource->bytes.size());
  }
  return resources;
}

const photoshop_resource* find_resource(const std::vector<photoshop_resource>& resources, std::uint16_t id) {
  const auto found = std::find_if(resources.begin(), resources.end(),
                                  [id](const photoshop_resource& resource) { return resource.id == id; });
  return found == resources.end() ? nullptr : &*found;
}

std::string with_iptc_block(std::string_view stream, std::string_view block) {
  const std::optional<std::vector<photoshop_resource>> resources = list_photoshop_resources(stream);
  if (!resources) return std::string(stream);
  std::string changed;
  std::size_t listed = 0;
  bool has_block = false;
  for (const photoshop_resource& resource : *resources) {
    listed += resource.bytes.size();
    if (resource.id == photoshop_iptc) {
      if (!std::exchange(has_block, true)) append_resource(changed, resource.head, block);
    } else if (resource.id == photoshop_iptc_digest && resource.value.size() == digest_size) {
      append_resource(changed, resource.head, md5(block));
    } else {
      changed += resource.bytes;
    }
  }
  changed += stream.substr(listed);
  return changed;
}

}  // namespace platform::host::image
