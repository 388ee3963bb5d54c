// Facilities that the host does not have yet: every operation answers that it is not implemented.
#pragma once

#include "platform/property_system.h"

namespace platform::host {

[[nodiscard]] property_system& property_system_instance();

}  // namespace platform::host
