// The mark of a change in place, on a file whose room is open: any bytes take the change back or leave the file alone.
#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/host/change_mark.h"
#include "platform/host/file_bytes.h"
#include "platform/host/staged_file.h"
#include "platform/host/unique_descriptor.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

// A's, a block of R's, and A's again, of which the first few are B's: as a change leaves it that was cut short.
std::string torn_content() {
  return std::string(4096, 'A') + std::string(4096, 'R') + std::string(5, 'B') + std::string(4091, 'A');
}

struct torn_file {
  std::string path = (std::filesystem::temp_directory_path() / ("change_mark_" + std::to_string(::getpid()))).string();
  platform::host::unique_descriptor file{::open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600)};
  ~torn_file() { ::unlink(path.c_str()); }
};

std::string content_of(int file) {
  std::string bytes(3 * 4096 + 1, '\0');
  bytes.resize(platform::host::read_at(file, 0, bytes));
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace platform::host;
  static const torn_file torn;
  const int file = torn.file.get();
  const std::string before = torn_content();
  require(::ftruncate(file, static_cast<off_t>(before.size())) == 0 && write_at(file, 0, before) == 0);
  // Longer than the file system takes, or one without attributes.
  if (::fsetxattr(file, rewrite_mark, data, size, 0) != 0) return 0;
  const platform::win32_error first = finish_interrupted_rewrite(torn.path);
  const std::string after = content_of(file);
  require(after.size() == before.size() || after.size() == before.size() - 4096);
  // Once settled, it is settled; what can't be stays as it is.
  const platform::win32_error second = finish_interrupted_rewrite(torn.path);
  require(second == first && content_of(file) == after);
  static_cast<void>(::fremovexattr(file, rewrite_mark));
  return 0;
}
