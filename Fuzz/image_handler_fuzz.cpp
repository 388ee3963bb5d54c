// The image handler on bytes from outside. The first byte chooses the container and the change; whatever the rest is,
// an image that opens can be changed, gives the new values back, changes back, and keeps everything else.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/image/image_bytes.h"
#include "platform/host/image/image_metadata.h"

namespace {

using namespace platform::host;
using namespace platform::host::image;
using wide_strings = std::vector<std::wstring>;

void require(bool condition) {
  if (!condition) std::abort();
}

std::unique_ptr<image_container> open_kind(unsigned kind, byte_source& source) {
  switch (kind) {
    case 0:
      return open_jpeg(source);
    case 1:
      return open_png(source);
    case 2:
      return open_tiff(source);
    default:
      return open_webp(source);
  }
}

// PNG chunks that the handler reads need a right checksum, which no fuzzer guesses.
std::string with_right_checksums(std::string bytes) {
  std::size_t at = 8;
  while (at + 12 <= bytes.size()) {
    const std::size_t size = get_u32(bytes, at, byte_order::big);
    if (size > bytes.size() - at - 12) break;
    bytes.replace(at + 8 + size, 4,
                  u32_bytes(crc32(std::string_view(bytes).substr(at + 4, size + 4)), byte_order::big));
    at += size + 12;
  }
  return bytes;
}

struct change_result {
  std::string bytes;
  bool done = false;
};

// The new values have to be read back, and a second time there is nothing to do.
change_result change_and_check(const std::string& bytes, unsigned kind, const image_change& change) {
  memory_source source(bytes);
  const auto container = open_kind(kind, source);
  if (!container) return {};
  const std::optional<edit_plan> plan = plan_change(*container, change);
  if (!plan) return {};
  std::uint64_t done = 0;
  for (const splice& part : *plan) {
    require(part.offset >= done && part.offset <= bytes.size() && part.erase <= bytes.size() - part.offset);
    done = part.offset + part.erase;
  }
  change_result result{image_bytes::apply_plan(bytes, *plan), true};

  memory_source changed_source(result.bytes);
  const auto changed = open_kind(kind, changed_source);
  require(changed != nullptr);
  if (change.percent) {
    const auto expected = *change.percent == 0 ? std::nullopt : change.percent;
    require(read_rating(changed->blocks()) == expected);
  } else {
    require(read_rating(changed->blocks()) == read_rating(container->blocks()));
  }
  if (change.keywords) {
    require(read_keywords(changed->blocks()).value_or(wide_strings()) == *change.keywords);
  } else {
    require(read_keywords(changed->blocks()) == read_keywords(container->blocks()));
  }
  const std::optional<edit_plan> again = plan_change(*changed, change);
  require(again && again->empty());
  return result;
}

// Of a JPEG everything from the scan on stays.
void require_same_end(const std::string& before, const std::string& after) {
  const std::size_t scan = before.rfind("\xff\xda");
  if (scan == std::string::npos) return;
  require(after.ends_with(std::string_view(before).substr(scan)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const unsigned kind = data[0] & 3;
  std::string bytes(data + 1, data + size);
  if (kind == 1) bytes = with_right_checksums(std::move(bytes));

  const wide_strings tags{L"a tag", L"\u00e9t\u00e9 <&>", L"\u0444"};
  const change_result rated = change_and_check(bytes, kind, {75, {}});
  if (!rated.done) return 0;
  if (kind == 0) require_same_end(bytes, rated.bytes);
  require(change_and_check(rated.bytes, kind, {25, {}}).done);
  const change_result tagged = change_and_check(rated.bytes, kind, {{}, tags});
  if (!tagged.done) return 0;
  const change_result removed = change_and_check(tagged.bytes, kind, {0, wide_strings()});
  require(removed.done);
  return 0;
}
