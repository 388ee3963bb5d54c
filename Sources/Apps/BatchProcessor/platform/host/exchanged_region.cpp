#include "platform/host/exchanged_region.h"

#include <sys/stat.h>

#include <algorithm>

#include "platform/host/file_bytes.h"
#include "platform/host/file_room.h"
#include "platform/host/mount_order.h"

namespace platform::host {

namespace {

bool orders_data(int file) {
  struct stat status {};
  return ::fstat(file, &status) == 0 && orders_data_before_rename(status.st_dev);
}

constexpr std::uint64_t round_up(std::uint64_t size, std::uint64_t block) { return (size + block - 1) / block * block; }

}  // namespace

std::optional<exchanged_region> region_to_exchange(int file, std::uint64_t size, const edit_plan& plan) {
  const std::int64_t growth = growth_of(plan);
  const std::uint64_t block = growth >= 0 && !plan.empty() ? room_block_size(file) : 0;
  if (block == 0 || static_cast<std::uint64_t>(growth) % block != 0) return std::nullopt;
  exchanged_region region;
  region.file_size = size;
  region.offset = plan.front().offset / block * block;
  const std::uint64_t changed_end = std::max(plan.back().offset + plan.back().erase, region.offset + 1);
  if (changed_end > size) return std::nullopt;
  const std::uint64_t old_size = std::min(round_up(changed_end, block), size) - region.offset;
  region.room = round_up(old_size, block) + static_cast<std::uint64_t>(growth);
  if (region.room > largest_exchange || !has_space(file, region.room)) return std::nullopt;
  region.old_content.resize(old_size);
  if (read_at(file, region.offset, region.old_content) != old_size) return std::nullopt;
  region.new_content = spliced(region.old_content, region.offset, plan);
  region.needs_sync = !orders_data(file);
  return region;
}

}  // namespace platform::host
