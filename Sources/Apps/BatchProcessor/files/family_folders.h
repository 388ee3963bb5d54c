// Where the programs of the family keep what belongs to the user.
#pragma once

#include <string>

namespace files {

/// The family's folder below local application data. When the system can't name that, the path is relative.
[[nodiscard]] std::wstring family_folder();

}  // namespace files
