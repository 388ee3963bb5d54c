// The attribute of a file whose change was cut short: any bytes put old bytes back or leave the file alone.
#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/host/file_bytes.h"
#include "platform/host/recovery.h"
#include "platform/host/undo_attribute.h"
#include "platform/host/unique_descriptor.h"

namespace {

constexpr std::size_t file_size = 2 * 4096;

void require(bool holds) {
  if (!holds) std::abort();
}

struct torn_file {
  std::string path = (std::filesystem::temp_directory_path() / ("undo_record_" + std::to_string(::getpid()))).string();
  platform::host::unique_descriptor file{::open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600)};
  ~torn_file() { ::unlink(path.c_str()); }
};

std::string content_of(int file) {
  std::string bytes(file_size + 1, '\0');
  bytes.resize(platform::host::read_at(file, 0, bytes));
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace platform::host;
  static const torn_file torn;
  const int file = torn.file.get();
  // A few bytes of B's among the A's: as a patch leaves it that was cut short.
  const std::string before = std::string(5, 'B') + std::string(file_size - 5, 'A');
  require(::ftruncate(file, static_cast<off_t>(before.size())) == 0 && write_at(file, 0, before) == 0);
  // Longer than the file system takes, or one without attributes.
  if (::fsetxattr(file, undo_attribute, data, size, 0) != 0) return 0;
  const auto first = recover(file, torn.path);
  require(content_of(file).size() == before.size());
  // Once recovered, there is nothing more to do; what can't be recovered stays as it is.
  const std::string after = content_of(file);
  const auto second = recover(file, torn.path);
  require(second.error() == first.error() && content_of(file) == after);
  require(!second || !*second);
  static_cast<void>(::fremovexattr(file, undo_attribute));
  return 0;
}
