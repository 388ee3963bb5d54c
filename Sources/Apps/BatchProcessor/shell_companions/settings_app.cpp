#include "shell_companions/settings_app.h"

namespace settings_app {

void launch(std::string_view /*tab*/) {}

}  // namespace settings_app
