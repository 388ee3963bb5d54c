// A property store of the system behind the seam's interface.
#pragma once

#include <memory>

#include "platform/property_system.h"
#include "platform/windows/com_reference.h"

namespace platform::windows {

[[nodiscard]] std::unique_ptr<platform::property_store> wrap(com_reference<IPropertyStore> store);

}  // namespace platform::windows
