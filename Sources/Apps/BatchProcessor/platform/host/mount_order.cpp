// Of the common file systems ext4 alone promises it: it allocates the data of a file that is renamed over another one,
// and its journal commits the rename behind that data. It does so by default; the mount's options tell where not. ext2
// and ext3 have the same magic number, not the same code path. A journal that ext4 was made without isn't shown; such a
// file system promises nothing whatever after a loss of power. What tmpfs holds is gone with the power as a whole.
#include "platform/host/mount_order.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <string>

#include "text/format.h"

namespace platform::host {

namespace {

constexpr std::array<std::string_view, 2> unordered_options = {"data=writeback", "noauto_da_alloc"};

// Takes what is before the separator off the text.
std::string_view next_part(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(std::min(text.size(), end + 1));
  return part;
}

bool is_unordered(std::string_view options) {
  while (!options.empty()) {
    if (std::ranges::find(unordered_options, next_part(options, ',')) != unordered_options.end()) return true;
  }
  return false;
}

// "36 35 98:0 /root /mount rw,noatime optional - ext4 /dev/sda rw,errors=continue": the third field is the device,
// behind the lone dash stand type, source and the file system's own options.
bool is_ordered_mount(std::string_view line) {
  constexpr std::string_view dash = " - ";
  const std::size_t start = line.find(dash);
  if (start == std::string_view::npos) return false;
  std::string_view facts = line.substr(start + dash.size());
  const std::string_view type = next_part(facts, ' ');
  if (type == "tmpfs") return true;
  next_part(facts, ' ');
  return type == "ext4" && !is_unordered(next_part(facts, ' '));
}

std::string_view device_of(std::string_view line) {
  next_part(line, ' ');
  next_part(line, ' ');
  return next_part(line, ' ');
}

std::string read_mounts() {
  std::ifstream stream("/proc/self/mountinfo", std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace

bool orders_data_before_rename(std::string_view mounts, dev_t device) {
  const std::string number = text::format("{}:{}", major(device), minor(device));
  while (!mounts.empty()) {
    const std::string_view line = next_part(mounts, '\n');
    // All mounts of a device share the options of its file system.
    if (device_of(line) == number) return is_ordered_mount(line);
  }
  return false;
}

bool orders_data_before_rename(dev_t device) {
  static std::mutex mutex;
  static std::map<dev_t, bool> known;
  const std::lock_guard lock(mutex);
  const auto found = known.find(device);
  if (found != known.end()) return found->second;
  // Without the list nothing is known, and everything synced.
  return known[device] = orders_data_before_rename(read_mounts(), device);
}

}  // namespace platform::host
