// What a call that raises has to say.
#pragma once

#include <stdexcept>
#include <string>

namespace support {

/// The message of the failure that a call raises; "none" when it raises none.
template <class Call>
[[nodiscard]] std::string failure_of(const Call& call) {
  try {
    call();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "none";
}

}  // namespace support
