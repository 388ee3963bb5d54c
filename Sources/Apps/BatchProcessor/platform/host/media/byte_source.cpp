#include "platform/host/media/byte_source.h"

#include <unistd.h>

#include <cerrno>

namespace platform::host {

bool file_byte_source::fill(std::uint64_t offset, std::string& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count =
        ::pread(descriptor_, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      // The end can only come here when someone cut the file after its size was taken.
      if (failure_ == 0) failure_ = count < 0 ? errno : EIO;
      return false;
    }
    done += static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace platform::host
