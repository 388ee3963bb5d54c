#include "support/simulated_images.h"

#include <utility>

#include "support/call_texts.h"
#include "text/conversions.h"
#include "text/format.h"
#include "text/letter_case.h"

namespace support {

using platform::access;
using platform::hresult;
using platform::hresult_result;
using platform::image_decoder;
using platform::image_reader;
using platform::image_size;
using platform::metadata_encoder;
using platform::property_value;
using platform::share;

// What the objects made from one opened image have in common.
struct open_image {
  simulated_calls& calls;
  simulated_disk& disk;
  simulated_image& image;
  std::wstring path;
  std::unique_ptr<disk_claim> claim;

  [[nodiscard]] std::string name() const { return text::utf8_from_wide(path); }
};

namespace {

class simulated_encoder final : public metadata_encoder {
 public:
  simulated_encoder(std::shared_ptr<open_image> opened, const std::set<std::wstring>& queries)
      : opened_(std::move(opened)), queries_(queries) {}
  ~simulated_encoder() override { const auto guard = opened_->calls.record("release_encoder", opened_->name()); }
  simulated_encoder(const simulated_encoder&) = delete;
  simulated_encoder& operator=(const simulated_encoder&) = delete;

  hresult set(const std::wstring& query, const platform::property_value& value) override {
    const auto guard = opened_->calls.record(
        "set_metadata", text::format("{}, {}, {}", opened_->name(), text::utf8_from_wide(query), value_text(value)));
    const auto refused = opened_->calls.refusal<hresult>("set_metadata", opened_->path);
    if (!succeeded(refused)) return refused;
    if (!queries_.contains(query)) return hresult::imaging_property_not_found;
    staged_[query] = value;
    return hresult::ok;
  }

  hresult commit() override {
    const auto guard = opened_->calls.record("commit_metadata", opened_->name());
    const auto refused = opened_->calls.refusal<hresult>("commit_metadata", opened_->path);
    if (!succeeded(refused)) return refused;
    if (!opened_->image.has_room) return hresult::imaging_too_much_metadata;
    for (const auto& [query, value] : staged_)
      opened_->image.written[query] = value;
    staged_.clear();
    opened_->disk.touch(opened_->claim->entry());
    return hresult::ok;
  }

 private:
  std::shared_ptr<open_image> opened_;
  const std::set<std::wstring>& queries_;
  std::map<std::wstring, platform::property_value> staged_;
};

class simulated_decoder final : public image_decoder {
 public:
  explicit simulated_decoder(std::shared_ptr<open_image> opened) : opened_(std::move(opened)) {}

  hresult_result<std::unique_ptr<metadata_encoder>> frame_encoder() override {
    return encoder("frame_encoder", opened_->image.frame_error, opened_->image.frame_queries);
  }
  hresult_result<std::unique_ptr<metadata_encoder>> container_encoder() override {
    return encoder("container_encoder", opened_->image.container_error, opened_->image.container_queries);
  }

 private:
  hresult_result<std::unique_ptr<metadata_encoder>> encoder(std::string_view operation, hresult error,
                                                            const std::set<std::wstring>& queries) {
    const auto guard = opened_->calls.record(operation, opened_->name());
    const auto refused = opened_->calls.refusal<hresult>(operation, opened_->path);
    if (!succeeded(refused)) return refused;
    if (!succeeded(error)) return error;
    return std::unique_ptr<metadata_encoder>(std::make_unique<simulated_encoder>(opened_, queries));
  }

  std::shared_ptr<open_image> opened_;
};

class simulated_reader final : public image_reader {
 public:
  explicit simulated_reader(std::shared_ptr<open_image> opened) : opened_(std::move(opened)) {}

  hresult_result<image_size> size() override {
    const auto guard = opened_->calls.record("image_size", opened_->name());
    const auto refused = opened_->calls.refusal<hresult>("image_size", opened_->path);
    if (!succeeded(refused)) return refused;
    return opened_->image.size;
  }

  hresult_result<property_value> get(const std::wstring& query) override {
    const auto guard =
        opened_->calls.record("get_metadata", text::format("{}, {}", opened_->name(), text::utf8_from_wide(query)));
    const auto refused = opened_->calls.refusal<hresult>("get_metadata", opened_->path);
    if (!succeeded(refused)) return refused;
    const auto found = opened_->image.values.find(query);
    if (found == opened_->image.values.end()) return hresult::imaging_property_not_found;
    return found->second;
  }

 private:
  std::shared_ptr<open_image> opened_;
};

}  // namespace

hresult_result<std::shared_ptr<open_image>> simulated_images::open(const std::wstring& path, access access) {
  const auto entry = disk_.find(path);
  if (!entry) return hresult_from(entry.error());
  const bool for_writing = access != platform::access::read;
  const auto refusing = platform::attribute::directory | (for_writing ? platform::attribute::read_only : 0);
  if ((*entry)->has(refusing)) return hresult::access_denied;
  const auto found = images_.find(text::to_lower(path));
  if (found == images_.end()) return hresult::imaging_unknown_format;
  if (!succeeded(found->second.open_error)) return found->second.open_error;
  auto claim = disk_.claim(*entry, {access, share::read});
  if (!claim) return hresult_from(claim.error());
  // Not make_shared: clang initialises aggregates in braces only.
  return std::shared_ptr<open_image>(new open_image{calls_, disk_, found->second, path, *std::move(claim)});
}

hresult_result<std::unique_ptr<image_decoder>> simulated_images::open(const std::wstring& path) {
  const auto guard = calls_.record("open_image", text::utf8_from_wide(path));
  const auto refused = calls_.refusal<hresult>("open_image", path);
  if (!succeeded(refused)) return refused;
  auto opened = open(path, access::read | access::write);
  if (!opened) return opened.error();
  return std::unique_ptr<image_decoder>(std::make_unique<simulated_decoder>(*std::move(opened)));
}

hresult_result<std::unique_ptr<image_reader>> simulated_images::open_for_reading(const std::wstring& path) {
  const auto guard = calls_.record("open_image_for_reading", text::utf8_from_wide(path));
  const auto refused = calls_.refusal<hresult>("open_image_for_reading", path);
  if (!succeeded(refused)) return refused;
  auto opened = open(path, access::read);
  if (!opened) return opened.error();
  return std::unique_ptr<image_reader>(std::make_unique<simulated_reader>(*std::move(opened)));
}

simulated_image& simulated_images::image(std::wstring_view path) { return images_[text::to_lower(path)]; }

}  // namespace support
