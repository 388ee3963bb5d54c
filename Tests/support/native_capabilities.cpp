#include "support/native_capabilities.h"

#include <algorithm>
#include <array>

#include "platform/machine.h"
#include "support/contract_machines.h"

namespace test_support {

namespace {

enum class native_kind : std::uint8_t { windows, wine, host };

native_kind kind_of_machine() {
  if (sizeof(wchar_t) != 2) return native_kind::host;
  constexpr auto only_in_wine = LR"(C:\windows\system32\winecfg.exe)";
  const bool is_wine = platform::native_machine().files.attributes(only_in_wine).has_value();
  return is_wine ? native_kind::wine : native_kind::windows;
}

struct gap {
  native_kind machine;
  capability missing;
  const char* reason;
};

constexpr std::array gaps = {
    gap{native_kind::host, capability::sharing_violations, "the host has no mandatory sharing"},
    gap{native_kind::host, capability::forbidden_characters, "the host forbids no character but the separator"},
    gap{native_kind::wine, capability::read_only_opening, "Wine leaves it to the host, where root may write anything"},
    gap{native_kind::wine, capability::archive_attribute, "Wine shows the archive bit for every file"},
    gap{native_kind::wine, capability::directory_attributes, "Wine keeps no attributes of directories"},
    gap{native_kind::wine, capability::creation_time, "Wine makes the creation time up from the others"},
    gap{native_kind::wine, capability::harmless_image_opening,
        "Wine empties or makes an image that it opens for writing"},
    gap{native_kind::wine, capability::property_stores, "Wine has no property handlers and no property sets of files"},
    gap{native_kind::wine, capability::not_a_folder_code, "Wine finds fault with the name of the entries instead"},
    gap{native_kind::wine, capability::long_profile_paths, "Wine takes no long path for an INI file"},
    gap{native_kind::wine, capability::known_error_texts, "Wine lacks some messages and words others in its own way"},
};

}  // namespace

const char* reason_without(capability wanted) {
  // The simulated machine is Windows in all of this.
  if (backend_under_test() == backend::simulated) return nullptr;
  static const native_kind machine = kind_of_machine();
  const auto matches = [wanted](const gap& row) { return row.machine == machine && row.missing == wanted; };
  const auto* const found = std::find_if(gaps.begin(), gaps.end(), matches);
  return found != gaps.end() ? found->reason : nullptr;
}

}  // namespace test_support
