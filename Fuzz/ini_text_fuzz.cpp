// INI files: whatever the bytes are, reading ends, a value set is read back, and an edit taken back by deleting leaves
// no trace of the key.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "platform/host/ini_text.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

void check_value(std::string_view bytes, std::wstring_view section, std::wstring_view key) {
  using namespace platform::host;
  const std::string changed = with_ini_value(bytes, section, key, L"a value");
  require(ini_value(changed, section, key) == L"a value");
  require(with_ini_value(changed, section, key, L"a value") == changed);
  const std::string removed = without_ini_key(changed, section, key);
  require(removed.size() < changed.size());
  require(without_ini_section(changed, section).size() < changed.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(data, data + size);
  check_value(bytes, L"QuillBox", L"Tags");
  check_value(bytes, L"{F29F85E0-4FF9-1068-AB91-08002B27B3D9}", L"Prop5");
  check_value(bytes, L"a", L"b");
  return 0;
}
