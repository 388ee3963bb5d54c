#include "support/simulated_files.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "support/call_texts.h"
#include "text/conversions.h"
#include "text/format.h"
#include "text/letter_case.h"
#include "text/paths.h"

namespace support {

namespace attribute = platform::attribute;
using platform::access;
using platform::disposition;
using platform::share;
using platform::win32_error;
using platform::win32_result;

namespace {

constexpr std::uint32_t settable = attribute::read_only | attribute::hidden | attribute::system | attribute::archive;

// Whether some handle forbids that the entry is deleted or renamed.
bool keeps_its_name(const disk_entry& entry) {
  const auto forbids = [](const disk_use* use) { return !platform::has(use->share, share::remove); };
  return std::ranges::any_of(entry.uses, forbids);
}

class simulated_file final : public platform::file {
 public:
  simulated_file(simulated_calls& calls, simulated_disk& disk, std::wstring path, std::unique_ptr<disk_claim> claim)
      : calls_(calls), disk_(disk), path_(std::move(path)), claim_(std::move(claim)) {}
  ~simulated_file() override {
    if (claim_) release();
  }
  simulated_file(const simulated_file&) = delete;
  simulated_file& operator=(const simulated_file&) = delete;

  win32_result<std::size_t> read(std::span<std::byte> buffer) override;
  win32_result<std::size_t> write(std::span<const std::byte> bytes) override;
  win32_error seek(std::uint64_t position) override;
  win32_result<std::uint64_t> size() override;
  win32_error set_end() override;
  win32_error set_last_write_time(platform::file_time time) override;
  win32_error close() override;

 private:
  [[nodiscard]] simulated_calls::guard record(std::string_view operation, std::string_view argument = {}) {
    const std::string path = text::utf8_from_wide(path_);
    return calls_.record(operation, argument.empty() ? path : text::format("{}, {}", path, argument));
  }
  // The reason for which an operation can't go on, if any.
  [[nodiscard]] win32_error obstacle(std::string_view operation, access needed) {
    if (!claim_) return win32_error::invalid_handle;
    const auto refused = calls_.refusal<win32_error>(operation, path_);
    if (!succeeded(refused)) return refused;
    return platform::has(claim_->access(), needed) ? win32_error::success : win32_error::access_denied;
  }
  void release() {
    const auto guard = record("close");
    claim_.reset();
  }

  simulated_calls& calls_;
  simulated_disk& disk_;
  std::wstring path_;
  std::unique_ptr<disk_claim> claim_;
  std::uint64_t position_ = 0;
};

constexpr access any_access = access::read | access::write | access::write_attributes | access::append;

win32_result<std::size_t> simulated_file::read(std::span<std::byte> buffer) {
  const auto guard = record("read", text::format("{}", buffer.size()));
  const win32_error error = obstacle("read", access::read);
  if (!succeeded(error)) return error;
  disk_entry& entry = claim_->entry();
  if (entry.has(attribute::cloud_placeholder)) {
    // The bytes come over the network now.
    const auto download = record("download");
    entry.attributes &= ~attribute::cloud_placeholder;
  }
  const std::string& content = entry.content;
  if (position_ >= content.size()) return std::size_t{0};
  const std::size_t start = position_;
  const std::size_t count = std::min(buffer.size(), content.size() - start);
  if (count > 0) std::memcpy(buffer.data(), content.data() + start, count);
  position_ += count;
  return count;
}

win32_result<std::size_t> simulated_file::write(std::span<const std::byte> bytes) {
  const auto guard = record("write", text::format("{}", bytes.size()));
  const win32_error error = obstacle("write", access::write | access::append);
  if (!succeeded(error)) return error;
  disk_entry& entry = claim_->entry();
  std::string& content = entry.content;
  if (!platform::has(claim_->access(), access::write)) position_ = content.size();
  const std::uint64_t end = position_ + bytes.size();
  std::size_t count = bytes.size();
  if (end > content.size()) {
    const std::uint64_t missing = end - content.size();
    const std::uint64_t short_by = missing - simulated_disk::take_space(entry, missing);
    count -= std::min<std::size_t>(short_by, count);
    if (count == 0 && !bytes.empty()) return win32_error::disk_full;
    content.resize(std::max(content.size(), position_ + count));
  }
  if (count > 0) std::memcpy(content.data() + position_, bytes.data(), count);
  position_ += count;
  disk_.touch(entry);
  return count;
}

win32_error simulated_file::seek(std::uint64_t position) {
  const auto guard = record("seek", text::format("{}", position));
  const win32_error error = obstacle("seek", any_access);
  if (succeeded(error)) position_ = position;
  return error;
}

win32_result<std::uint64_t> simulated_file::size() {
  const auto guard = record("size");
  const win32_error error = obstacle("size", any_access);
  if (!succeeded(error)) return error;
  return std::uint64_t{claim_->entry().content.size()};
}

win32_error simulated_file::set_end() {
  const auto guard = record("set_end");
  const win32_error error = obstacle("set_end", access::write);
  if (!succeeded(error)) return error;
  disk_entry& entry = claim_->entry();
  const std::uint64_t size = entry.content.size();
  if (position_ > size) {
    const std::uint64_t missing = position_ - size;
    const std::uint64_t granted = simulated_disk::take_space(entry, missing);
    if (granted < missing) {
      if (entry.drive->free_bytes) *entry.drive->free_bytes += granted;
      return win32_error::disk_full;
    }
  } else if (entry.drive->free_bytes) {
    *entry.drive->free_bytes += size - position_;
  }
  entry.content.resize(position_);
  disk_.touch(entry);
  return win32_error::success;
}

win32_error simulated_file::set_last_write_time(platform::file_time time) {
  const auto guard = record("set_last_write_time", text::format("{}", time));
  const win32_error error = obstacle("set_last_write_time", access::write | access::write_attributes);
  if (succeeded(error)) claim_->entry().last_written = time;
  return error;
}

win32_error simulated_file::close() {
  if (!claim_) return win32_error::success;
  const auto refused = calls_.refusal<win32_error>("close", path_);
  release();
  return refused;
}

}  // namespace

win32_result<std::uint32_t> simulated_files::attributes(const std::wstring& path) {
  const auto guard = calls_.record("attributes", text::utf8_from_wide(path));
  const auto refused = calls_.refusal<win32_error>("attributes", path);
  if (!succeeded(refused)) return refused;
  const auto entry = disk_.find(path);
  if (!entry) return entry.error();
  const std::uint32_t bits = (*entry)->attributes;
  return bits == 0 ? attribute::normal : bits;
}

win32_result<platform::item_kind> simulated_files::kind(const std::wstring& path) {
  const auto guard = calls_.record("kind", text::utf8_from_wide(path));
  const auto refused = calls_.refusal<win32_error>("kind", path);
  if (!succeeded(refused)) return refused;
  const auto entry = disk_.find(path);
  if (!entry) return entry.error();
  if ((*entry)->is_directory()) return platform::item_kind::directory;
  return (*entry)->has(attribute::cloud_placeholder) ? platform::item_kind::cloud_placeholder
                                                     : platform::item_kind::file;
}

win32_error simulated_files::set_attributes(const std::wstring& path, std::uint32_t attributes) {
  const auto guard =
      calls_.record("set_attributes", text::format("{}, {}", text::utf8_from_wide(path), attributes_text(attributes)));
  const auto refused = calls_.refusal<win32_error>("set_attributes", path);
  if (!succeeded(refused)) return refused;
  const auto entry = disk_.find(path);
  if (!entry) return entry.error();
  (*entry)->attributes = ((*entry)->attributes & ~(settable | attribute::normal)) | (attributes & settable);
  return win32_error::success;
}

win32_result<platform::file_facts> simulated_files::facts(const std::wstring& path) {
  const auto guard = calls_.record("facts", text::utf8_from_wide(path));
  const auto refused = calls_.refusal<win32_error>("facts", path);
  if (!succeeded(refused)) return refused;
  const auto entry = disk_.find(path);
  if (!entry) return entry.error();
  const disk_entry& e = **entry;
  return platform::file_facts{e.attributes == 0 ? attribute::normal : e.attributes, e.created, e.last_written,
                              e.content.size()};
}

win32_result<disk_entry_pointer> simulated_files::entry_to_open(const std::wstring& path,
                                                                const platform::open_request& request) {
  const auto there = disk_.find(path);
  if (!there) {
    const bool creates = request.disposition == disposition::create_new ||
                         request.disposition == disposition::create_always ||
                         request.disposition == disposition::open_always;
    if (there.error() != win32_error::file_not_found || !creates) return there.error();
    if (path.ends_with(L'\\') || path.ends_with(L'/')) return win32_error::invalid_name;
    return disk_.create(path, (request.attributes & settable) | attribute::archive);
  }
  const disk_entry& entry = **there;
  if (request.disposition == disposition::create_new) return win32_error::file_exists;
  if (entry.is_directory()) return win32_error::access_denied;
  const bool replaces = request.disposition == disposition::create_always;
  const bool writes = replaces || platform::has(request.access, access::write | access::append);
  if (writes && entry.has(attribute::read_only)) return win32_error::access_denied;
  // What is hidden or a system file must be asked for as such to be replaced.
  const std::uint32_t guarded = entry.attributes & (attribute::hidden | attribute::system);
  if (replaces && (request.attributes & guarded) != guarded) return win32_error::access_denied;
  return *there;
}

win32_result<std::unique_ptr<platform::file>> simulated_files::open(const std::wstring& path,
                                                                    const platform::open_request& request) {
  const auto guard = calls_.record("open", text::format("{}, {}", text::utf8_from_wide(path), request_text(request)));
  const auto refused = calls_.refusal<win32_error>("open", path);
  if (!succeeded(refused)) return refused;
  const auto entry = entry_to_open(path, request);
  if (!entry) return entry.error();
  // Replacing the content counts as writing for those who have the file open already.
  const bool replaces = request.disposition == disposition::create_always;
  if (replaces) {
    const auto truncation = disk_.claim(*entry, {request.access | access::write, request.share});
    if (!truncation) return truncation.error();
  }
  auto claim = disk_.claim(*entry, {request.access, request.share});
  if (!claim) return claim.error();
  if (replaces) {
    if ((*entry)->drive->free_bytes) *(*entry)->drive->free_bytes += (*entry)->content.size();
    (*entry)->content.clear();
    (*entry)->attributes = request.attributes & settable;
    disk_.touch(**entry);
  }
  return std::unique_ptr<platform::file>(std::make_unique<simulated_file>(calls_, disk_, path, *std::move(claim)));
}

win32_error simulated_files::create_directory(const std::wstring& path) {
  const auto guard = calls_.record("create_directory", text::utf8_from_wide(path));
  const auto refused = calls_.refusal<win32_error>("create_directory", path);
  if (!succeeded(refused)) return refused;
  return disk_.create(path, attribute::directory).error();
}

win32_result<bool> simulated_files::copy_file(const std::wstring& from, const std::wstring& to) {
  const auto guard =
      calls_.record("copy_file", text::format("{}, {}", text::utf8_from_wide(from), text::utf8_from_wide(to)));
  const auto refused = calls_.refusal<win32_error>("copy_file", from);
  if (!succeeded(refused)) return refused;
  const auto source = disk_.find(from);
  if (!source) return source.error();
  if ((*source)->is_directory()) return win32_error::access_denied;
  const auto reading = disk_.claim(*source, {access::read, share::read | share::remove});
  if (!reading) return reading.error();
  if (copies_do_nothing_) return false;
  const auto target = disk_.create(to, (*source)->attributes | attribute::archive);
  if (!target) return target.error() == win32_error::already_exists ? win32_error::file_exists : target.error();
  disk_entry& copy = **target;
  const std::uint64_t wanted = (*source)->content.size();
  const std::uint64_t granted = simulated_disk::take_space(copy, wanted);
  if (granted < wanted) {
    if (copy.drive->free_bytes) *copy.drive->free_bytes += granted;
    disk_.remove(*target);
    return win32_error::disk_full;
  }
  copy.content = (*source)->content;
  copy.last_written = (*source)->last_written;
  copy.handler_values = (*source)->handler_values;
  copy.property_set_values = (*source)->property_set_values;
  return true;
}

win32_error simulated_files::delete_file(const std::wstring& path) {
  const auto guard = calls_.record("delete_file", text::utf8_from_wide(path));
  const auto refused = calls_.refusal<win32_error>("delete_file", path);
  if (!succeeded(refused)) return refused;
  const auto entry = disk_.find(path);
  if (!entry) return entry.error();
  if ((*entry)->has(attribute::directory | attribute::read_only)) return win32_error::access_denied;
  if (keeps_its_name(**entry)) return win32_error::sharing_violation;
  disk_.remove(*entry);
  return win32_error::success;
}

win32_error simulated_files::move_file(const std::wstring& from, const std::wstring& to) {
  const auto guard =
      calls_.record("move_file", text::format("{}, {}", text::utf8_from_wide(from), text::utf8_from_wide(to)));
  const auto refused = calls_.refusal<win32_error>("move_file", from);
  if (!succeeded(refused)) return refused;
  const auto source = disk_.find(from);
  if (!source) return source.error();
  if (keeps_its_name(**source)) return win32_error::sharing_violation;
  const auto folder = disk_.find(paths::parent(to));
  if (folder && (*folder)->drive != (*source)->drive) return move_to_other_drive(*source, to, **folder);
  if ((*source)->is_directory()) {
    const std::vector<disk_entry_pointer> inside = disk_.below((*source)->path);
    const auto in_use = [](const disk_entry_pointer& entry) { return !entry->uses.empty(); };
    if (std::ranges::any_of(inside, in_use)) return win32_error::access_denied;
    const bool into_itself = folder && (*folder == *source || std::ranges::find(inside, *folder) != inside.end());
    if (into_itself) return win32_error::sharing_violation;
  }
  return disk_.rename(*source, to);
}

win32_error simulated_files::move_to_other_drive(const disk_entry_pointer& source, const std::wstring& to,
                                                 const disk_entry& folder) {
  if (source->is_directory()) return win32_error::access_denied;
  // The content is copied, so others may read the file meanwhile and nothing else.
  const auto reading = disk_.claim(source, {access::read, share::read | share::remove});
  if (!reading) return reading.error();
  if (disk_.find(to)) return win32_error::already_exists;
  std::optional<std::uint64_t>& room = folder.drive->free_bytes;
  const std::uint64_t size = source->content.size();
  if (room && *room < size) return win32_error::disk_full;
  std::optional<std::uint64_t>& old_room = source->drive->free_bytes;
  const win32_error moved = disk_.rename(source, to);
  if (!succeeded(moved)) return moved;
  if (room) *room -= size;
  if (old_room) *old_room += size;
  if (folder.drive->format != disk_format::ntfs) source->property_set_values.clear();
  return win32_error::success;
}

win32_error simulated_files::remove_directory(const std::wstring& path) {
  const auto guard = calls_.record("remove_directory", text::utf8_from_wide(path));
  const auto refused = calls_.refusal<win32_error>("remove_directory", path);
  if (!succeeded(refused)) return refused;
  const auto entry = disk_.find(path);
  if (!entry) return entry.error();
  if (!(*entry)->is_directory()) return win32_error::directory;
  if ((*entry)->has(attribute::read_only)) return win32_error::access_denied;
  if (!disk_.below((*entry)->path).empty()) return win32_error::dir_not_empty;
  if (keeps_its_name(**entry)) return win32_error::sharing_violation;
  disk_.remove(*entry);
  return win32_error::success;
}

win32_error simulated_files::enumerate(const std::wstring& folder, const platform::entry_visitor& visit) {
  const auto guard = calls_.record("enumerate", text::utf8_from_wide(folder));
  const auto refused = calls_.refusal<win32_error>("enumerate", folder);
  if (!succeeded(refused)) return refused;
  const auto found = disk_.find(folder);
  if (found.error() == win32_error::file_not_found) return win32_error::path_not_found;
  if (!found) return found.error();
  if (!(*found)->is_directory()) return win32_error::directory;
  for (const disk_entry_pointer& entry : in_order(**found)) {
    const auto broken = calls_.refusal<win32_error>("next_entry", entry->path);
    if (!succeeded(broken)) return broken;
    visit({std::wstring(paths::file_name(entry->path)),
           entry->is_directory() ? platform::entry_kind::other : platform::entry_kind::regular_file});
  }
  return win32_error::success;
}

std::vector<disk_entry_pointer> simulated_files::in_order(const disk_entry& folder) const {
  std::vector<disk_entry_pointer> entries = disk_.entries_of(folder);
  const auto order = orders_.find(text::to_lower(folder.path));
  if (order == orders_.end()) return entries;
  const auto place = [&names = order->second](const disk_entry_pointer& entry) {
    const auto is_meant = [name = paths::file_name(entry->path)](const std::wstring& named) {
      return text::equal_ignoring_case(named, name);
    };
    return std::ranges::find_if(names, is_meant) - names.begin();
  };
  std::ranges::stable_sort(entries, {}, place);
  return entries;
}

void simulated_files::deliver_in_order(std::wstring_view folder, std::vector<std::wstring> names) {
  orders_[text::to_lower(folder)] = std::move(names);
}

}  // namespace support
