#include "platform/host/file_rewrite.h"

#include <sys/statvfs.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"
#include "platform/host/in_place_change.h"
#include "platform/host/staged_file.h"
#include "platform/host/write_guard.h"

namespace platform::host {

namespace {

// Whether the file is as it was, and still the one that the path names.
bool is_unchanged(int file, const std::string& path, const file_stamp& before) {
  const win32_result<file_stamp> now = stamp_of(file);
  return now && *now == before && still_names(path, file, last_link::its_target);
}

bool is_well_formed(const edit_plan& plan, std::uint64_t size) {
  std::uint64_t end = 0;
  for (const splice& part : plan) {
    if (part.offset < end || part.offset > size || part.erase > size - part.offset) return false;
    end = part.offset + part.erase;
  }
  return true;
}

bool keeps_size(const edit_plan& plan) {
  return std::ranges::all_of(plan, [](const splice& part) { return part.erase == part.bytes.size(); });
}

// The content after the plan. 0 or an errno.
int write_result(int from, std::uint64_t size, const edit_plan& plan, int to) {
  std::uint64_t read = 0;
  std::uint64_t written = 0;
  const auto keep_until = [&](std::uint64_t end) {
    const std::uint64_t kept = end - read;
    const int failure = copy_bytes(from, read, to, written, kept);
    read = end;
    written += kept;
    return failure;
  };
  for (const splice& part : plan) {
    if (const int failure = keep_until(part.offset); failure != 0) return failure;
    if (const int failure = write_at(to, written, part.bytes); failure != 0) return failure;
    read += part.erase;
    written += part.bytes.size();
  }
  return keep_until(size);
}

class in_place_rewrite final : public file_rewrite {
 public:
  in_place_rewrite(int file, std::string path, const file_stamp& before, std::unique_ptr<in_place_change> change)
      : file_(file), path_(std::move(path)), before_(before), change_(std::move(change)) {}

  win32_error commit() override {
    if (!is_unchanged(file_, path_, before_)) return win32_error::sharing_violation;
    return write_guard::instance().write(file_, change_->runs());
  }

 private:
  int file_;
  std::string path_;
  file_stamp before_;
  std::unique_ptr<in_place_change> change_;
};

// What of the file changes, from a block's start to the end of the last splice.
struct grown_region {
  std::uint64_t offset = 0;
  std::uint64_t growth = 0;
  std::string old_bytes;
  std::string new_bytes;
};

// File systems that can open up room, and the size of their blocks; 0 for all others.
std::uint64_t block_size_with_insertion(int file) {
  constexpr std::array magics = {0xef53, 0x58465342};  // ext4 and XFS
  struct statfs system {};
  if (::fstatfs(file, &system) != 0) return 0;
  const bool can_insert = std::ranges::find(magics, system.f_type) != magics.end();
  return can_insert ? static_cast<std::uint64_t>(system.f_bsize) : 0;
}

// With some to spare for the file system's own.
bool has_space(int file, std::uint64_t size) {
  constexpr std::uint64_t spare = 1 << 20;
  struct statvfs system {};
  return ::fstatvfs(file, &system) == 0 && std::uint64_t{system.f_bavail} * system.f_frsize >= size + spare;
}

// None where the plan, the file or its file system isn't made for it.
std::optional<grown_region> region_to_grow(int file, std::uint64_t size, const edit_plan& plan) {
  const std::int64_t growth = growth_of(plan);
  const std::uint64_t block = growth > 0 ? block_size_with_insertion(file) : 0;
  if (block == 0 || static_cast<std::uint64_t>(growth) % block != 0) return std::nullopt;
  grown_region region;
  region.growth = static_cast<std::uint64_t>(growth);
  region.offset = plan.front().offset / block * block;
  const std::uint64_t end = std::max(plan.back().offset + plan.back().erase, region.offset + 1);
  if (end > size || end - region.offset + region.growth > write_guard::most_bytes) return std::nullopt;
  if (!has_space(file, region.growth)) return std::nullopt;
  region.old_bytes.resize(end - region.offset);
  if (read_at(file, region.offset, region.old_bytes) != region.old_bytes.size()) return std::nullopt;
  std::uint64_t done = 0;
  for (const splice& part : plan) {
    const std::uint64_t start = part.offset - region.offset;
    region.new_bytes.append(region.old_bytes, done, start - done).append(part.bytes);
    done = start + part.erase;
  }
  region.new_bytes.append(region.old_bytes, done);
  return region;
}

win32_result<std::unique_ptr<file_rewrite>> prepare_staged(int file, const std::string& path, const file_stamp& before,
                                                           const edit_plan& plan);

// Grows the file where the change is, and writes that alone.
class grown_rewrite final : public file_rewrite {
 public:
  grown_rewrite(int file, std::string path, const file_stamp& before, edit_plan plan, grown_region region)
      : file_(file), path_(std::move(path)), before_(before), plan_(std::move(plan)), region_(std::move(region)) {}

  win32_error commit() override {
    if (!is_unchanged(file_, path_, before_)) return win32_error::sharing_violation;
    const win32_error grown = write_guard::instance().grow(
        file_, {region_.offset, region_.growth, before_.size, region_.old_bytes, region_.new_bytes});
    if (succeeded(grown)) return grown;
    // Some files can't be grown so on a file system that can, and a failure has put the old bytes back.
    const win32_result<file_stamp> now = stamp_of(file_);
    if (!now || now->size != before_.size) return grown;
    auto staged = prepare_staged(file_, path_, *now, plan_);
    return staged ? (*staged)->commit() : staged.error();
  }

 private:
  int file_;
  std::string path_;
  file_stamp before_;
  edit_plan plan_;
  grown_region region_;
};

class staged_rewrite final : public file_rewrite {
 public:
  explicit staged_rewrite(staged_file staged) : staged_(std::move(staged)) {}

  win32_error commit() override { return staged_.commit(); }

 private:
  staged_file staged_;
};

// The new content is written here and now: that takes its space for certain, and leaves only the name to the commit.
// Taking the space ahead by itself would cost a sync: room taken ahead defeats the order of data and rename that some
// file systems keep.
win32_result<std::unique_ptr<file_rewrite>> prepare_staged(int file, const std::string& path, const file_stamp& before,
                                                           const edit_plan& plan) {
  win32_result<staged_file> staged = staged_file::create(path);
  if (!staged) return staged.error();
  // What was staged is for the file and the content that the plan was made from. The creation may also have finished an
  // interrupted rewrite, which the plan knows nothing of. From here on the commit sees every change.
  if (!is_unchanged(file, path, before)) return win32_error::sharing_violation;
  const int failure = write_result(file, before.size, plan, staged->descriptor());
  if (failure != 0) return error_from_errno(failure, data_direction::writing);
  return std::unique_ptr<file_rewrite>(std::make_unique<staged_rewrite>(*std::move(staged)));
}

}  // namespace

std::int64_t growth_of(const edit_plan& plan) {
  std::int64_t growth = 0;
  for (const splice& part : plan) {
    growth += static_cast<std::int64_t>(part.bytes.size()) - static_cast<std::int64_t>(part.erase);
  }
  return growth;
}

win32_result<std::unique_ptr<file_rewrite>> prepare_rewrite(int descriptor, const std::string& path,
                                                            const edit_plan& plan,
                                                            const std::optional<file_stamp>& read_from) {
  const win32_result<file_stamp> now = stamp_of(descriptor);
  if (!now) return now.error();
  const file_stamp before = read_from.value_or(*now);
  if (!is_well_formed(plan, before.size)) return win32_error::invalid_parameter;
  if (const win32_error finished = finish_interrupted_rewrite(path); !succeeded(finished)) return finished;
  if (!is_unchanged(descriptor, path, before)) return win32_error::sharing_violation;
  if (!keeps_size(plan)) {
    auto region = region_to_grow(descriptor, before.size, plan);
    if (!region) return prepare_staged(descriptor, path, before, plan);
    return std::unique_ptr<file_rewrite>(
        std::make_unique<grown_rewrite>(descriptor, path, before, plan, *std::move(region)));
  }
  auto change = std::make_unique<in_place_change>();
  if (const int failure = change->work_out(descriptor, plan); failure != 0) {
    return error_from_errno(failure, data_direction::reading);
  }
  // Too much for the guard to hold.
  if (!write_guard::fits(change->runs())) return prepare_staged(descriptor, path, before, plan);
  return std::unique_ptr<file_rewrite>(std::make_unique<in_place_rewrite>(descriptor, path, before, std::move(change)));
}

}  // namespace platform::host
