#include "platform/host/file_rewrite.h"

#include <sys/stat.h>

#include <algorithm>
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

// Up to where the content after the plan is put together in memory: changes of metadata lie close together at the start
// of most files, and one write costs less than many.
std::uint64_t end_of_assembled(const edit_plan& plan) {
  constexpr std::uint64_t most = std::uint64_t{256} << 10;
  std::uint64_t end = 0;
  std::uint64_t size = 0;
  for (const splice& part : plan) {
    const std::uint64_t next = part.offset + part.erase;
    size += next - end + part.bytes.size();
    if (size > most) break;
    end = next;
  }
  return end;
}

// The content after the plan. 0 or an errno.
int write_result(const rewritten_file& from, const edit_plan& plan, int to) {
  std::uint64_t read = end_of_assembled(plan);
  const auto rest = std::ranges::find_if(plan, [read](const splice& part) { return part.offset + part.erase > read; });
  const auto start = from.source.read(0, read);
  if (!start) return EIO;
  const std::string assembled = spliced(*start, 0, {plan.begin(), rest});
  if (const int failure = write_at(to, 0, assembled); failure != 0) return failure;
  std::uint64_t written = assembled.size();
  const auto keep_until = [&](std::uint64_t end) {
    const std::uint64_t kept = end - read;
    const int failure = copy_bytes(from.file, read, to, written, kept);
    read = end;
    written += kept;
    return failure;
  };
  for (auto part = rest; part != plan.end(); ++part) {
    if (const int failure = keep_until(part->offset); failure != 0) return failure;
    if (const int failure = write_at(to, written, part->bytes); failure != 0) return failure;
    read += part->erase;
    written += part->bytes.size();
  }
  return keep_until(from.stamp.size);
}

win32_result<staged_file> stage(const rewritten_file& from, const edit_plan& plan) {
  win32_result<staged_file> staged = staged_file::create(from.path);
  if (!staged) return staged.error();
  // What is staged is for the file and the content that the plan was made from. From here on the commit sees every
  // change.
  if (!is_unchanged(from.path, from.stamp)) return win32_error::sharing_violation;
  const int failure = write_result(from, plan, staged->descriptor());
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
      : from_(from), plan_(std::move(plan)), change_(std::move(change)) {}

  win32_error commit() override {
    if (!is_unchanged(from_.path, from_.stamp)) return win32_error::sharing_violation;
    const win32_result<bool> written = write_patch(from_.file, change_, from_.stamp.size);
    if (!written || *written) return written.error();
    win32_result<staged_file> staged = stage(from_, plan_);
    if (!staged) return staged.error();
    const win32_error replaced = staged->commit();
    replacement_ = staged->take_replacement();
    return replaced;
  }

  unique_descriptor take_replacement() override { return std::move(replacement_); }

 private:
  rewritten_file from_;
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
  win32_result<staged_file> staged = stage(from, plan);
  if (!staged) return staged.error();
  return std::unique_ptr<file_rewrite>(std::make_unique<replacing_rewrite>(*std::move(staged)));
}

}  // namespace platform::host
