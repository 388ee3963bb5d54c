#include "platform/host/imaging.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/host/content_file.h"
#include "platform/host/image/image_file.h"
#include "platform/host/image/image_header.h"
#include "platform/host/image/image_metadata.h"
#include "text/conversions.h"

namespace platform::host {

namespace {

using image::container_kind;
using image::image_file;
using image::tiff_block;
using image::tiff_entry;
using image::tiff_tag;
using image::tiff_type;
using image::xmp_change;
using image::xmp_field;

struct query_root {
  std::wstring_view text;
  bool is_of_tiff;
};
constexpr query_root query_roots[] = {{L"/xmp/", false}, {L"/ifd/xmp/", true}, {L"/{ushort=700}/", true}};

std::optional<xmp_field> field_of(std::wstring_view query, container_kind kind) {
  for (const query_root& root : query_roots) {
    if (root.is_of_tiff != (kind == container_kind::tiff) || !query.starts_with(root.text)) continue;
    const std::wstring_view name = query.substr(root.text.size());
    if (name == L"xmp:Rating") return xmp_field::rating;
    if (name == L"dc:subject") return xmp_field::keywords;
  }
  return std::nullopt;
}

std::optional<std::vector<std::string>> values_of(const property_value& value, xmp_field field) {
  std::vector<std::string> values;
  if (image::name_of(field).is_bag) {
    const auto* list = std::get_if<std::vector<std::wstring>>(&value);
    if (list == nullptr) return std::nullopt;
    for (const std::wstring& text : *list)
      values.push_back(text::utf8_from_wide(text));
  } else {
    const auto* number = std::get_if<std::uint32_t>(&value);
    if (number == nullptr) return std::nullopt;
    values.push_back(std::to_string(*number));
  }
  return values;
}

class xmp_encoder final : public metadata_encoder {
 public:
  xmp_encoder(std::wstring path, container_kind kind) : path_(std::move(path)), kind_(kind) {}

  hresult set(const std::wstring& query, const property_value& value) override {
    const std::optional<xmp_field> field = field_of(query, kind_);
    if (!field) return hresult::imaging_property_not_found;
    std::optional<std::vector<std::string>> values = values_of(value, *field);
    if (!values) return hresult::invalid_argument;
    std::erase_if(changes_, [field](const xmp_change& change) { return change.field == *field; });
    changes_.push_back({*field, std::move(*values)});
    return hresult::ok;
  }

  // Reads the file again: an encoder of the same image may have changed it.
  hresult commit() override {
    const hresult_result<image_file> image = image::open_image_file(path_, handler_access::read_write);
    if (!image) return image.error();
    const std::optional<edit_plan> plan = image::plan_xmp_in_place(*image->container, changes_);
    if (!plan) return hresult::imaging_too_much_metadata;
    const win32_result<std::unique_ptr<file_rewrite>> rewrite = image->file.prepare(*plan);
    if (!rewrite) return hresult_from(rewrite.error());
    return *rewrite ? hresult_from((*rewrite)->commit()) : hresult::ok;
  }

 private:
  std::wstring path_;
  container_kind kind_;
  std::vector<xmp_change> changes_;
};

class xmp_decoder final : public image_decoder {
 public:
  xmp_decoder(std::wstring path, container_kind kind) : path_(std::move(path)), kind_(kind) {}

  hresult_result<std::unique_ptr<metadata_encoder>> frame_encoder() override { return container_encoder(); }
  hresult_result<std::unique_ptr<metadata_encoder>> container_encoder() override {
    return std::unique_ptr<metadata_encoder>(std::make_unique<xmp_encoder>(path_, kind_));
  }

 private:
  std::wstring path_;
  container_kind kind_;
};

// What a query for one field of the first image directory starts with.
struct directory_root {
  container_kind kind;
  std::wstring_view text;
};
constexpr directory_root directory_roots[] = {
    {container_kind::jpeg, L"/app1/ifd/"}, {container_kind::jpeg, L"/app1/{ushort=0}/"},
    {container_kind::png, L"/ifd/"},       {container_kind::tiff, L"/ifd/"},
    {container_kind::webp, L"/ifd/"},
};

// The tag in "{ushort=274}".
std::optional<tiff_tag> tag_in(std::wstring_view query) {
  constexpr std::wstring_view start = L"{ushort=";
  if (!query.starts_with(start) || !query.ends_with(L'}')) return std::nullopt;
  query = query.substr(start.size(), query.size() - start.size() - 1);
  std::uint32_t number = 0;
  for (const wchar_t c : query) {
    if (c < L'0' || c > L'9') return std::nullopt;
    number = number * 10 + static_cast<std::uint32_t>(c - L'0');
    if (number > UINT16_MAX) return std::nullopt;
  }
  if (query.empty()) return std::nullopt;
  return static_cast<tiff_tag>(number);
}

std::optional<tiff_tag> tag_of(std::wstring_view query, container_kind kind) {
  for (const directory_root& root : directory_roots) {
    if (root.kind == kind && query.starts_with(root.text)) return tag_in(query.substr(root.text.size()));
  }
  return std::nullopt;
}

property_value value_of(const tiff_block& block, tiff_tag tag, std::uint16_t type) {
  const std::optional<std::uint32_t> number = image::tiff_number(block, tag);
  if (!number) return other_type{};
  if (static_cast<tiff_type>(type) == tiff_type::unsigned_short) return static_cast<std::uint16_t>(*number);
  if (static_cast<tiff_type>(type) == tiff_type::unsigned_long) return *number;
  return other_type{};
}

class header_reader final : public image_reader {
 public:
  header_reader(content_file file, container_kind kind) : file_(std::move(file)), kind_(kind) {}

  hresult_result<image_size> size() override {
    const std::optional<image_size> size = image::stored_image_size(*file_.source, kind_);
    if (!size) return failure(hresult::imaging_unknown_format);
    return *size;
  }

  hresult_result<property_value> get(const std::wstring& query) override {
    const std::optional<tiff_tag> tag = tag_of(query, kind_);
    if (!tag) return hresult::imaging_property_not_found;
    const std::optional<tiff_block> block = image::first_image_directory(*file_.source, kind_);
    const tiff_entry* entry = block ? block->directory.find(*tag) : nullptr;
    if (entry == nullptr) return failure(hresult::imaging_property_not_found);
    return value_of(*block, *tag, entry->type);
  }

 private:
  // What couldn't be read was perhaps there.
  [[nodiscard]] hresult failure(hresult otherwise) const {
    const win32_error unread = file_.source->failure();
    return succeeded(unread) ? otherwise : hresult_from(unread);
  }

  content_file file_;
  container_kind kind_;
};

class host_imaging final : public imaging {
 public:
  hresult_result<std::unique_ptr<image_decoder>> open(const std::wstring& path) override {
    const hresult_result<image_file> image = image::open_image_file(path, handler_access::read_write);
    if (!image) return image.error();
    return std::unique_ptr<image_decoder>(std::make_unique<xmp_decoder>(path, image->container->kind()));
  }

  hresult_result<std::unique_ptr<image_reader>> open_for_reading(const std::wstring& path) override {
    hresult_result<content_file> file = open_content_file(path, handler_access::read, hresult::imaging_unknown_format);
    if (!file) return file.error();
    const std::optional<container_kind> kind = image::image_kind(*file->source);
    if (const win32_error unread = file->source->failure(); !succeeded(unread)) return hresult_from(unread);
    if (!kind) return hresult::imaging_unknown_format;
    return std::unique_ptr<image_reader>(std::make_unique<header_reader>(*std::move(file), *kind));
  }
};

}  // namespace

imaging& imaging_instance() {
  static host_imaging instance;
  return instance;
}

}  // namespace platform::host
