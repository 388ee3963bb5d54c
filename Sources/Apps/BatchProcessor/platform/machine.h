// The machine that the program runs on: one reference to each facility.
#pragma once

#include "platform/clock.h"
#include "platform/error_texts.h"
#include "platform/file_system.h"
#include "platform/imaging.h"
#include "platform/processes.h"
#include "platform/profile_strings.h"
#include "platform/property_system.h"
#include "platform/shell.h"
#include "platform/terminal.h"

namespace platform {

struct machine {
  file_system& files;
  profile_strings& profiles;
  property_system& properties;
  imaging& images;
  platform::shell& shell;
  platform::processes& processes;
  platform::clock& clock;
  platform::terminal& terminal;
  error_texts& errors;
};

/// The machine of this process. The entry code installs it once, a test for a scope.
[[nodiscard]] machine& current();

/// Makes `next` the current machine; returns the one before, null at first.
machine* install(machine* next);

/// The machine as this executable has it: Windows or the host, whichever was built in.
[[nodiscard]] machine& native_machine();

}  // namespace platform
