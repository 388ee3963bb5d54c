// A set is staged and reaches the attributes at the commit. Since its caller repeats a failed commit, all that can fail
// is tried at the set: whether the file system has the room, by a scratch attribute of the same size, or where only the
// old value's place would do, by making the change and taking it back.
#include "platform/host/property_sets.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "platform/host/errno_codes.h"
#include "platform/host/file_lock.h"
#include "platform/host/path_bytes.h"
#include "platform/host/property_text.h"
#include "platform/host/unique_descriptor.h"

namespace platform::host {

namespace {

constexpr std::size_t usual_value = 1024;
constexpr std::size_t largest_value = 65536;  // the kernel's limit
constexpr const char* scratch_name = "user.quill_box.room";

struct open_item {
  unique_descriptor descriptor;
  bool is_folder = false;
  storage_access access = storage_access::read_deny_write;
};

struct attribute_change {
  std::string name;
  std::optional<std::string> value;  // none removes it
};

hresult hresult_from_errno(int error) {
  // A value that the file system has no place for is a full disk too.
  if (error == E2BIG || error == ERANGE) error = ENOSPC;
  return storage_hresult_from(error_from_errno(error));
}

storage_failure failure_from(win32_error error) { return {storage_hresult_from(error), error}; }

// 0 or an errno; `value` is none where there is no such attribute.
int read_attribute(int item, const std::string& name, std::optional<std::string>& value) {
  value.reset();
  std::string buffer(usual_value, '\0');
  ssize_t size = ::fgetxattr(item, name.c_str(), buffer.data(), buffer.size());
  if (size < 0 && errno == ERANGE) {
    buffer.resize(largest_value);
    size = ::fgetxattr(item, name.c_str(), buffer.data(), buffer.size());
  }
  if (size < 0) return errno == ENODATA ? 0 : errno;
  buffer.resize(static_cast<std::size_t>(size));
  value = std::move(buffer);
  return 0;
}

int write_attribute(int item, const attribute_change& change) {
  if (change.value) {
    return ::fsetxattr(item, change.name.c_str(), change.value->data(), change.value->size(), 0) == 0 ? 0 : errno;
  }
  return ::fremovexattr(item, change.name.c_str()) == 0 || errno == ENODATA ? 0 : errno;
}

// The attributes as they are now, in the order in which they are to be put back.
int remember(int item, const std::vector<attribute_change>& changes, std::vector<attribute_change>& old) {
  for (const attribute_change& change : changes) {
    attribute_change before{change.name, {}};
    if (const int failure = read_attribute(item, change.name, before.value); failure != 0) return failure;
    old.insert(old.begin(), std::move(before));
  }
  return 0;
}

// Failing changes nothing: what has gone before the failure is taken back, into the room that it had.
void put_back(int item, const std::vector<attribute_change>& old) {
  for (const attribute_change& change : old)
    static_cast<void>(write_attribute(item, change));
}

int apply(int item, const std::vector<attribute_change>& changes, const std::vector<attribute_change>& old) {
  for (const attribute_change& change : changes) {
    if (const int failure = write_attribute(item, change); failure != 0) {
      put_back(item, old);
      return failure;
    }
  }
  return 0;
}

bool is_lack_of_room(int error) { return error == ENOSPC || error == EDQUOT || error == E2BIG || error == ERANGE; }

// Whether the changes can be made; 0 or the errno that they would fail with.
int try_out(int item, const std::vector<attribute_change>& changes) {
  std::size_t size = 0;
  for (const attribute_change& change : changes) {
    if (change.value) size += change.name.size() + change.value->size();
  }
  if (size == 0) return 0;
  const int scratch = write_attribute(item, {scratch_name, std::string(size, ' ')});
  if (scratch == 0) return write_attribute(item, {scratch_name, {}});
  if (!is_lack_of_room(scratch)) return scratch;
  std::vector<attribute_change> old;
  if (const int failure = remember(item, changes, old); failure != 0) return failure;
  const int failure = apply(item, changes, old);
  if (failure == 0) put_back(item, old);
  return failure;
}

class attribute_store final : public property_store {
 public:
  attribute_store(std::shared_ptr<const open_item> item, bool for_writing)
      : item_(std::move(item)), for_writing_(for_writing) {}

  hresult_result<property_value> get(const property_key& key) override {
    if (const auto staged = staged_.find(key); staged != staged_.end()) return staged->second;
    std::optional<std::string> text;
    if (const int failure = read_attribute(number(), attribute_name(key), text); failure != 0) {
      return hresult_from_errno(failure);
    }
    property_value own = text ? property_from_text(*text) : property_value();
    if (!is_mirrored(key)) return own;
    if (const int failure = read_attribute(number(), mirror_name(key), text); failure != 0) {
      return hresult_from_errno(failure);
    }
    return is_mirror_of(key, own, text) ? own : property_from_mirror(key, text.value_or(""));
  }

  hresult set(const property_key& key, const property_value& value) override {
    if (!for_writing_) return hresult::storage_access_denied;
    if (std::holds_alternative<other_type>(value)) return hresult::not_supported;
    std::map<property_key, property_value> staged = staged_;
    staged[key] = value;
    if (const int failure = try_out(number(), changes_of(staged)); failure != 0) return hresult_from_errno(failure);
    staged_ = std::move(staged);
    return hresult::ok;
  }

  hresult commit() override {
    if (!for_writing_) return hresult::storage_access_denied;
    const std::vector<attribute_change> changes = changes_of(staged_);
    std::vector<attribute_change> old;
    int failure = remember(number(), changes, old);
    if (failure == 0) failure = apply(number(), changes, old);
    // Nothing that fails here, after it went well at the set, passes by itself.
    if (failure != 0) return hresult::storage_sharing_violation;
    staged_.clear();
    return hresult::ok;
  }

 private:
  [[nodiscard]] int number() const { return item_->descriptor.get(); }
  [[nodiscard]] bool is_mirrored(const property_key& key) const {
    return !item_->is_folder && mirror_name(key) != nullptr;
  }

  // Our own attribute first: with it a property has its new value, whatever becomes of the mirror.
  [[nodiscard]] std::vector<attribute_change> changes_of(const std::map<property_key, property_value>& staged) const {
    std::vector<attribute_change> changes;
    for (const auto& [key, value] : staged) {
      changes.push_back({attribute_name(key), attribute_text(value)});
      if (is_mirrored(key)) changes.push_back({mirror_name(key), mirror_text(key, value)});
    }
    return changes;
  }

  std::shared_ptr<const open_item> item_;
  bool for_writing_;
  std::map<property_key, property_value> staged_;
};

class attribute_storage final : public property_set_storage {
 public:
  explicit attribute_storage(std::shared_ptr<const open_item> item) : item_(std::move(item)) {}

  storage_result<std::unique_ptr<property_store>> create_store(store_access access) override {
    const bool for_writing = access == store_access::read_write;
    if (for_writing && item_->access == storage_access::read_deny_write) {
      return failure_from(win32_error::access_denied);
    }
    return std::unique_ptr<property_store>(std::make_unique<attribute_store>(item_, for_writing));
  }

 private:
  std::shared_ptr<const open_item> item_;
};

// 0 or the errno that keeps this user from changing the attributes.
int check_writable(const open_item& item, const struct stat& status, const char* path) {
  // The read-only attribute binds the superuser too.
  if ((status.st_mode & S_IWUSR) == 0) return EACCES;
  if (::faccessat(AT_FDCWD, path, W_OK, AT_EACCESS) != 0) return errno;
  // What a kill left in the middle of try_out.
  return write_attribute(item.descriptor.get(), {scratch_name, {}});
}

}  // namespace

storage_result<std::unique_ptr<property_set_storage>> open_property_sets(const std::wstring& path,
                                                                         storage_access access) {
  const path_bytes bytes(path);
  if (!succeeded(bytes.error())) return failure_from(bytes.error());
  auto item = std::make_shared<open_item>();
  item->access = access;
  item->descriptor = unique_descriptor(::open(bytes.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!item->descriptor) return failure_from(error_from_errno(errno, bytes.c_str()));
  struct stat status {};
  if (::fstat(item->descriptor.get(), &status) != 0) return failure_from(error_from_errno(errno));
  item->is_folder = S_ISDIR(status.st_mode);
  // Users' attributes exist on files and folders only.
  if (!item->is_folder && !S_ISREG(status.st_mode)) return failure_from(win32_error::invalid_function);

  const bool exclusive = access == storage_access::read_write_exclusive;
  // A file system without locks doesn't keep two processes apart; each attribute is whole all the same.
  if (::flock(item->descriptor.get(), (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    return failure_from(win32_error::sharing_violation);
  }
  if (::fgetxattr(item->descriptor.get(), scratch_name, nullptr, 0) < 0 && errno != ENODATA) {
    return failure_from(error_from_errno(errno));
  }
  if (exclusive && !item->is_folder && is_open_for_writing(item->descriptor.get())) {
    return failure_from(win32_error::sharing_violation);
  }
  if (exclusive) {
    if (const int failure = check_writable(*item, status, bytes.c_str()); failure != 0) {
      return failure_from(error_from_errno(failure));
    }
  }
  return std::unique_ptr<property_set_storage>(std::make_unique<attribute_storage>(std::move(item)));
}

hresult_result<std::unique_ptr<property_store>> property_sets_of_open_file(int descriptor) {
  auto item = std::make_shared<open_item>();
  item->access = storage_access::read_write_exclusive;
  item->descriptor = unique_descriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
  if (!item->descriptor) return hresult_from_errno(errno);
  return std::unique_ptr<property_store>(std::make_unique<attribute_store>(std::move(item), true));
}

}  // namespace platform::host
