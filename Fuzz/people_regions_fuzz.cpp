// Any bytes as a text with people regions: parsed, stripped, and given a block of ours.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include "metadata/region_xmp.h"
#include "metadata/xmp_text.h"
#include "support/plain_region_strip.h"

namespace {

using namespace quill_box::metadata;
using region_list = std::vector<people_region>;

void require(bool holds) {
  if (!holds) std::abort();
}

region_list parsed(std::string_view text) {
  region_list regions;
  require(parse_region_info(text, regions) == !regions.empty());
  return regions;
}

bool is_named(const people_region& region) { return !region.name.empty(); }

std::string written(const region_list& regions) { return build_region_block(regions, {}); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);

  const region_list regions = parsed(text);
  require(regions.size() <= text.size() / std::string_view("<rdf:li").size());
  // Written once, numbers are clamped and have six decimals; from then on nothing changes any more.
  const region_list once = parsed(written(regions));
  const std::string block = written(once);
  require(parsed(block) == once);
  require(std::count_if(regions.begin(), regions.end(), is_named) == std::ssize(once));

  std::string value;
  if (read_xmp_value(text, "MPReg:PersonDisplayName", value)) require(value.size() < text.size());

  const std::string stripped = strip_region_blocks(text);
  require(stripped == support::plainly_stripped(text));

  const std::string edited = with_region_block(text, regions, {640, 480});
  require(edited.find(build_region_block(regions, {640, 480})) != std::string::npos);
  const bool is_new = stripped.find(rdf_end_tag) == std::string::npos;
  require(is_new || edited.size() == stripped.size() + build_region_block(regions, {640, 480}).size());
  return 0;
}
