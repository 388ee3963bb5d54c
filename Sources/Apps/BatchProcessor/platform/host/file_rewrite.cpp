#include "platform/host/file_rewrite.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"
#include "platform/host/in_place_change.h"
#include "platform/host/staged_file.h"

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

win32_result<std::unique_ptr<file_rewrite>> prepare_staged(int file, const std::string& path, const file_stamp& before,
                                                           const edit_plan& plan);

class in_place_rewrite final : public file_rewrite {
 public:
  in_place_rewrite(int file, std::string path, const file_stamp& before, edit_plan plan,
                   std::unique_ptr<in_place_change> change)
      : file_(file), path_(std::move(path)), before_(before), plan_(std::move(plan)), change_(std::move(change)) {}

  win32_error commit() override {
    if (!is_unchanged(file_, path_, before_)) return win32_error::sharing_violation;
    const win32_error made = change_->make(file_);
    if (succeeded(made) || keeps_size(plan_)) return made;
    // Some files can't have room opened on a file system that can.
    const win32_result<file_stamp> now = stamp_of(file_);
    if (!now || now->size != before_.size) return made;
    auto staged = prepare_staged(file_, path_, *now, plan_);
    return staged ? (*staged)->commit() : staged.error();
  }

 private:
  int file_;
  std::string path_;
  file_stamp before_;
  edit_plan plan_;
  std::unique_ptr<in_place_change> change_;
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

bool keeps_size(const edit_plan& plan) {
  return std::ranges::all_of(plan, [](const splice& part) { return part.erase == part.bytes.size(); });
}

std::int64_t growth_of(const edit_plan& plan) {
  std::int64_t growth = 0;
  for (const splice& part : plan) {
    growth += static_cast<std::int64_t>(part.bytes.size()) - static_cast<std::int64_t>(part.erase);
  }
  return growth;
}

std::string spliced(std::string_view old, std::uint64_t offset, std::span<const splice> splices) {
  std::string bytes;
  std::uint64_t done = 0;
  for (const splice& part : splices) {
    const std::uint64_t start = part.offset - offset;
    bytes.append(old.substr(done, start - done)).append(part.bytes);
    done = start + part.erase;
  }
  return bytes.append(old.substr(done));
}

win32_result<std::unique_ptr<file_rewrite>> prepare_rewrite(int descriptor, const std::string& path,
                                                            const edit_plan& plan,
                                                            const std::optional<file_stamp>& read_from) {
  const win32_result<file_stamp> now = stamp_of(descriptor);
  if (!now) return now.error();
  const file_stamp before = read_from.value_or(*now);
  if (!is_well_formed(plan, before.size)) return win32_error::invalid_parameter;
  if (!is_unchanged(descriptor, path, before)) return win32_error::sharing_violation;
  auto change = std::make_unique<in_place_change>();
  const win32_result<bool> in_place = change->work_out(descriptor, before.size, plan);
  if (!in_place) return in_place.error();
  if (!*in_place) return prepare_staged(descriptor, path, before, plan);
  return std::unique_ptr<file_rewrite>(
      std::make_unique<in_place_rewrite>(descriptor, path, before, plan, std::move(change)));
}

}  // namespace platform::host
