#include "platform/host/media/media_property_store.h"

#include <optional>
#include <utility>

#include "platform/host/media/media_file.h"
#include "platform/host/property_sets.h"
#include "platform/property_keys.h"

namespace platform::host {

namespace {

using media::media_file;

/// No value stands for the removal of the property.
std::optional<std::uint32_t> percent_from(const property_value& value) {
  if (std::holds_alternative<std::monostate>(value)) return 0;
  if (const auto* number = std::get_if<std::uint32_t>(&value)) return *number;
  return std::nullopt;
}

class media_property_store final : public property_store {
 public:
  media_property_store(std::wstring path, handler_access access, media_file file)
      : path_(std::move(path)), access_(access), file_(std::move(file)) {}

  hresult_result<property_value> get(const property_key& key) override;
  hresult set(const property_key& key, const property_value& value) override;
  hresult commit() override;

 private:
  [[nodiscard]] hresult_result<property_value> get_keywords();
  [[nodiscard]] hresult set_keywords(const property_value& value);
  [[nodiscard]] hresult open_keywords();
  [[nodiscard]] hresult commit_rating();
  [[nodiscard]] hresult prepare(std::uint32_t percent);
  [[nodiscard]] hresult read_again();

  std::wstring path_;
  handler_access access_;
  media_file file_;
  bool file_is_current_ = true;
  std::optional<std::uint32_t> set_;  ///< what was set last, committed or not
  bool pending_ = false;              ///< it is not committed yet
  std::unique_ptr<file_rewrite> rewrite_;
  // The containers have no place for tags that we know: they stand beside the content, in the file's property sets.
  // They are part of this store all the same, since the caller must see the tags that are there before it adds one.
  std::unique_ptr<property_store> keywords_;  ///< null until asked for
  bool keywords_pending_ = false;
};

hresult media_property_store::open_keywords() {
  if (keywords_) return hresult::ok;
  auto opened = property_sets_of_open_file(file_.descriptor.get());
  if (!opened) return opened.error();
  keywords_ = *std::move(opened);
  return hresult::ok;
}

hresult_result<property_value> media_property_store::get_keywords() {
  if (const hresult opened = open_keywords(); !succeeded(opened)) return opened;
  auto value = keywords_->get(keywords_key);
  // A file system without extended attributes holds no tags.
  if (value.error() == hresult::storage_invalid_function) return property_value();
  return value;
}

hresult media_property_store::set_keywords(const property_value& value) {
  if (const hresult opened = open_keywords(); !succeeded(opened)) return opened;
  const hresult set = keywords_->set(keywords_key, value);
  if (set == hresult::storage_invalid_function) return hresult::imaging_property_not_supported;
  keywords_pending_ = keywords_pending_ || succeeded(set);
  return set;
}

hresult_result<property_value> media_property_store::get(const property_key& key) {
  if (key == keywords_key) return get_keywords();
  if (!(key == rating_key)) return property_value();
  // The scale's 0 is the absence of the property.
  const std::uint32_t percent = set_.value_or(file_.percent.value_or(0));
  return percent == 0 ? property_value() : property_value(percent);
}

hresult media_property_store::set(const property_key& key, const property_value& value) {
  if (access_ != handler_access::read_write) return hresult::storage_access_denied;
  if (key == keywords_key) return set_keywords(value);
  if (!(key == rating_key)) return hresult::imaging_property_not_supported;
  const auto percent = percent_from(value);
  if (!percent) return hresult::invalid_argument;
  const hresult prepared = prepare(*percent);
  if (!succeeded(prepared)) return prepared;
  set_ = percent;
  pending_ = true;
  return hresult::ok;
}

hresult media_property_store::prepare(std::uint32_t percent) {
  if (!file_is_current_) {
    const hresult read = read_again();
    if (!succeeded(read)) return read;
  }
  const auto plan = file_.format->plan(*file_.source, percent);
  if (!plan) return plan.error();
  // The former rewrite goes first, so that the disk need not hold two.
  rewrite_.reset();
  if (plan->empty()) return hresult::ok;
  auto rewrite = prepare_rewrite(file_.descriptor.get(), file_.path, *plan, file_.stamp);
  if (rewrite) {
    rewrite_ = *std::move(rewrite);
    return hresult::ok;
  }
  // What was set before is prepared anew by the commit.
  file_is_current_ = false;
  const win32_error error = rewrite.error();
  const bool is_full = error == win32_error::disk_full || error == win32_error::handle_disk_full;
  return is_full ? hresult::storage_medium_full : hresult_from(error);
}

hresult media_property_store::read_again() {
  // The lock goes with the last descriptor. Tags that wait for a commit need theirs.
  if (keywords_pending_) return hresult::storage_sharing_violation;
  keywords_.reset();
  file_.descriptor = {};
  auto file = media::open_media_file(path_, access_);
  if (!file) return file.error();
  file_ = *std::move(file);
  file_is_current_ = true;
  return hresult::ok;
}

hresult media_property_store::commit() {
  // The tags first: a new file that takes the name takes over the attributes that the old one has then.
  if (keywords_pending_) {
    if (const hresult committed = keywords_->commit(); !succeeded(committed)) return committed;
    keywords_pending_ = false;
  }
  return commit_rating();
}

hresult media_property_store::commit_rating() {
  if (!pending_) return hresult::ok;
  // The caller repeats any other failure without end.
  if (!file_is_current_ && !succeeded(prepare(*set_))) return hresult::storage_sharing_violation;
  const win32_error written = rewrite_ ? rewrite_->commit() : win32_error::success;
  if (rewrite_) file_is_current_ = false;
  rewrite_.reset();
  if (!succeeded(written)) return hresult::storage_sharing_violation;
  pending_ = false;
  return hresult::ok;
}

}  // namespace

bool has_media_handler(const std::wstring& path) { return media::format_of(path) != nullptr; }

hresult_result<std::unique_ptr<property_store>> open_media_store(const std::wstring& path, handler_access access) {
  auto file = media::open_media_file(path, access);
  if (!file) return file.error();
  return std::unique_ptr<property_store>(std::make_unique<media_property_store>(path, access, *std::move(file)));
}

}  // namespace platform::host
