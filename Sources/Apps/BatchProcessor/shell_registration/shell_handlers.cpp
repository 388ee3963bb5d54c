#include "shell_registration/shell_handlers.h"

namespace shell_registration {

void ensure_shell_handlers(const std::wstring&) {}

}  // namespace shell_registration
