#include "platform/host/change_mark.h"

#include <fcntl.h>
#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <vector>

#include "platform/host/byte_hash.h"
#include "platform/host/byte_order.h"
#include "platform/host/errno_codes.h"
#include "platform/host/file_bytes.h"
#include "platform/host/file_stamp.h"
#include "platform/host/opening.h"
#include "platform/host/unique_descriptor.h"

namespace platform::host {

namespace {

constexpr char writes_form = '\1';
constexpr char exchange_form = '\2';
constexpr std::size_t number_size = 8;
constexpr std::uint64_t page_size = 4096;
constexpr std::uint64_t largest_file = std::numeric_limits<off_t>::max() - largest_exchange;
constexpr std::size_t hashed_bytes = 4096;  // of the old content: as many as tell it from someone else's

void append_number(std::string& mark, std::uint64_t number) {
  append_number(mark, number, number_size, byte_order::little);
}

// Takes pieces off the front of a mark.
class mark_reader {
 public:
  explicit mark_reader(std::string_view mark) : rest_(mark) {}

  [[nodiscard]] bool is_at_end() const { return rest_.empty(); }

  std::optional<std::string_view> take(std::uint64_t size) {
    if (size > rest_.size()) return std::nullopt;
    const std::string_view piece = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return piece;
  }

  std::optional<std::uint64_t> take_number() {
    const auto bytes = take(number_size);
    return bytes ? std::optional(get_little(*bytes, 0, number_size)) : std::nullopt;
  }

 private:
  std::string_view rest_;
};

bool take_numbers(mark_reader& reader, std::initializer_list<std::uint64_t*> numbers) {
  return std::ranges::all_of(numbers, [&reader](std::uint64_t* number) {
    const auto taken = reader.take_number();
    *number = taken.value_or(0);
    return taken.has_value();
  });
}

// A part of a run within one page, which the kernel writes as a whole.
struct piece {
  std::uint64_t offset = 0;
  std::uint64_t new_hash = 0;
  std::string_view old_bytes;
};

struct writes_fields {
  std::uint64_t room_offset = 0;
  std::uint64_t room = 0;
  std::uint64_t file_size = 0;
  std::vector<piece> pieces;
};

std::optional<piece> take_piece(mark_reader& reader) {
  piece found;
  std::uint64_t size = 0;
  if (!take_numbers(reader, {&found.offset, &size, &found.new_hash})) return std::nullopt;
  const auto old_bytes = reader.take(size);
  if (!old_bytes) return std::nullopt;
  found.old_bytes = *old_bytes;
  return found;
}

std::optional<writes_fields> writes_from(std::string_view fields) {
  writes_fields found;
  mark_reader reader(fields);
  if (!take_numbers(reader, {&found.room_offset, &found.room, &found.file_size})) return std::nullopt;
  if (found.room > largest_exchange || found.file_size > largest_file || found.room_offset > found.file_size) {
    return std::nullopt;
  }
  const std::uint64_t end = found.file_size + found.room;
  while (!reader.is_at_end()) {
    const auto next = take_piece(reader);
    if (!next || next->offset > end || next->old_bytes.size() > end - next->offset) return std::nullopt;
    found.pieces.push_back(*next);
  }
  return found;
}

enum class progress : std::uint8_t { cut_short, finished, none_of_ours };

// A kill leaves new pieces up to some place and old ones behind it. Whatever else the file holds, someone wrote since.
win32_result<progress> progress_of(int file, const std::vector<piece>& pieces) {
  bool all_new = true;
  for (const piece& part : pieces) {
    std::string now(part.old_bytes.size(), '\0');
    errno = 0;
    if (read_at(file, part.offset, now) != now.size()) {
      if (errno != 0) return error_from_errno(errno, data_direction::reading);
      return progress::none_of_ours;
    }
    const bool is_new = hash_of(now) == part.new_hash;
    if (!is_new && now != part.old_bytes) return progress::none_of_ours;
    all_new = all_new && is_new;
  }
  return all_new ? progress::finished : progress::cut_short;
}

int close_room(int file, std::uint64_t offset, std::uint64_t size) {
  if (::fallocate(file, FALLOC_FL_COLLAPSE_RANGE, static_cast<off_t>(offset), static_cast<off_t>(size)) == 0) return 0;
  // No blocks stand there: this room was never opened.
  return errno == EINVAL ? 0 : errno;
}

win32_error settle_writes(int file, std::string_view fields) {
  const auto change = writes_from(fields);
  if (!change) return win32_error::success;
  const win32_result<file_stamp> stamp = stamp_of(file);
  if (!stamp) return stamp.error();
  // While the room isn't open nothing is written; and a file of yet another size is somebody else's.
  if (stamp->size != change->file_size + change->room) return win32_error::success;
  const win32_result<progress> found = progress_of(file, change->pieces);
  if (!found) return found.error();
  if (*found != progress::cut_short) return win32_error::success;
  for (const piece& part : change->pieces) {
    const int failure = write_at(file, part.offset, part.old_bytes);
    if (failure != 0) return error_from_errno(failure, data_direction::writing);
  }
  return change->room == 0 ? win32_error::success
                           : error_from_errno(close_room(file, change->room_offset, change->room));
}

struct exchange_fields {
  std::uint64_t offset = 0;
  std::uint64_t room = 0;
  std::uint64_t old_size = 0;
  std::uint64_t file_size = 0;
  std::uint64_t old_hash = 0;
};

std::optional<exchange_fields> exchange_from(std::string_view fields) {
  exchange_fields found;
  mark_reader reader(fields);
  if (!take_numbers(reader, {&found.offset, &found.room, &found.old_size, &found.file_size, &found.old_hash})) {
    return std::nullopt;
  }
  const bool is_sound = found.room > 0 && found.room <= largest_exchange && found.old_size <= largest_exchange &&
                        found.file_size <= largest_file && found.offset < found.file_size &&
                        found.old_size <= found.file_size - found.offset;
  return reader.is_at_end() && is_sound ? std::optional(found) : std::nullopt;
}

// The room is there until the old content goes. Before and behind that the file is whole.
win32_error settle_exchange(int file, std::string_view fields) {
  const auto change = exchange_from(fields);
  if (!change) return win32_error::success;
  const win32_result<file_stamp> stamp = stamp_of(file);
  if (!stamp) return stamp.error();
  if (stamp->size != change->file_size + change->room) return win32_error::success;
  std::string old_content(std::min<std::uint64_t>(change->old_size, hashed_bytes), '\0');
  errno = 0;
  if (read_at(file, change->offset + change->room, old_content) != old_content.size()) {
    return error_from_errno(errno == 0 ? EIO : errno, data_direction::reading);
  }
  // Somebody else's, which happens to have that size.
  if (hash_of(old_content) != change->old_hash) return win32_error::success;
  return error_from_errno(close_room(file, change->offset, change->room));
}

// Whoever has the file's lock may do this.
win32_error take_back(int file) {
  const win32_result<std::string> mark = rewrite_mark_of(file);
  if (mark.error() == win32_error::not_found) return win32_error::success;
  if (!mark) return mark.error();
  // Another process has begun a change of another kind meanwhile.
  if (!is_change_mark(*mark)) return win32_error::sharing_violation;
  const std::string_view fields = std::string_view(*mark).substr(1);
  const win32_error settled =
      mark->front() == writes_form ? settle_writes(file, fields) : settle_exchange(file, fields);
  // One that stays is found to be done with at the next open.
  if (succeeded(settled)) static_cast<void>(::fremovexattr(file, rewrite_mark));
  return settled;
}

unique_descriptor open_to_settle(const std::string& path) {
  return unique_descriptor(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

// `get` is getxattr on the file in question. Most files have no mark, which the first call tells.
template <class Get>
win32_result<std::string> mark_from(Get get) {
  std::string value;
  ssize_t size = get(nullptr, 0);
  while (size > 0 && static_cast<std::size_t>(size) > value.size()) {
    value.resize(static_cast<std::size_t>(size));
    size = get(value.data(), value.size());
    // It has become another one in between.
    if (size < 0 && errno == ERANGE) size = get(nullptr, 0);
  }
  if (size >= 0) {
    value.resize(static_cast<std::size_t>(size));
    return value;
  }
  // A file that may not be read is not going to be changed. One that is gone is met by whoever opens it next.
  if (errno == ENODATA || errno == EOPNOTSUPP || errno == EACCES || errno == ENOENT) return win32_error::not_found;
  return error_from_errno(errno);
}

}  // namespace

std::optional<std::string> change_mark_of(const in_place_writes& change) {
  if (change.runs.empty()) return std::nullopt;
  std::string mark(1, writes_form);
  for (const std::uint64_t number :
       {change.room.offset, std::uint64_t{change.room.content.size()}, change.room.file_size})
    append_number(mark, number);
  for (const byte_run& run : change.runs) {
    for (std::size_t done = 0; done < run.old_bytes.size();) {
      const std::uint64_t offset = run.offset + done;
      const std::size_t size = std::min<std::uint64_t>(run.old_bytes.size() - done, page_size - offset % page_size);
      if (mark.size() + 3 * number_size + size > longest_change_mark) return std::nullopt;
      append_number(mark, offset);
      append_number(mark, size);
      append_number(mark, hash_of(run.new_bytes.substr(done, size)));
      mark.append(run.old_bytes.substr(done, size));
      done += size;
    }
  }
  return mark;
}

std::string change_mark_of(const block_exchange& change) {
  std::string mark(1, exchange_form);
  for (const std::uint64_t number : {change.offset, change.room, std::uint64_t{change.old_content.size()},
                                     change.file_size, hash_of(change.old_content.substr(0, hashed_bytes))}) {
    append_number(mark, number);
  }
  return mark;
}

bool is_change_mark(std::string_view value) {
  return value.starts_with(writes_form) || value.starts_with(exchange_form);
}

win32_result<std::string> rewrite_mark_of(int file) {
  return mark_from([file](char* value, std::size_t size) { return ::fgetxattr(file, rewrite_mark, value, size); });
}

win32_result<std::string> rewrite_mark_of(const std::string& path) {
  return mark_from(
      [&path](char* value, std::size_t size) { return ::lgetxattr(path.c_str(), rewrite_mark, value, size); });
}

win32_error settle_change(int file, const std::string& path) {
  if (const win32_error locked = lock_alone_within_reason(file); !succeeded(locked)) return locked;
  const unique_descriptor writable = open_to_settle(path);
  if (!writable) return error_from_errno(errno, path.c_str());
  const win32_result<file_stamp> named = stamp_of(writable.get());
  if (!named) return named.error();
  const win32_result<file_stamp> ours = stamp_of(file);
  if (!ours) return ours.error();
  return *named == *ours ? take_back(writable.get()) : win32_error::sharing_violation;
}

win32_error settle_change(const std::string& path) {
  const unique_descriptor file = open_to_settle(path);
  if (!file) return error_from_errno(errno, path.c_str());
  const win32_error locked = lock_alone_within_reason(file.get());
  return succeeded(locked) ? take_back(file.get()) : locked;
}

}  // namespace platform::host
