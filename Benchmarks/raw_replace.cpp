// The least that it costs to change a JPEG the safe way when it has to grow: a new, unnamed file in the same folder
// gets the old bytes by copy_file_range and one added block after the Exif segment, where XMP goes; it is synced where
// the program syncs, linked beside the old file and renamed over it. The added block keeps the blocks after it on block
// boundaries, so that a file system that shares blocks shares them.
//   raw_replace FILE...               changes the files
//   raw_replace --unsynced FILE...    the same without the sync, which then shows in the difference
//   raw_replace --syncs FOLDER        prints whether the program syncs there: yes or no
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/host/mount_order.h"

namespace {

constexpr off_t block_size = 4096;

enum class sync_policy { as_the_program, never };

class file {
 public:
  explicit file(int descriptor) : descriptor_(descriptor) {}
  ~file() { close(descriptor_); }
  file(const file&) = delete;
  file& operator=(const file&) = delete;
  [[nodiscard]] int get() const { return descriptor_; }

 private:
  int descriptor_;
};

off_t rounded_down(off_t place) { return place - place % block_size; }

std::optional<off_t> end_of_exif(int jpeg) {
  constexpr std::size_t header_size = 4;
  constexpr unsigned char marker = 0xFF, app0 = 0xE0, app1 = 0xE1;
  std::array<unsigned char, block_size> head{};
  if (pread(jpeg, head.data(), head.size(), 0) < static_cast<ssize_t>(header_size)) return std::nullopt;
  for (std::size_t at = 2; at + header_size <= head.size() && head[at] == marker;) {
    const unsigned char kind = head[at + 1];
    if (kind != app0 && kind != app1) return std::nullopt;
    at += 2 + static_cast<std::size_t>(head[at + 2] << 8U | head[at + 3]);
    if (kind == app1) return static_cast<off_t>(at);
  }
  return std::nullopt;
}

bool copy_range(int from, off_t start, off_t end, int to, off_t target) {
  while (start < end) {
    if (copy_file_range(from, &start, to, &target, static_cast<std::size_t>(end - start), 0) <= 0) return false;
  }
  return true;
}

// The block in which the Exif segment ends, with the added block at that place, as a segment that readers pass over.
std::optional<std::array<unsigned char, 2 * block_size>> opened_block(int jpeg, off_t place) {
  std::array<unsigned char, 2 * block_size> bytes{};
  const std::span all(bytes);
  const auto before = static_cast<std::size_t>(place % block_size);
  const std::span added = all.subspan(before, block_size);
  const std::span rest = all.subspan(before + block_size);
  if (pread(jpeg, all.data(), before, rounded_down(place)) != static_cast<ssize_t>(before)) return std::nullopt;
  if (pread(jpeg, rest.data(), rest.size(), place) != static_cast<ssize_t>(rest.size())) return std::nullopt;
  constexpr unsigned length = block_size - 2;
  constexpr std::array<unsigned char, 4> segment = {0xFF, 0xEF, length >> 8U, length & 0xFFU};
  std::copy(segment.begin(), segment.end(), added.begin());
  return bytes;
}

bool write_grown(int from, off_t size, int to) {
  const std::optional<off_t> place = end_of_exif(from);
  if (!place || size < *place + block_size) {
    errno = EINVAL;
    return false;
  }
  const auto opened = opened_block(from, *place);
  const off_t first = rounded_down(*place);
  return opened && copy_range(from, 0, first, to, 0) &&
         pwrite(to, opened->data(), opened->size(), first) == static_cast<ssize_t>(opened->size()) &&
         copy_range(from, first + block_size, size, to, first + 2 * block_size);
}

bool replace(const std::string& path, sync_policy policy) {
  const file old(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat facts {};
  if (fstat(old.get(), &facts) != 0) return false;
  const std::string folder = path.substr(0, path.rfind('/'));
  const file grown(open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, facts.st_mode));
  if (!write_grown(old.get(), facts.st_size, grown.get())) return false;
  const bool syncs = policy == sync_policy::as_the_program && !platform::host::orders_data_before_rename(facts.st_dev);
  if (syncs && fdatasync(grown.get()) != 0) return false;
  const std::string self = "/proc/self/fd/" + std::to_string(grown.get());
  const std::string beside = path + ".new";
  return linkat(AT_FDCWD, self.c_str(), AT_FDCWD, beside.c_str(), AT_SYMLINK_FOLLOW) == 0 &&
         rename(beside.c_str(), path.c_str()) == 0;
}

int print_whether_synced(const char* folder) {
  struct stat facts {};
  if (stat(folder, &facts) != 0) {
    std::perror(folder);
    return EXIT_FAILURE;
  }
  std::puts(platform::host::orders_data_before_rename(facts.st_dev) ? "no" : "yes");
  return EXIT_SUCCESS;
}

}  // namespace

int main(int count, char** arguments) {
  const std::span paths(arguments, static_cast<std::size_t>(count));
  const std::string_view first = count > 1 ? arguments[1] : "";
  if (count == 3 && first == "--syncs") return print_whether_synced(arguments[2]);
  const sync_policy policy = first == "--unsynced" ? sync_policy::never : sync_policy::as_the_program;
  for (const char* path : paths.subspan(policy == sync_policy::never ? 2 : 1)) {
    if (!replace(path, policy)) {
      std::perror(path);
      return EXIT_FAILURE;
    }
  }
  return EXIT_SUCCESS;
}
