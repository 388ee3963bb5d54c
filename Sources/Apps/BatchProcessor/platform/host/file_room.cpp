#include "platform/host/file_room.h"

#include <sys/statvfs.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>

namespace platform::host {

std::uint64_t room_block_size(int file) {
  constexpr std::array magics = {0xef53, 0x58465342};  // ext4 and XFS
  struct statfs system {};
  if (::fstatfs(file, &system) != 0) return 0;
  const bool can_insert = std::ranges::find(magics, system.f_type) != magics.end();
  return can_insert ? static_cast<std::uint64_t>(system.f_bsize) : 0;
}

bool has_space(int file, std::uint64_t size) {
  constexpr std::uint64_t spare = 1 << 20;
  struct statvfs system {};
  return ::fstatvfs(file, &system) == 0 && std::uint64_t{system.f_bavail} * system.f_frsize >= size + spare;
}

}  // namespace platform::host
