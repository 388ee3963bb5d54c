#include "platform/host/content_store.h"

#include <algorithm>
#include <utility>

namespace platform::host {

namespace {

hresult set_failure(win32_error error) {
  const bool is_full = error == win32_error::disk_full || error == win32_error::handle_disk_full;
  return is_full ? hresult::storage_medium_full : hresult_from(error);
}

bool removes_property(const property_value& value) {
  const auto* list = std::get_if<std::vector<std::wstring>>(&value);
  return percent_from(value) == 0u || (list != nullptr && list->empty());
}

class content_store final : public property_store {
 public:
  content_store(std::wstring path, handler_access access, content_opener opener)
      : path_(std::move(path)), access_(access), opener_(opener) {}

  [[nodiscard]] hresult open();

  hresult_result<property_value> get(const property_key& key) override;
  hresult set(const property_key& key, const property_value& value) override;
  hresult commit() override;

 private:
  void close();
  [[nodiscard]] bool is_overtaken(const property_values& values);
  [[nodiscard]] hresult prepare(const property_values& values);
  [[nodiscard]] hresult write();

  std::wstring path_;
  handler_access access_;
  content_opener opener_;
  std::unique_ptr<property_content> content_;  // null when it has to be read anew
  property_values seen_;                       // what the caller was told, or would have been told before its set
  property_values staged_;
  bool is_prepared_ = false;
  std::unique_ptr<file_rewrite> rewrite_;  // null also for a change that finds everything as it shall be
};

hresult content_store::open() {
  if (content_) return hresult::ok;
  auto content = opener_(path_, access_);
  if (!content) return content.error();
  content_ = *std::move(content);
  return hresult::ok;
}

void content_store::close() {
  rewrite_.reset();
  is_prepared_ = false;
  content_.reset();
}

hresult_result<property_value> content_store::get(const property_key& key) {
  if (const auto staged = staged_.find(key); staged != staged_.end()) return staged->second;
  if (const hresult opened = open(); !succeeded(opened)) return opened;
  auto value = content_->get(key);
  if (value) seen_[key] = *value;
  return value;
}

hresult content_store::set(const property_key& key, const property_value& value) {
  if (access_ != handler_access::read_write) return hresult::storage_access_denied;
  if (const hresult opened = open(); !succeeded(opened)) return opened;
  if (!seen_.contains(key)) {
    if (const auto seen = get(key); !seen) return seen.error();
  }
  property_values values = staged_;
  values[key] = value;
  // The former rewrite goes first, so that the disk need not hold two.
  rewrite_.reset();
  is_prepared_ = false;
  // Where it is overtaken, the commit tells: after a failed set the caller would go another way to the same end.
  const hresult prepared = is_overtaken(values) ? hresult::ok : prepare(values);
  if (!succeeded(prepared)) {
    close();
    return prepared;
  }
  if (removes_property(value)) values[key] = property_value();
  staged_ = std::move(values);
  return hresult::ok;
}

// Whether someone else has given one of the properties a value that the caller doesn't know of.
bool content_store::is_overtaken(const property_values& values) {
  return std::any_of(values.begin(), values.end(), [this](const auto& wanted) {
    const auto now = content_->get(wanted.first);
    return !now || (*now != seen_.at(wanted.first) && *now != wanted.second);
  });
}

hresult content_store::prepare(const property_values& values) {
  const hresult_result<edit_plan> plan = content_->plan(values);
  if (!plan) {
    const win32_error unread = content_->file().source->failure();
    return succeeded(unread) ? plan.error() : hresult_from(unread);
  }
  win32_result<std::unique_ptr<file_rewrite>> rewrite = content_->file().prepare(*plan);
  if (!rewrite) return set_failure(rewrite.error());
  rewrite_ = std::move(*rewrite);
  is_prepared_ = true;
  return hresult::ok;
}

hresult content_store::write() {
  if (const hresult opened = open(); !succeeded(opened)) return opened;
  if (!is_prepared_) {
    if (is_overtaken(staged_)) return hresult::storage_sharing_violation;
    if (const hresult prepared = prepare(staged_); !succeeded(prepared)) return prepared;
  }
  if (const hresult beside = content_->commit_beside(); !succeeded(beside)) return beside;
  return rewrite_ ? hresult_from(rewrite_->commit()) : hresult::ok;
}

hresult content_store::commit() {
  if (staged_.empty()) return hresult::ok;
  const hresult written = write();
  close();
  // The caller repeats any other failure without end.
  if (!succeeded(written)) return hresult::storage_sharing_violation;
  staged_.clear();
  seen_.clear();
  return hresult::ok;
}

}  // namespace

std::optional<std::uint32_t> percent_from(const property_value& value) {
  if (std::holds_alternative<std::monostate>(value)) return 0;
  if (const auto* number = std::get_if<std::uint32_t>(&value)) return *number;
  if (const auto* number = std::get_if<std::int32_t>(&value); number != nullptr && *number >= 0) {
    return static_cast<std::uint32_t>(*number);
  }
  return std::nullopt;
}

hresult_result<std::unique_ptr<property_store>> open_content_store(const std::wstring& path, handler_access access,
                                                                   content_opener open) {
  auto store = std::make_unique<content_store>(path, access, open);
  if (const hresult opened = store->open(); !succeeded(opened)) return opened;
  return std::unique_ptr<property_store>(std::move(store));
}

}  // namespace platform::host
