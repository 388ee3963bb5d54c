#include "platform/machine.h"

#include "platform/host/clock.h"
#include "platform/host/error_texts.h"
#include "platform/host/file_system.h"
#include "platform/host/imaging.h"
#include "platform/host/processes.h"
#include "platform/host/profile_strings.h"
#include "platform/host/property_system.h"
#include "platform/host/shell.h"
#include "platform/host/terminal.h"

namespace platform {

machine& native_machine() {
  static host::file_system files;
  static host::shell shell;
  static host::processes processes;
  static host::clock clock;
  static host::terminal terminal;
  static host::error_texts errors;
  static machine native = {files,
                           host::profile_strings_instance(),
                           host::property_system_instance(),
                           host::imaging_instance(),
                           shell,
                           processes,
                           clock,
                           terminal,
                           errors};
  return native;
}

}  // namespace platform
