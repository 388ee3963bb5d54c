// Opening regular files, with sharing between the processes of this program.
#pragma once

#include <sys/stat.h>

#include <string>

#include "platform/file_system.h"
#include "platform/host/path_bytes.h"
#include "platform/host/unique_descriptor.h"

namespace platform::host {

/// Opens a regular file for what `request` asks, and never waits for one. What it creates is there at once, so
/// create_always and rewrite_existing are not for it, nor is a change of what a file holds (changed_file.h): what is
/// opened for writing is only appended to, or is new. access_denied for a folder, a pipe or a device, and for writing
/// to a file that has the read-only attribute. A change of the file that was cut short is recovered first, so that
/// nobody reads torn bytes; one system call for any other file.
///
/// Sharing is a matter of advisory locks: who shares nothing has the file alone among those who ask, so has who writes
/// and lets others read only: sharing_violation for the second one. Who reads and shares asks nobody.
struct opened_file {
  unique_descriptor descriptor;
  bool is_new = false;  ///< the call made it
};

[[nodiscard]] win32_result<opened_file> open_regular(const path_bytes& path, const open_request& request);

/// Gives a file that was just made its hidden, system, archive and read-only attributes, as far as its file system has
/// them.
win32_error give_attributes(int file, std::uint32_t attributes);

}  // namespace platform::host
