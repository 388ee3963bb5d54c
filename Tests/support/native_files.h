// Whole files of the machine under test, for tests that need one to be there or look at what became of it.
#pragma once

#include <string>
#include <string_view>

namespace test_support {

/// Makes or replaces a file. Raises a runtime_error with the code of a failure.
void put_file(const std::wstring& path, std::string_view content);

/// The content of a file. Raises a runtime_error with the code of a failure.
[[nodiscard]] std::string content_of(const std::wstring& path);

/// Whether anything stands at the path.
[[nodiscard]] bool is_there(const std::wstring& path);

}  // namespace test_support
