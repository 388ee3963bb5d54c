#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "text/conversions.h"

namespace exceptions {

/// A runtime error whose message was formatted as wide text; what() is UTF-8, as for every exception here.
class formatted_runtime_error : public std::runtime_error {
 public:
  explicit formatted_runtime_error(std::wstring_view message) : std::runtime_error(text::utf8_from_wide(message)) {}
  explicit formatted_runtime_error(const std::string& utf8_message) : std::runtime_error(utf8_message) {}
};

}  // namespace exceptions
