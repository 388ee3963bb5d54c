#include "platform/host/image/image_property_store.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/host/content_store.h"
#include "platform/host/image/image_file.h"
#include "platform/host/image/image_metadata.h"
#include "platform/host/image/photo_facts.h"
#include "platform/property_keys.h"
#include "text/letter_case.h"
#include "text/paths.h"

namespace platform::host {

namespace {

using image::gps_angle;
using image::gps_axis;
using image::image_change;
using image::image_file;
using image::metadata_blocks;

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

template <class T>
property_value value_or_empty(std::optional<T> value) {
  return value ? property_value(*std::move(value)) : property_value();
}

property_value date_taken(const metadata_blocks& blocks) {
  const std::optional<file_time> date = image::read_date_taken(blocks);
  return date ? property_value(time_value{*date}) : property_value();
}

template <gps_axis axis>
property_value decimal_degrees(const metadata_blocks& blocks) {
  const std::optional<gps_angle> angle = image::read_angle(blocks, axis);
  return angle ? property_value(angle->decimal()) : property_value();
}

template <gps_axis axis>
property_value degrees(const metadata_blocks& blocks) {
  const std::optional<gps_angle> angle = image::read_angle(blocks, axis);
  return angle ? property_value(std::vector<double>(angle->parts.begin(), angle->parts.end())) : property_value();
}

template <gps_axis axis>
property_value reference(const metadata_blocks& blocks) {
  const std::optional<gps_angle> angle = image::read_angle(blocks, axis);
  return angle ? property_value(angle->reference) : property_value();
}

struct readable_property {
  const property_key& key;
  property_value (*read)(const metadata_blocks& blocks);
};

constexpr readable_property readable_properties[] = {
    {rating_key, [](const metadata_blocks& blocks) { return value_or_empty(image::read_rating(blocks)); }},
    {keywords_key, [](const metadata_blocks& blocks) { return value_or_empty(image::read_keywords(blocks)); }},
    {date_taken_key, date_taken},
    {latitude_decimal_key, decimal_degrees<gps_axis::latitude>},
    {longitude_decimal_key, decimal_degrees<gps_axis::longitude>},
    {latitude_key, degrees<gps_axis::latitude>},
    {longitude_key, degrees<gps_axis::longitude>},
    {latitude_ref_key, reference<gps_axis::latitude>},
    {longitude_ref_key, reference<gps_axis::longitude>},
};

class image_content final : public property_content {
 public:
  explicit image_content(image_file image)
      : property_content(std::move(image.file)), container_(std::move(image.container)) {}

  hresult_result<property_value> get(const property_key& key) override {
    const auto found = std::find_if(std::begin(readable_properties), std::end(readable_properties),
                                    [&key](const readable_property& known) { return known.key == key; });
    if (found == std::end(readable_properties)) return property_value();
    property_value value = found->read(container_->blocks());
    // Part of the metadata is read only now. What can't be read isn't absent.
    if (const win32_error unread = file().source->failure(); !succeeded(unread)) return hresult_from(unread);
    return value;
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
