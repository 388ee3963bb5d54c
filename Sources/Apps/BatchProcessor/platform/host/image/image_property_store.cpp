#include "platform/host/image/image_property_store.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/host/image/image_file.h"
#include "platform/host/image/image_metadata.h"
#include "platform/property_keys.h"
#include "text/letter_case.h"
#include "text/paths.h"

namespace platform::host {

namespace {

using image::image_change;
using image::image_file;

hresult set_failure(win32_error error) {
  const bool is_full = error == win32_error::disk_full || error == win32_error::handle_disk_full;
  return is_full ? hresult::storage_medium_full : hresult_from(error);
}

// No value stands for the removal of the property.
std::optional<std::uint32_t> percent_from(const property_value& value) {
  if (std::holds_alternative<std::monostate>(value)) return 0;
  if (const auto* number = std::get_if<std::uint32_t>(&value)) return *number;
  if (const auto* number = std::get_if<std::int32_t>(&value); number != nullptr && *number >= 0) {
    return static_cast<std::uint32_t>(*number);
  }
  return std::nullopt;
}

std::optional<std::vector<std::wstring>> keywords_from(const property_value& value) {
  if (std::holds_alternative<std::monostate>(value)) return std::vector<std::wstring>();
  const auto* list = std::get_if<std::vector<std::wstring>>(&value);
  if (list == nullptr) return std::nullopt;
  std::vector<std::wstring> keywords = *list;
  std::erase(keywords, std::wstring());
  return keywords;
}

class image_property_store final : public property_store {
 public:
  image_property_store(std::wstring path, handler_access access, image_file file)
      : path_(std::move(path)), access_(access), file_(std::move(file)) {}

  hresult_result<property_value> get(const property_key& key) override;
  hresult set(const property_key& key, const property_value& value) override;
  hresult commit() override;

 private:
  enum class stage { nothing, unprepared, prepared };

  [[nodiscard]] hresult prepare(const image_change& change);
  [[nodiscard]] hresult read_again();

  std::wstring path_;
  handler_access access_;
  image_file file_;
  bool file_is_current_ = true;
  image_change change_;  // all that was set, what is committed included
  stage stage_ = stage::nothing;
  std::unique_ptr<file_rewrite> rewrite_;  // null also for a change that finds everything as it shall be
};

hresult_result<property_value> image_property_store::get(const property_key& key) {
  if (key == rating_key) {
    const auto percent = change_.percent ? change_.percent : image::read_rating(file_.container->blocks());
    return percent ? property_value(*percent) : property_value();
  }
  if (key == keywords_key) {
    auto keywords = change_.keywords ? change_.keywords : image::read_keywords(file_.container->blocks());
    return keywords ? property_value(std::move(*keywords)) : property_value();
  }
  return property_value();
}

hresult image_property_store::set(const property_key& key, const property_value& value) {
  if (access_ != handler_access::read_write) return hresult::storage_access_denied;
  image_change change = change_;
  if (key == rating_key) {
    change.percent = percent_from(value);
    if (!change.percent) return hresult::invalid_argument;
  } else if (key == keywords_key) {
    change.keywords = keywords_from(value);
    if (!change.keywords) return hresult::invalid_argument;
  } else {
    return hresult::imaging_property_not_supported;
  }
  const hresult prepared = prepare(change);
  if (!succeeded(prepared)) return prepared;
  change_ = std::move(change);
  return hresult::ok;
}

// The former rewrite goes first, so that the disk need not hold two.
hresult image_property_store::prepare(const image_change& change) {
  rewrite_.reset();
  if (stage_ == stage::prepared) stage_ = stage::unprepared;
  if (!file_is_current_) {
    const hresult read = read_again();
    if (!succeeded(read)) return read;
  }
  const std::optional<edit_plan> plan = image::plan_change(*file_.container, change);
  if (!plan) return hresult::imaging_too_much_metadata;
  win32_result<std::unique_ptr<file_rewrite>> rewrite = file_.prepare(*plan);
  if (!rewrite) return set_failure(rewrite.error());
  rewrite_ = std::move(*rewrite);
  stage_ = stage::prepared;
  return hresult::ok;
}

hresult image_property_store::read_again() {
  hresult_result<image_file> file = image::open_image_file(path_, image::file_access::read_write);
  if (!file) return file.error();
  file_ = std::move(*file);
  file_is_current_ = true;
  return hresult::ok;
}

hresult image_property_store::commit() {
  if (stage_ == stage::nothing) return hresult::ok;
  // The caller repeats any other failure without end.
  if (stage_ == stage::unprepared && !succeeded(prepare(change_))) return hresult::storage_sharing_violation;
  const win32_error written = rewrite_ ? rewrite_->commit() : win32_error::success;
  if (rewrite_) file_is_current_ = false;
  rewrite_.reset();
  stage_ = succeeded(written) ? stage::nothing : stage::unprepared;
  return succeeded(written) ? hresult::ok : hresult::storage_sharing_violation;
}

}  // namespace

bool has_image_handler(const std::wstring& path) {
  static constexpr std::wstring_view extensions[] = {L".jpg", L".jpeg", L".jpe",  L".jfif",
                                                     L".png", L".tif",  L".tiff", L".webp"};
  const std::wstring extension = text::to_lower(paths::extension(path));
  return std::find(std::begin(extensions), std::end(extensions), extension) != std::end(extensions);
}

hresult_result<std::unique_ptr<property_store>> open_image_store(const std::wstring& path, handler_access access) {
  const auto file_access =
      access == handler_access::read_write ? image::file_access::read_write : image::file_access::read;
  hresult_result<image_file> file = image::open_image_file(path, file_access);
  if (!file) return file.error();
  return std::unique_ptr<property_store>(std::make_unique<image_property_store>(path, access, std::move(*file)));
}

}  // namespace platform::host
