#include "platform/host/patch_writer.h"

#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"
#include "platform/host/undo_attribute.h"

namespace platform::host {

namespace {

std::uint64_t end_of(const splice& part) { return part.offset + part.erase; }

// Trimmed to the bytes that differ, by page. None where the plan is no patch.
std::optional<std::map<std::uint64_t, edit_plan>> differences_by_page(byte_source& source, const edit_plan& plan) {
  std::map<std::uint64_t, edit_plan> pages;
  std::optional<std::uint64_t> common_page;  // of the splices that only make sense together
  for (const splice& part : plan) {
    const auto old_bytes = source.read(part.offset, part.erase);
    if (!old_bytes) return std::nullopt;
    edit_plan difference;
    add_difference(difference, part.offset, *old_bytes, part.bytes);
    if (difference.empty()) continue;
    const std::uint64_t page = difference.front().offset / page_size;
    if ((end_of(difference.front()) - 1) / page_size != page) return std::nullopt;
    if (!part.stands_alone && common_page.value_or(page) != page) return std::nullopt;
    if (!part.stands_alone) common_page = page;
    pages[page].push_back(std::move(difference.front()));
  }
  return pages;
}

std::optional<patch_piece> piece_from(byte_source& source, const edit_plan& differences) {
  const std::uint64_t offset = differences.front().offset;
  auto old_bytes = source.read(offset, end_of(differences.back()) - offset);
  if (!old_bytes) return std::nullopt;
  std::string new_bytes = spliced(*old_bytes, offset, differences);
  return patch_piece{offset, *std::move(old_bytes), std::move(new_bytes)};
}

bool put_back(int file, std::span<const patch_piece> pieces) {
  bool whole = true;
  for (const patch_piece& piece : pieces)
    whole = write_at(file, piece.offset, piece.old_bytes) == 0 && whole;
  return whole;
}

bool put_record(int file, const patch& change, std::uint64_t file_size) {
  const std::string record = undo_record_of(change, file_size);
  return ::fsetxattr(file, undo_attribute, record.data(), record.size(), 0) == 0;
}

}  // namespace

std::optional<patch> patch_from(byte_source& source, const edit_plan& plan) {
  if (!keeps_size(plan)) return std::nullopt;
  const auto pages = differences_by_page(source, plan);
  if (!pages) return std::nullopt;
  patch change;
  for (const auto& [page, differences] : *pages) {
    auto piece = piece_from(source, differences);
    if (!piece) return std::nullopt;
    change.push_back(*std::move(piece));
  }
  return change;
}

win32_result<bool> write_patch(int file, const patch& change, std::uint64_t file_size) {
  const bool has_record = change.size() > 1;
  if (has_record && !put_record(file, change, file_size)) return false;
  int failure = 0;
  std::size_t begun = 0;
  while (failure == 0 && begun < change.size()) {
    failure = write_at(file, change[begun].offset, change[begun].new_bytes);
    ++begun;
  }
  const bool whole = failure == 0 || put_back(file, std::span(change).first(begun));
  // A record that stays is found to be of no use by the next open.
  if (has_record && whole) static_cast<void>(remove_undo_attribute(file));
  if (failure != 0) return error_from_errno(failure, data_direction::writing);
  return true;
}

}  // namespace platform::host
