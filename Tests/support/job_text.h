// Job files for tests.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "text/conversions.h"

namespace support {

/// The JSON of a job. Only backslashes of the paths are escaped.
[[nodiscard]] inline std::string job_text(std::string_view action_type, std::string_view parameters,
                                          const std::vector<std::wstring>& files) {
  std::string text = R"({"version":"1","job":{"guid":"job-1","action_type":")" + std::string(action_type) +
                     R"(","action_parameters":")" + std::string(parameters) + R"("},"files":[)";
  for (std::size_t i = 0; i < files.size(); ++i) {
    text += i == 0 ? R"({"path":")" : R"(,{"path":")";
    for (const char c : text::utf8_from_wide(files[i]))
      text += c == '\\' ? std::string("\\\\") : std::string(1, c);
    text += R"("})";
  }
  return text + "]}";
}

}  // namespace support
