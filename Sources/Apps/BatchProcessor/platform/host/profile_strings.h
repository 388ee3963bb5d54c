// INI files on the host.
#pragma once

#include "platform/profile_strings.h"

namespace platform::host {

[[nodiscard]] profile_strings& profile_strings_instance();

}  // namespace platform::host
