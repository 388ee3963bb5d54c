// Where the programs of the family keep what belongs to the user.
#pragma once

#include <string>

namespace files {

/// The family's folder below local application data. The system is asked once in a process; when it couldn't name the
/// place then, the path is relative for good.
[[nodiscard]] std::wstring family_folder();

/// Has the next family_folder() ask anew. For tests, each of which has a machine of its own.
void forget_family_folder();

}  // namespace files
