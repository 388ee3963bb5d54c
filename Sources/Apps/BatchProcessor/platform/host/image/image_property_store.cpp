#include "platform/host/image/image_property_store.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/host/content_store.h"
#include "platform/host/image/image_file.h"
#include "platform/host/image/image_metadata.h"
#include "platform/property_keys.h"
#include "text/letter_case.h"
#include "text/paths.h"

namespace platform::host {

namespace {

using image::image_change;
using image::image_file;

std::optional<std::vector<std::wstring>> keywords_from(const property_value& value) {
  if (std::holds_alternative<std::monostate>(value)) return std::vector<std::wstring>();
  const auto* list = std::get_if<std::vector<std::wstring>>(&value);
  if (list == nullptr) return std::nullopt;
  std::vector<std::wstring> keywords = *list;
  std::erase(keywords, std::wstring());
  return keywords;
}

hresult_result<image_change> change_from(const property_values& values) {
  image_change change;
  for (const auto& [key, value] : values) {
    if (key == rating_key) {
      change.percent = percent_from(value);
      if (!change.percent) return hresult::invalid_argument;
    } else if (key == keywords_key) {
      change.keywords = keywords_from(value);
      if (!change.keywords) return hresult::invalid_argument;
    } else {
      return hresult::imaging_property_not_supported;
    }
  }
  return change;
}

class image_content final : public property_content {
 public:
  explicit image_content(image_file image)
      : property_content(std::move(image.file)), container_(std::move(image.container)) {}

  hresult_result<property_value> get(const property_key& key) override {
    if (key == rating_key) {
      const auto percent = image::read_rating(container_->blocks());
      return percent ? property_value(*percent) : property_value();
    }
    if (key != keywords_key) return property_value();
    auto keywords = image::read_keywords(container_->blocks());
    return keywords ? property_value(std::move(*keywords)) : property_value();
  }

  hresult_result<edit_plan> plan(const property_values& values) override {
    const hresult_result<image_change> change = change_from(values);
    if (!change) return change.error();
    std::optional<edit_plan> plan = image::plan_change(*container_, *change);
    if (!plan) return hresult::imaging_too_much_metadata;
    return *std::move(plan);
  }

 private:
  std::unique_ptr<image::image_container> container_;
};

hresult_result<std::unique_ptr<property_content>> open_image_content(const std::wstring& path, handler_access access) {
  hresult_result<image_file> image = image::open_image_file(path, access);
  if (!image) return image.error();
  return std::unique_ptr<property_content>(std::make_unique<image_content>(*std::move(image)));
}

}  // namespace

bool has_image_handler(const std::wstring& path) {
  static constexpr std::wstring_view extensions[] = {L".jpg", L".jpeg", L".jpe",  L".jfif",
                                                     L".png", L".tif",  L".tiff", L".webp"};
  const std::wstring extension = text::to_lower(paths::extension(path));
  return std::find(std::begin(extensions), std::end(extensions), extension) != std::end(extensions);
}

hresult_result<std::unique_ptr<property_store>> open_image_store(const std::wstring& path, handler_access access) {
  return open_content_store(path, access, open_image_content);
}

}  // namespace platform::host
