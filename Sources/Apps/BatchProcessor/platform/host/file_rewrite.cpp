#include "platform/host/file_rewrite.h"

#include <sys/stat.h>

#include <cerrno>
#include <utility>

#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"
#include "platform/host/patch_writer.h"
#include "platform/host/staged_file.h"

namespace platform::host {

namespace {

// Whether the path names the file, and the file is as it was.
bool is_unchanged(const std::string& path, const file_stamp& before) {
  struct stat now {};
  return ::stat(path.c_str(), &now) == 0 && stamp_from(now) == before;
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

win32_result<staged_file> stage(int file, const std::string& path, const file_stamp& before, const edit_plan& plan) {
  win32_result<staged_file> staged = staged_file::create(path);
  if (!staged) return staged.error();
  // What is staged is for the file and the content that the plan was made from. From here on the commit sees every
  // change.
  if (!is_unchanged(path, before)) return win32_error::sharing_violation;
  const int failure = write_result(file, before.size, plan, staged->descriptor());
  if (failure != 0) return error_from_errno(failure, data_direction::writing);
  return staged;
}

class replacing_rewrite final : public file_rewrite {
 public:
  explicit replacing_rewrite(staged_file staged) : staged_(std::move(staged)) {}

  win32_error commit() override { return staged_.commit(); }
  unique_descriptor take_replacement() override { return staged_.take_replacement(); }

 private:
  staged_file staged_;
};

class patching_rewrite final : public file_rewrite {
 public:
  patching_rewrite(const rewritten_file& from, edit_plan plan, patch change)
      : file_(from.file), path_(from.path), before_(from.stamp), plan_(std::move(plan)), change_(std::move(change)) {}

  win32_error commit() override {
    if (!is_unchanged(path_, before_)) return win32_error::sharing_violation;
    const win32_result<bool> written = write_patch(file_, change_, before_.size);
    if (!written || *written) return written.error();
    win32_result<staged_file> staged = stage(file_, path_, before_, plan_);
    if (!staged) return staged.error();
    const win32_error replaced = staged->commit();
    replacement_ = staged->take_replacement();
    return replaced;
  }

  unique_descriptor take_replacement() override { return std::move(replacement_); }

 private:
  int file_;
  std::string path_;
  file_stamp before_;
  edit_plan plan_;
  patch change_;
  unique_descriptor replacement_;
};

}  // namespace

win32_result<std::unique_ptr<file_rewrite>> prepare_rewrite(const rewritten_file& from, const edit_plan& plan) {
  if (!is_well_formed(plan, from.stamp.size)) return win32_error::invalid_parameter;
  if (auto change = patch_from(from.source, plan)) {
    return std::unique_ptr<file_rewrite>(std::make_unique<patching_rewrite>(from, plan, *std::move(change)));
  }
  win32_result<staged_file> staged = stage(from.file, from.path, from.stamp, plan);
  if (!staged) return staged.error();
  return std::unique_ptr<file_rewrite>(std::make_unique<replacing_rewrite>(*std::move(staged)));
}

}  // namespace platform::host
