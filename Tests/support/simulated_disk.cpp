#include "support/simulated_disk.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "text/conversions.h"
#include "text/letter_case.h"
#include "text/paths.h"

namespace support {

namespace attribute = platform::attribute;
using platform::access;
using platform::share;
using platform::win32_error;
using platform::win32_result;

namespace {

constexpr std::size_t longest_path = 32767;
constexpr std::size_t longest_name = 255;
constexpr std::wstring_view forbidden_in_names = L"<>:\"|?*";

struct parsed_path {
  std::wstring drive;               // "C:" or "\\server\share"
  std::vector<std::wstring> names;  // below the drive's root
  bool ends_in_separator = false;

  [[nodiscard]] std::wstring upto(std::size_t count) const {
    std::wstring path = drive;
    for (std::size_t i = 0; i < count; ++i)
      path += L'\\' + names[i];
    return names.empty() || count == 0 ? path + L'\\' : path;
  }
  [[nodiscard]] std::wstring key(std::size_t count) const { return text::to_lower(upto(count)); }
};

bool is_valid_name(std::wstring_view name) {
  const auto is_forbidden = [](wchar_t c) { return c < L' ' || forbidden_in_names.find(c) != std::wstring_view::npos; };
  return text::utf16_length(name) <= longest_name && std::none_of(name.begin(), name.end(), is_forbidden);
}

std::wstring_view take_name(std::wstring_view& rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of(L'\\'), rest.size()));
  const std::wstring_view name = rest.substr(0, rest.find(L'\\'));
  rest.remove_prefix(name.size());
  return name;
}

// The drive or share in front of `rest`; the current drive where the path names none.
std::wstring take_drive(std::wstring_view& rest) {
  if (rest.starts_with(L"\\\\")) {
    const std::wstring server(take_name(rest));
    const std::wstring share_name(take_name(rest));
    return L"\\\\" + server + L'\\' + share_name;
  }
  if (rest.size() >= 2 && rest[1] == L':') {
    std::wstring drive(rest.substr(0, 2));
    rest.remove_prefix(2);
    return drive;
  }
  return L"C:";
}

win32_result<parsed_path> parse(std::wstring_view path) {
  // The system reads up to the first NUL.
  std::wstring plain(path.substr(0, path.find(L'\0')));
  if (plain.empty()) return win32_error::path_not_found;
  if (text::utf16_length(plain) > longest_path) return win32_error::filename_exceeds_range;
  std::replace(plain.begin(), plain.end(), L'/', L'\\');
  std::wstring_view rest = plain;
  if (rest.starts_with(LR"(\\?\UNC\)")) {
    plain.replace(0, 8, LR"(\\)");
    rest = plain;
  } else if (rest.starts_with(LR"(\\?\)")) {
    rest.remove_prefix(4);
  }
  parsed_path parsed;
  parsed.ends_in_separator = rest.ends_with(L'\\');
  const std::size_t root_name_length = paths::root_name(plain).size();
  const bool is_absolute = root_name_length > 0 && paths::root(plain).size() > root_name_length;
  parsed.drive = take_drive(rest);
  while (!rest.empty()) {
    std::wstring_view name = take_name(rest);
    if (name.empty() || name == L".") continue;
    if (name == L"..") {
      if (!parsed.names.empty()) parsed.names.pop_back();
      continue;
    }
    if (!is_valid_name(name)) return win32_error::invalid_name;
    // From the current folder, dots and blanks at the end of a name are no part of it.
    if (!is_absolute) name = name.substr(0, name.find_last_not_of(L" .") + 1);
    if (!name.empty()) parsed.names.emplace_back(name);
  }
  return parsed;
}

bool uses_data(access a) { return platform::has(a, access::read | access::write | access::append); }

bool allows(share allowed, access wanted) {
  if (platform::has(wanted, access::read) && !platform::has(allowed, share::read)) return false;
  return !platform::has(wanted, access::write | access::append) || platform::has(allowed, share::write);
}

}  // namespace

disk_claim::disk_claim(disk_entry_pointer entry, disk_use use) : entry_(std::move(entry)), use_(use) {
  entry_->uses.push_back(&use_);
}

disk_claim::~disk_claim() { std::erase(entry_->uses, &use_); }

simulated_disk::simulated_disk(const simulated_clock& clock) : clock_(clock) { add_drive(L"C:"); }

simulated_drive& simulated_disk::add_drive(std::wstring_view name) {
  auto drive = std::make_shared<simulated_drive>();
  drives_[text::to_lower(name)] = drive;
  auto root = std::make_shared<disk_entry>();
  root->path = std::wstring(name) + L'\\';
  root->drive = drive;
  // What Windows shows for the root of a disk.
  root->attributes = attribute::directory | attribute::hidden | attribute::system;
  root->created = root->last_written = clock_.time();
  entries_[text::to_lower(root->path)] = root;
  return *drive;
}

simulated_drive& simulated_disk::drive(std::wstring_view name) { return *drives_.at(text::to_lower(name)); }

win32_result<disk_entry_pointer> simulated_disk::find(std::wstring_view path) const {
  const auto parsed = parse(path);
  if (!parsed) return parsed.error();
  if (!drives_.contains(text::to_lower(parsed->drive))) {
    return parsed->drive.starts_with(L'\\') ? win32_error::bad_netpath : win32_error::path_not_found;
  }
  const std::size_t depth = parsed->names.size();
  const auto found = entries_.find(parsed->key(depth));  // where an entry is, its folders are
  if (found == entries_.end()) {
    const auto folder = entries_.find(parsed->key(depth - 1));
    const bool has_folder = folder != entries_.end() && folder->second->is_directory();
    return has_folder ? win32_error::file_not_found : win32_error::path_not_found;
  }
  if (parsed->ends_in_separator && !found->second->is_directory()) return win32_error::invalid_name;
  return found->second;
}

win32_result<disk_entry_pointer> simulated_disk::create(std::wstring_view path, std::uint32_t attributes) {
  const auto there = find(path);
  if (there) return win32_error::already_exists;
  if (there.error() != win32_error::file_not_found) return there.error();
  const auto parsed = parse(path);
  assert(parsed);
  auto entry = std::make_shared<disk_entry>();
  entry->path = parsed->upto(parsed->names.size());
  entry->drive = drives_.at(text::to_lower(parsed->drive));
  entry->attributes = attributes;
  entry->created = entry->last_written = clock_.time();
  entry->turn = ++turns_;
  entries_[text::to_lower(entry->path)] = entry;
  return entry;
}

win32_error simulated_disk::rename(const disk_entry_pointer& entry, std::wstring_view path) {
  const auto there = find(path);
  if (there && *there != entry) return win32_error::already_exists;
  if (!there && there.error() != win32_error::file_not_found) return there.error();
  const auto parsed = parse(path);
  assert(parsed);
  const std::wstring old_path = entry->path;
  const std::wstring new_path = parsed->upto(parsed->names.size());
  const auto drive = drives_.at(text::to_lower(parsed->drive));
  std::vector<disk_entry_pointer> moved = below(old_path);
  moved.push_back(entry);
  // Everything that takes memory comes first: a move is done or not.
  struct names {
    std::wstring old_key;
    std::wstring new_path;
    std::wstring new_key;
  };
  std::vector<names> renamed;
  for (const disk_entry_pointer& each : moved) {
    const std::wstring path_behind = new_path + each->path.substr(old_path.size());
    renamed.push_back({text::to_lower(each->path), path_behind, text::to_lower(path_behind)});
  }
  for (std::size_t i = 0; i < moved.size(); ++i) {
    auto node = entries_.extract(renamed[i].old_key);
    node.key() = std::move(renamed[i].new_key);
    moved[i]->path = std::move(renamed[i].new_path);
    entries_.insert(std::move(node));
  }
  entry->drive = drive;
  entry->turn = ++turns_;
  return win32_error::success;
}

std::vector<disk_entry_pointer> simulated_disk::entries_of(const disk_entry& folder) const {
  std::vector<disk_entry_pointer> found = below(folder.path);
  const std::size_t prefix = folder.path.size() + (folder.path.ends_with(L'\\') ? 0 : 1);
  std::erase_if(found, [prefix](const disk_entry_pointer& entry) {
    return entry->path.find(L'\\', prefix) != std::wstring::npos;
  });
  std::ranges::sort(found, {}, [](const disk_entry_pointer& entry) { return entry->turn; });
  return found;
}

void simulated_disk::remove(const disk_entry_pointer& entry) {
  if (entry->drive->free_bytes) *entry->drive->free_bytes += entry->content.size();
  removed_.push_back(entry);
  entries_.erase(text::to_lower(entry->path));
}

std::vector<std::wstring> simulated_disk::paths_in_use() const {
  std::vector<std::wstring> in_use;
  const auto add = [&in_use](const disk_entry& entry) { in_use.insert(in_use.end(), entry.uses.size(), entry.path); };
  for (const auto& [key, entry] : entries_)
    add(*entry);
  for (const disk_entry_pointer& entry : removed_)
    add(*entry);
  return in_use;
}

win32_result<std::unique_ptr<disk_claim>> simulated_disk::claim(const disk_entry_pointer& entry, disk_use use) const {
  for (const disk_use* other : entry->uses) {
    if (!uses_data(use.access) || !uses_data(other->access)) continue;
    if (!allows(other->share, use.access) || !allows(use.share, other->access)) return win32_error::sharing_violation;
  }
  return std::make_unique<disk_claim>(entry, use);
}

std::uint64_t simulated_disk::take_space(disk_entry& entry, std::uint64_t wanted) {
  std::optional<std::uint64_t>& free_bytes = entry.drive->free_bytes;
  if (!free_bytes) return wanted;
  const std::uint64_t granted = std::min(wanted, *free_bytes);
  *free_bytes -= granted;
  return granted;
}

void simulated_disk::touch(disk_entry& entry) const {
  entry.last_written = clock_.time();
  if (!entry.is_directory()) entry.attributes |= attribute::archive;
}

disk_entry& simulated_disk::put_file(std::wstring_view path, std::string_view content) {
  put_directory(paths::parent(path));
  const auto there = find(path);
  const disk_entry_pointer entry = there ? *there : *create(path, attribute::archive);
  assert(!entry->is_directory());
  entry->content = content;
  touch(*entry);
  return *entry;
}

disk_entry& simulated_disk::put_directory(std::wstring_view path) {
  if (const auto there = find(path)) return **there;
  // A drive must be added first.
  assert(paths::parent(path) != path);
  put_directory(paths::parent(path));
  const auto created = create(path, attribute::directory);
  assert(created);
  return **created;
}

std::vector<disk_entry_pointer> simulated_disk::below(std::wstring_view folder) const {
  std::wstring start = text::to_lower(folder);
  if (!start.ends_with(L'\\')) start += L'\\';
  std::vector<disk_entry_pointer> found;
  for (auto at = entries_.upper_bound(start); at != entries_.end() && at->first.starts_with(start); ++at) {
    found.push_back(at->second);
  }
  return found;
}

}  // namespace support
