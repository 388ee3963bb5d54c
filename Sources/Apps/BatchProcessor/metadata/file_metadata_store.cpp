#include "metadata/file_metadata_store.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <new>
#include <stdexcept>
#include <utility>
#include <variant>

#include "logging/log.h"
#include "metadata/embedded_metadata.h"
#include "metadata/folder_mirror.h"
#include "metadata/people_regions.h"
#include "metadata/property_set_writer.h"
#include "metadata/rating_scale.h"
#include "metadata/xmp_packet_patch.h"
#include "metadata/xmp_sidecar.h"
#include "platform/machine.h"
#include "platform/property_keys.h"
#include "text/format.h"
#include "text/letter_case.h"
#include "text/system_errors.h"

namespace quill_box::metadata {

using platform::hresult;
using platform::property_key;
using platform::property_value;
using platform::storage_failure;
namespace attribute = platform::attribute;

namespace {

constexpr const char* failed_to_get_tags = "Failed to get tags";
constexpr const char* no_memory_for_tags = "Failed to allocate memory for tags";

constexpr int set_attempts = 3;
constexpr int counted_commit_failures = 3;
constexpr std::chrono::milliseconds wait_between_attempts(50);

// What makes a folder refuse its property set.
constexpr std::uint32_t refusing_attributes = attribute::read_only | attribute::system;

template <std::size_t size>
bool is_any_of(hresult code, const std::array<hresult, size>& codes) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}

// storage_path_not_found isn't among them by design.
bool means_not_found(hresult code) {
  return is_any_of(code, std::array{hresult::storage_file_not_found, hresult::file_not_found, hresult::path_not_found});
}

// Behind out_of_memory the store was never asked.
bool is_final(hresult code) {
  return succeeded(code) || is_any_of(code, std::array{hresult::imaging_property_not_supported,
                                                       hresult::storage_access_denied, hresult::out_of_memory});
}

bool is_sharing_violation(hresult code) {
  return is_any_of(code, std::array{hresult::storage_sharing_violation, hresult::sharing_violation});
}

// From a store whose file type has no such property: as good as a property that isn't there.
bool means_no_such_property(hresult code) {
  return is_any_of(code, std::array{hresult::imaging_property_not_found, hresult::imaging_property_not_supported,
                                    hresult::not_supported, hresult::not_implemented});
}

bool is_directory(std::uint32_t attributes) { return (attributes & attribute::directory) != 0; }
bool is_cloud_placeholder(std::uint32_t attributes) { return (attributes & attribute::cloud_placeholder) != 0; }

using tag_vector = std::vector<std::wstring>;

property_value sorted_ignoring_case(std::span<const std::wstring> tags) {
  try {
    tag_vector sorted(tags.begin(), tags.end());
    std::stable_sort(sorted.begin(), sorted.end(), [](const std::wstring& a, const std::wstring& b) {
      return text::compare_ignoring_case(a, b) < 0;
    });
    return sorted;
  } catch (const std::bad_alloc&) {
    throw std::runtime_error(no_memory_for_tags);
  }
}

void log_sidecar_fallback(std::wstring_view purpose, const std::wstring& path) {
  logging::log(logging::level::warning, "Embedded and NTFS write paths failed for {}, falling back to XMP sidecar: {}",
               purpose, path);
}

}  // namespace

bool file_metadata_store::open_for_write(const std::wstring& path) {
  if (path.empty()) return false;
  close_if_on_another_path(path);
  const auto attributes = platform::current().files.attributes(path);
  if (!attributes || is_cloud_placeholder(*attributes)) return false;
  if (open_mode_ == open_mode::reading) close();
  is_folder_ = is_directory(*attributes);
  if (is_folder_) {
    const storage_failure failure = open_property_set_for_write(path, *attributes);
    if (succeeded(failure)) return true;
    logging::log(logging::level::warning, "Folder metadata: {} takes no rating and no tags: {}", path,
                 text::hresult_message(failure.code));
    return false;
  }
  auto store = platform::current().properties.open_handler_store(path, platform::handler_access::read_write);
  if (store) {
    adopt(*std::move(store), path, open_mode::writing);
    return true;
  }
  if (succeeded(open_property_set_for_write(path, *attributes))) return true;
  if (means_not_found(store.error())) return false;
  throw std::runtime_error(
      text::format("Failed to write new metadata. Error provided by Windows: {} Error code: 0x{:08x}",
                   text::hresult_message(store.error()), code_of(store.error())));
}

bool file_metadata_store::open_for_read(const std::wstring& path, read_speed speed) {
  if (path.empty()) return false;
  close_if_on_another_path(path);
  const auto attributes = attributes_for_read(path);
  if (!attributes) return false;
  is_folder_ = is_directory(*attributes);
  if (is_folder_) return open_property_set_for_read(path);

  using platform::handler_access;
  platform::property_system& properties = platform::current().properties;
  const bool is_link = (*attributes & attribute::reparse_point) != 0;
  const bool handler_only = speed == read_speed::fast && !is_link;
  auto store = properties.open_handler_store(
      path, handler_only ? handler_access::handler_properties_only : handler_access::read);
  if (!store && speed == read_speed::fast) store = properties.open_handler_store(path, handler_access::read);
  if (store) {
    adopt(*std::move(store), path, open_mode::reading);
    return true;
  }
  if (open_property_set_for_read(path)) return true;
  // A file that became a placeholder meanwhile has no failure to tell.
  if (blocked_by_placeholder_) return false;
  // Not the opening's own result: the system's last error decides and is shown, on purpose also where it is none.
  const hresult code = hresult_from(last_failure_.last_error);
  if (means_not_found(code)) return false;
  throw std::runtime_error(
      text::format("Failed to open metadata 0x{:08X} {}", code_of(code), text::hresult_message(code)));
}

bool file_metadata_store::open_property_set_for_read(const std::wstring& path) try {
  close_if_on_another_path(path);
  if (property_store_) {
    blocked_by_placeholder_ = false;
    last_failure_ = {};
    return true;
  }
  const auto attributes = attributes_for_read(path);
  if (!attributes) return false;
  last_failure_ = open_property_set(path, *attributes, open_mode::reading);
  return succeeded(last_failure_);
} catch (const std::bad_alloc&) {
  last_failure_ = {hresult::out_of_memory, platform::win32_error::not_enough_memory};
  return false;
}

// None, with the reason kept, for a path that must not be opened.
std::optional<std::uint32_t> file_metadata_store::attributes_for_read(const std::wstring& path) {
  const auto attributes = platform::current().files.attributes(path);
  last_failure_ = {hresult_from(attributes.error()), attributes.error()};
  blocked_by_placeholder_ = attributes && is_cloud_placeholder(*attributes);
  if (!attributes || blocked_by_placeholder_) return std::nullopt;
  return *attributes;
}

storage_failure file_metadata_store::open_property_set_for_write(const std::wstring& path, std::uint32_t attributes) {
  if (open_mode_ == open_mode::writing) return {};
  if (is_directory(attributes)) unprotect_folder(path, attributes);
  try {
    const storage_failure failure = open_property_set(path, attributes, open_mode::writing);
    if (!succeeded(failure)) protect_folder_again(path);
    return failure;
  } catch (const std::bad_alloc&) {
    // close() doesn't know the path of what isn't open.
    protect_folder_again(path);
    throw;
  }
}

storage_failure file_metadata_store::open_property_set(const std::wstring& path, std::uint32_t attributes,
                                                       open_mode mode) {
  using platform::storage_access;
  using platform::store_access;
  const bool for_writing = mode == open_mode::writing;
  const auto storage = platform::current().properties.open_property_set_storage(
      path, for_writing ? storage_access::read_write_exclusive : storage_access::read_deny_write);
  if (!storage) return storage.error();
  auto store = (*storage)->create_store(for_writing ? store_access::read_write : store_access::read);
  if (!store) return store.error();
  adopt(*std::move(store), path, mode);
  is_folder_ = is_directory(attributes);
  return {};
}

void file_metadata_store::adopt(std::unique_ptr<platform::property_store> store, const std::wstring& path,
                                open_mode mode) {
  path_ = path;  // first, as it may fail
  property_store_ = std::move(store);
  open_mode_ = mode;
}

void file_metadata_store::close_if_on_another_path(const std::wstring& path) {
  if (property_store_ && path_ != path) close();
}

void file_metadata_store::close() {
  property_store_.reset();
  protect_folder_again(path_);
  path_.clear();
  open_mode_ = open_mode::closed;
  is_folder_ = false;
}

void file_metadata_store::unprotect_folder(const std::wstring& path, std::uint32_t attributes) {
  if ((attributes & refusing_attributes) == 0) return;
  // Where this fails, so will the open that follows.
  if (!succeeded(platform::current().files.set_attributes(path, attributes & ~refusing_attributes))) return;
  saved_folder_attributes_ = attributes;
}

void file_metadata_store::protect_folder_again(const std::wstring& path) {
  if (saved_folder_attributes_ == 0) return;
  const auto restored = platform::current().files.set_attributes(path, std::exchange(saved_folder_attributes_, 0));
  if (succeeded(restored)) return;
  logging::log(logging::level::warning, "Folder metadata: {} could not be given its attributes back: {}", path,
               text::system_error_text(restored));
}

void file_metadata_store::commit() {
  if (!property_store_) return;
  // Only sharing violations are counted: any other failure is tried again at once, without a bound and on purpose.
  hresult committed = hresult::fail;
  for (int counted = 0; !succeeded(committed) && counted < counted_commit_failures;) {
    committed = property_store_->commit();
    if (!is_sharing_violation(committed)) continue;
    ++counted;
    platform::current().clock.sleep(wait_between_attempts);
  }
  if (!succeeded(committed)) {
    throw std::runtime_error(text::format("Failed to commit changes to metadata. Error: 0x{:08X}", code_of(committed)));
  }
  if (!is_folder_) return;
  const tag_vector tags = read_keywords().value_or(tag_vector());
  bool has_rating = false;
  mirror_folder_metadata(path_, tags, get_rating(has_rating));
}

platform::hresult_result<property_value> file_metadata_store::get_value(const property_key& key) const {
  if (!property_store_) return hresult::fail;
  return property_store_->get(key);
}

hresult file_metadata_store::set_value_with_retry(const property_key& key, const property_value& value) {
  hresult set = hresult::fail;
  for (int attempt = 0; property_store_ && attempt < set_attempts; ++attempt) {
    set = property_store_->set(key, value);
    if (is_final(set)) break;
    platform::current().clock.sleep(wait_between_attempts);
  }
  return set;
}

// The file must be free for its property set. Closing forgets the path, so `path` is a copy.
bool file_metadata_store::close_and_write_to_property_set(const std::wstring& path, const property_key& key,
                                                          const property_value& value) {
  if (open_mode_ == open_mode::writing) close();
  return write_property_to_ntfs_set(path, key, value);
}

void file_metadata_store::set_rating(int stars) {
  const property_value percent = percent_from_stars(stars);
  if (succeeded(set_value_with_retry(platform::rating_key, percent))) return;
  // All other routes but the property set hold the star number.
  const int shown_stars = stars < 0 || stars > most_stars ? rating_off_the_scale : stars;
  const std::wstring path = path_;
  if (write_embedded_rating(path, shown_stars) || patch_rating_in_file(path, shown_stars)) return;
  if (close_and_write_to_property_set(path, platform::rating_key, percent)) return;
  log_sidecar_fallback(L"rating", path);
  if (!write_rating_sidecar(path, shown_stars)) throw std::runtime_error("Failed to set rating");
}

void file_metadata_store::set_tags(std::span<const std::wstring> tags) {
  const property_value sorted = sorted_ignoring_case(tags);
  const hresult set = set_value_with_retry(platform::keywords_key, sorted);
  if (set == hresult::out_of_memory) throw std::runtime_error(no_memory_for_tags);
  if (!succeeded(set)) store_keywords_elsewhere(sorted, L"keywords", "Failed to set tags");
}

void file_metadata_store::remove_all_tags() {
  const property_value none = tag_vector();
  if (succeeded(set_value_with_retry(platform::keywords_key, none))) return;
  store_keywords_elsewhere(none, L"removing keywords", "Failed to remove all tags");
}

void file_metadata_store::store_keywords_elsewhere(const property_value& value, std::wstring_view purpose,
                                                   const char* failure) {
  const std::span<const std::wstring> tags = std::get<tag_vector>(value);
  const std::wstring path = path_;
  if (write_embedded_keywords(path, tags) || close_and_write_to_property_set(path, platform::keywords_key, value))
    return;
  log_sidecar_fallback(purpose, path);
  if (!write_keywords_sidecar(path, tags)) throw std::runtime_error(failure);
}

int file_metadata_store::get_rating(bool& has_value) const {
  has_value = false;
  if (!property_store_) return 0;
  const auto value = property_store_->get(platform::rating_key);
  if (!value) throw std::runtime_error("Failed to get rating");
  const auto* plain = std::get_if<std::uint32_t>(&*value);
  const auto* with_sign = std::get_if<std::int32_t>(&*value);
  has_value = plain != nullptr || with_sign != nullptr;
  if (!has_value) return 0;
  // A negative number is as far off the scale as the large one that it becomes.
  return stars_from_percent(plain != nullptr ? *plain : static_cast<std::uint32_t>(*with_sign));
}

tag_vector file_metadata_store::get_tags() const {
  if (!property_store_) return {};
  if (auto tags = read_keywords()) return *std::move(tags);
  if (!is_folder_) return {};
  auto tags = read_own_folder_tags(path_);
  if (!tags) throw std::runtime_error(failed_to_get_tags);
  return *std::move(tags);
}

std::vector<people_region> file_metadata_store::get_people_regions() const { return read_people_regions(path_); }

bool file_metadata_store::set_people_regions(std::span<const people_region> regions) {
  return replace_people_regions(path_, regions);
}

// None where there is no list. A read that fails must not pass for an empty list: what is stored next would drop the
// tags that are there.
std::optional<tag_vector> file_metadata_store::read_keywords() const {
  auto value = property_store_->get(platform::keywords_key);
  if (!value && means_no_such_property(value.error())) return std::nullopt;
  if (!value) throw std::runtime_error(failed_to_get_tags);
  auto* list = std::get_if<tag_vector>(&*value);
  if (list == nullptr) return std::nullopt;
  return std::move(*list);
}

}  // namespace quill_box::metadata
