#include "platform/host/undo_record.h"

#include <algorithm>

#include "platform/host/byte_hash.h"
#include "platform/host/byte_order.h"

namespace platform::host {

namespace {

constexpr char form_mark = '\1';
constexpr std::size_t longest_tell = 8;
constexpr std::size_t shortest_gap = 8;  // of equal bytes, which costs less than one more run

void append_compact(std::string& text, std::uint64_t number) {
  for (; number >= 0x80; number >>= 7)
    text.push_back(static_cast<char>(0x80 | (number & 0x7f)));
  text.push_back(static_cast<char>(number));
}

// Takes the number off the front of the text.
std::optional<std::uint64_t> take_compact(std::string_view& text) {
  std::uint64_t number = 0;
  for (unsigned shift = 0; shift < 63 && !text.empty(); shift += 7) {
    const auto byte = static_cast<unsigned char>(text.front());
    text.remove_prefix(1);
    number |= std::uint64_t{byte & 0x7fU} << shift;
    if (byte < 0x80) return number;
  }
  return std::nullopt;
}

std::optional<std::string_view> take_bytes(std::string_view& text, std::uint64_t size) {
  if (size > text.size()) return std::nullopt;
  const std::string_view bytes = text.substr(0, size);
  text.remove_prefix(size);
  return bytes;
}

std::string tell_of(std::string_view bytes) {
  return bytes.size() <= longest_tell ? std::string(bytes) : little_bytes(hash_of(bytes), longest_tell);
}

// The end of the run of differences that starts at `first`.
std::size_t run_end(const patch_piece& piece, std::size_t first) {
  std::size_t end = first + 1;
  for (std::size_t i = end; i < piece.old_bytes.size() && i - end < shortest_gap; ++i) {
    if (piece.old_bytes[i] != piece.new_bytes[i]) end = i + 1;
  }
  return end;
}

}  // namespace

std::string undo_record_of(const patch& change, std::uint64_t file_size) {
  std::string text(1, form_mark);
  append_compact(text, file_size);
  std::uint64_t end = 0;  // of the run before
  for (const patch_piece& piece : change) {
    for (std::size_t at = 0; at < piece.old_bytes.size();) {
      if (piece.old_bytes[at] == piece.new_bytes[at]) {
        ++at;
        continue;
      }
      const std::size_t size = run_end(piece, at) - at;
      append_compact(text, piece.offset + at - end);
      append_compact(text, size);
      text.append(piece.old_bytes, at, size).append(tell_of(std::string_view(piece.new_bytes).substr(at, size)));
      at += size;
      end = piece.offset + at;
    }
  }
  return text;
}

std::optional<undo_record> parse_undo_record(std::string_view text) {
  if (!text.starts_with(form_mark)) return std::nullopt;
  text.remove_prefix(1);
  const auto file_size = take_compact(text);
  if (!file_size) return std::nullopt;
  undo_record record{*file_size, {}};
  std::uint64_t end = 0;
  while (!text.empty()) {
    const auto distance = take_compact(text);
    const auto size = take_compact(text);
    if (!distance || !size || *distance > record.file_size - end) return std::nullopt;
    const std::uint64_t offset = end + *distance;
    if (*size > record.file_size - offset) return std::nullopt;
    const auto old_bytes = take_bytes(text, *size);
    const auto tell = old_bytes ? take_bytes(text, std::min<std::uint64_t>(*size, longest_tell)) : std::nullopt;
    if (!tell) return std::nullopt;
    record.runs.push_back({offset, *old_bytes, *tell});
    end = offset + *size;
  }
  return record;
}

patch_progress progress_of(const undo_record& record, const std::vector<std::string>& bytes_now) {
  bool all_new = true;
  for (std::size_t i = 0; i < record.runs.size(); ++i) {
    const bool is_new = tell_of(bytes_now[i]) == record.runs[i].tell;
    if (!is_new && bytes_now[i] != record.runs[i].old_bytes) return patch_progress::someone_elses;
    all_new = all_new && is_new;
  }
  return all_new ? patch_progress::finished : patch_progress::cut_short;
}

}  // namespace platform::host
