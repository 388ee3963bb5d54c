#pragma once

#include <string_view>

namespace settings_app {

/// Starts the settings application on one of its tabs, named in UTF-8. This build starts nothing yet: the call stands
/// where a run has it and does nothing.
void launch(std::string_view tab);

}  // namespace settings_app
