#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <string>
#include <vector>

#include "batch_driver/entry.h"
#include "platform/host/path_bytes.h"
#include "platform/machine.h"

namespace {

// Were one of them closed, the next file that is opened would get its number, and whatever is told to the user would
// be written into that file.
void keep_standard_descriptors() {
  for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(number, F_GETFD) != -1 || errno != EBADF) continue;
    // The lowest free number is this one. A failure leaves it free, as it was.
    static_cast<void>(::open("/dev/null", O_RDWR | O_NOCTTY));
  }
}

}  // namespace

int main(int argument_count, char** arguments) {
  keep_standard_descriptors();
  // One heap for both threads: they seldom allocate at the same time, and a second heap grows in small steps, each a
  // call of its own. A refusal costs time and nothing else.
  static_cast<void>(::mallopt(M_ARENA_MAX, 1));
  // Whoever reads what is told to the user may leave early; the job goes on.
  std::signal(SIGPIPE, SIG_IGN);
  platform::install(&platform::native_machine());
  std::vector<std::wstring> wide;
  wide.reserve(static_cast<std::size_t>(argument_count));
  for (int i = 0; i < argument_count; ++i)
    wide.push_back(platform::host::wide_from_bytes(arguments[i]));
  return quill_box::batch_processor::run(wide);
}
