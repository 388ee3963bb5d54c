// Moves as the tests of the host machine make them.
#pragma once

#include <string>

#include "platform/errors.h"
#include "platform/host/file_move.h"

namespace host_test {

[[nodiscard]] inline platform::win32_error move(const std::string& from, const std::string& to) {
  using platform::host::path_bytes;
  using platform::host::wide_from_bytes;
  return platform::host::move_to_free_name(path_bytes(wide_from_bytes(from)), path_bytes(wide_from_bytes(to)));
}

}  // namespace host_test
