// Files replaced as a whole, for the tests of staging and of the undo file.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <string>
#include <string_view>

#include "platform/host/file_bytes.h"
#include "platform/host/staged_file.h"

namespace host_test {

/// A user who owns no file of the tests.
inline constexpr uid_t nobody = 65534;

inline platform::win32_error replace(
    const std::string& path, std::string_view bytes,
    platform::host::staging_form form = platform::host::staging_form::unnamed_if_possible) {
  auto staged = platform::host::staged_file::create(path, form);
  if (!staged) return staged.error();
  EXPECT_EQ(platform::host::write_at(staged->descriptor(), 0, bytes), 0);
  return staged->commit();
}

}  // namespace host_test
