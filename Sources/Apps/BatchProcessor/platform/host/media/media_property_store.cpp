#include "platform/host/media/media_property_store.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/host/content_store.h"
#include "platform/host/media/asf_rating.h"
#include "platform/host/media/mp3_rating.h"
#include "platform/host/media/mp4_rating.h"
#include "platform/host/property_sets.h"
#include "platform/property_keys.h"
#include "text/letter_case.h"
#include "text/paths.h"

namespace platform::host {

namespace {

using media::rating_format;

struct type_row {
  std::wstring_view extension;
  const rating_format* format;
};
constexpr std::array<type_row, 6> types = {{
    {L".mp3", &media::mp3_rating},
    {L".mp4", &media::mp4_rating},
    {L".m4v", &media::mp4_rating},
    {L".mov", &media::mp4_rating},
    {L".wma", &media::asf_rating},
    {L".wmv", &media::asf_rating},
}};

/// Null for any other type.
const rating_format* format_of(const std::wstring& path) {
  const std::wstring extension = text::to_lower(paths::extension(path));
  const auto* const found = std::ranges::find(types, extension, &type_row::extension);
  return found == types.end() ? nullptr : found->format;
}

/// The containers have no place for tags that we know: they stand beside the content, in the file's property sets.
class media_content final : public property_content {
 public:
  media_content(content_file file, const rating_format& format, std::optional<std::uint32_t> percent)
      : property_content(std::move(file)), format_(format), percent_(percent.value_or(0)) {}

  hresult_result<property_value> get(const property_key& key) override;
  hresult_result<edit_plan> plan(const property_values& values) override;
  hresult commit_beside() override { return tags_are_set_ ? sets_->commit() : hresult::ok; }

 private:
  [[nodiscard]] hresult open_sets();
  [[nodiscard]] hresult set_tags(const property_value& tags);

  const rating_format& format_;
  std::uint32_t percent_;                 // the scale's 0 is the absence of the property
  std::unique_ptr<property_store> sets_;  // null until asked for
  bool tags_are_set_ = false;
};

hresult media_content::open_sets() {
  if (sets_) return hresult::ok;
  auto sets = property_sets_of_open_file(file().opened.file.get());
  if (!sets) return sets.error();
  sets_ = *std::move(sets);
  return hresult::ok;
}

hresult_result<property_value> media_content::get(const property_key& key) {
  if (key == rating_key) return percent_ == 0 ? property_value() : property_value(percent_);
  if (key != keywords_key) return property_value();
  if (const hresult opened = open_sets(); !succeeded(opened)) return opened;
  auto tags = sets_->get(keywords_key);
  // A file system without extended attributes holds no tags.
  if (tags.error() == hresult::storage_invalid_function) return property_value();
  return tags;
}

hresult media_content::set_tags(const property_value& tags) {
  if (const hresult opened = open_sets(); !succeeded(opened)) return opened;
  const hresult set = sets_->set(keywords_key, tags);
  if (set == hresult::storage_invalid_function) return hresult::imaging_property_not_supported;
  tags_are_set_ = tags_are_set_ || succeeded(set);
  return set;
}

hresult_result<edit_plan> media_content::plan(const property_values& values) {
  edit_plan edits;
  for (const auto& [key, value] : values) {
    if (key == keywords_key) {
      if (const hresult set = set_tags(value); !succeeded(set)) return set;
    } else if (key == rating_key) {
      const auto percent = percent_from(value);
      if (!percent) return hresult::invalid_argument;
      auto plan = format_.plan(*file().source, *percent);
      if (!plan) return plan;
      edits = *std::move(plan);
    } else {
      return hresult::imaging_property_not_supported;
    }
  }
  return edits;
}

hresult_result<std::unique_ptr<property_content>> open_media_content(const std::wstring& path, handler_access access) {
  auto file = open_content_file(path, access, hresult::fail);
  if (!file) return file.error();
  const rating_format* const format = format_of(path);
  if (format == nullptr) return hresult::class_not_registered;
  const auto percent = format->read(*file->source, access);
  if (const win32_error unread = file->source->failure(); !succeeded(unread)) return hresult_from(unread);
  if (!percent) return percent.error();
  return std::unique_ptr<property_content>(std::make_unique<media_content>(*std::move(file), *format, *percent));
}

}  // namespace

bool has_media_handler(const std::wstring& path) { return format_of(path) != nullptr; }

hresult_result<std::unique_ptr<property_store>> open_media_store(const std::wstring& path, handler_access access) {
  return open_content_store(path, access, open_media_content);
}

}  // namespace platform::host
