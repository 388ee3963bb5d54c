#include "platform/machine.h"

#include <cassert>
#include <utility>

namespace platform {

namespace {
machine* installed = nullptr;
}

machine& current() {
  assert(installed != nullptr);
  return *installed;
}

machine* install(machine* next) { return std::exchange(installed, next); }

}  // namespace platform
