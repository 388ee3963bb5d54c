// What a machine under test can't show.
#pragma once

#include <cstdint>

namespace test_support {

enum class capability : std::uint8_t {
  sharing_violations,      ///< an open file keeps out others that it doesn't share with
  read_only_opening,       ///< a read-only file can't be opened for writing
  read_only_deletion,      ///< a read-only file can't be deleted
  archive_attribute,       ///< the archive bit of a file can be cleared
  directory_attributes,    ///< hidden and system directories
  creation_time,           ///< of a file, apart from its other times
  forbidden_characters,    ///< a name with "*" can't exist
  harmless_image_opening,  ///< an image that can't be opened for writing stays as it is
  property_stores,         ///< property handlers and property sets of files
  not_a_folder_code,       ///< a file in a folder's place has an error of its own when its entries are asked for
  long_profile_paths,      ///< INI files with a path over 260 characters
  known_error_texts,       ///< the system's messages are worded as Windows words them
};

/// Null when the machine has it, otherwise why it can't.
[[nodiscard]] const char* reason_without(capability wanted);

}  // namespace test_support

/// In a test's first line: skips it, with the reason, on a machine without the capability.
#define REQUIRE_CAPABILITY(name)                                                                            \
  if (const char* const why = test_support::reason_without(test_support::capability::name); why != nullptr) \
  GTEST_SKIP() << why
