#include "platform/machine.h"

#include "platform/windows/clock.h"
#include "platform/windows/error_texts.h"
#include "platform/windows/file_system.h"
#include "platform/windows/imaging.h"
#include "platform/windows/processes.h"
#include "platform/windows/profile_strings.h"
#include "platform/windows/property_system.h"
#include "platform/windows/shell.h"
#include "platform/windows/terminal.h"

namespace platform {

machine& native_machine() {
  static windows::file_system files;
  static windows::profile_strings profiles;
  static windows::property_system properties;
  static windows::imaging images;
  static windows::shell shell;
  static windows::processes processes;
  static windows::clock clock;
  static windows::terminal terminal;
  static windows::error_texts errors;
  static machine native = {files, profiles, properties, images, shell, processes, clock, terminal, errors};
  return native;
}

}  // namespace platform
