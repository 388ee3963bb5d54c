#include "platform/host/undo_record.h"

#include "platform/host/byte_hash.h"
#include "platform/host/byte_order.h"

namespace platform::host {

namespace {

constexpr char form_mark = '\1';
constexpr std::size_t number_size = 8;
constexpr std::size_t piece_size_size = 2;
constexpr std::size_t piece_head = 2 * number_size + piece_size_size;

}  // namespace

std::string undo_record_of(const patch& change, std::uint64_t file_size) {
  std::string text(1, form_mark);
  append_number(text, file_size, number_size, byte_order::little);
  for (const patch_piece& piece : change) {
    append_number(text, piece.offset, number_size, byte_order::little);
    append_number(text, hash_of(piece.new_bytes), number_size, byte_order::little);
    append_number(text, piece.old_bytes.size(), piece_size_size, byte_order::little);
    text += piece.old_bytes;
  }
  return text;
}

std::optional<undo_record> parse_undo_record(std::string_view text) {
  if (text.size() < 1 + number_size || text.front() != form_mark) return std::nullopt;
  undo_record record;
  record.file_size = get_little(text, 1, number_size);
  for (std::size_t at = 1 + number_size; at < text.size();) {
    if (text.size() - at < piece_head) return std::nullopt;
    const std::uint64_t offset = get_little(text, at, number_size);
    const std::uint64_t new_hash = get_little(text, at + number_size, number_size);
    const std::uint64_t size = get_little(text, at + 2 * number_size, piece_size_size);
    at += piece_head;
    if (size > text.size() - at || offset > record.file_size || size > record.file_size - offset) return std::nullopt;
    record.pieces.push_back({offset, new_hash, text.substr(at, size)});
    at += size;
  }
  return record;
}

patch_progress progress_of(const undo_record& record, const std::vector<std::string>& bytes_now) {
  bool all_new = true;
  for (std::size_t i = 0; i < record.pieces.size(); ++i) {
    const recorded_piece& piece = record.pieces[i];
    const bool is_new = hash_of(bytes_now[i]) == piece.new_hash;
    if (!is_new && bytes_now[i] != piece.old_bytes) return patch_progress::someone_elses;
    all_new = all_new && is_new;
  }
  return all_new ? patch_progress::finished : patch_progress::cut_short;
}

}  // namespace platform::host
