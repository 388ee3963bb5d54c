// The family's shell extension on the file types that its users rate and tag.
#pragma once

#include <string>

namespace shell_registration {

/// Called for each item once its metadata is written, so that the item's type gets the shell handlers that show it.
/// No type is claimed yet: the call stands where that step belongs.
void ensure_shell_handlers(const std::wstring& path);

}  // namespace shell_registration
