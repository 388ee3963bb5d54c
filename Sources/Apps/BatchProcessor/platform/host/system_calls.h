// Calls that signals don't break off.
#pragma once

#include <cerrno>

namespace platform::host {

/// Repeats a call as long as a signal breaks it off. The call returns -1 and sets errno when it fails.
template <class Call>
auto retried(Call call) {
  for (;;) {
    const auto result = call();
    if (result != -1 || errno != EINTR) return result;
  }
}

}  // namespace platform::host
