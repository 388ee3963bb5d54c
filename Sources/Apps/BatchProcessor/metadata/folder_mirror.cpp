#include "metadata/folder_mirror.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "logging/log.h"
#include "platform/machine.h"
#include "text/letter_case.h"
#include "text/paths.h"
#include "text/system_errors.h"
#include "text/tag_list.h"

namespace quill_box::metadata {

using platform::win32_error;
using platform::win32_result;
namespace attribute = platform::attribute;

namespace {

constexpr const wchar_t* own_section = L"QuillBox";
constexpr const wchar_t* tags_key = L"Tags";
constexpr const wchar_t* rating_key = L"Rating";
constexpr const wchar_t* property_section = L"{F29F85E0-4FF9-1068-AB91-08002B27B3D9}";
constexpr const wchar_t* keywords_key = L"Prop5";
constexpr std::wstring_view string_type_prefix = L"31,";
// What of a value stands beyond it isn't read. Of Prop5 that is lost when it is written again, other programs' keywords
// too: kept on purpose.
constexpr std::size_t profile_buffer = 4096;
constexpr std::uint32_t protective_attributes = attribute::read_only | attribute::hidden | attribute::system;

using tag_vector = std::vector<std::wstring>;

bool contains(std::span<const std::wstring> list, const std::wstring& tag) {
  return std::any_of(list.begin(), list.end(),
                     [&tag](const std::wstring& entry) { return text::equal_ignoring_case(entry, tag); });
}

std::optional<std::wstring> joined_unless_empty(std::span<const std::wstring> tags) {
  if (tags.empty()) return std::nullopt;
  return text::join_tag_list(tags);
}

// One desktop.ini while it is changed: writable meanwhile, protected again afterwards.
class desktop_ini {
 public:
  explicit desktop_ini(const std::wstring& folder) : path_(desktop_ini_path(folder)) {
    const auto attributes = platform::current().files.attributes(path_);
    missing_ = !attributes;
    if (attributes) {
      old_attributes_ = *attributes;
    } else if (attributes.error() != win32_error::file_not_found && attributes.error() != win32_error::path_not_found) {
      note(attributes.error());
    }
  }

  [[nodiscard]] bool missing() const { return missing_; }

  void make_writable() {
    if (missing_) return create();
    if ((old_attributes_.value_or(0) & protective_attributes) == 0) return;
    note(platform::current().files.set_attributes(path_, attribute::normal));
  }

  // Of a file that is there and whose attributes couldn't be read they are left alone.
  void protect_again() {
    if (!missing_ && !old_attributes_) return;
    note(platform::current().files.set_attributes(path_,
                                                  old_attributes_.value_or(attribute::hidden | attribute::system)));
  }

  void write(const wchar_t* section, const wchar_t* key, const std::optional<std::wstring>& value) {
    note(platform::current().profiles.write(path_, section, key, value));
  }

  void delete_own_section() { note(platform::current().profiles.delete_section(path_, own_section)); }

  [[nodiscard]] win32_result<tag_vector> read_keywords() const {
    const auto text = platform::current().profiles.read(path_, property_section, keywords_key, profile_buffer);
    if (!text) return text.error();
    std::wstring_view list = *text;
    if (list.starts_with(string_type_prefix)) list.remove_prefix(string_type_prefix.size());
    return text::split_tag_list(list);
  }

  // Every step runs whatever became of the one before; the first failure is told.
  void note(win32_error error) {
    if (succeeded(failure_)) failure_ = error;
  }

  void log_failure() const {
    if (succeeded(failure_)) return;
    logging::log(logging::level::warning, "Folder metadata: {} could not be brought up to date: {}", path_,
                 text::system_error_text(failure_));
  }

 private:
  // With a byte order mark and an empty line: the profile functions keep such a file in UTF-16.
  void create() {
    constexpr std::array start = {std::byte{0xff}, std::byte{0xfe}, std::byte{0x0d},
                                  std::byte{0x00}, std::byte{0x0a}, std::byte{0x00}};
    auto file = platform::current().files.open(
        path_, {platform::access::write, platform::share::none, platform::disposition::create_new});
    if (file.error() == win32_error::file_exists) {
      missing_ = false;
      return;
    }
    if (!file) return note(file.error());
    const auto written = (*file)->write(start);
    const win32_error closed = (*file)->close();
    note(written ? closed : written.error());
    if (written && *written != start.size()) note(win32_error::disk_full);
  }

  std::wstring path_;
  std::optional<std::uint32_t> old_attributes_;
  bool missing_ = false;
  win32_error failure_ = win32_error::success;
};

void write_own_section(desktop_ini& ini, std::span<const std::wstring> tags, int stars) {
  if (tags.empty() && stars == 0) return ini.delete_own_section();
  ini.write(own_section, tags_key, joined_unless_empty(tags));
  ini.write(own_section, rating_key, stars == 0 ? std::nullopt : std::optional(std::to_wstring(stars)));
}

void write_keywords(desktop_ini& ini, std::span<const std::wstring> old_tags, std::span<const std::wstring> new_tags) {
  if (old_tags.empty() && new_tags.empty()) return;
  // Other programs' keywords go with the last own tag.
  if (new_tags.empty()) return ini.write(property_section, keywords_key, std::nullopt);
  auto old_keywords = ini.read_keywords();
  // There may be keywords of other programs among them.
  if (!old_keywords) return ini.note(old_keywords.error());
  const tag_vector keywords = merged_keywords(*std::move(old_keywords), old_tags, new_tags);
  ini.write(property_section, keywords_key, std::wstring(string_type_prefix) + text::join_tag_list(keywords));
}

}  // namespace

std::wstring desktop_ini_path(const std::wstring& folder) { return paths::join(folder, L"desktop.ini"); }

win32_result<tag_vector> read_own_folder_tags(const std::wstring& folder) {
  const auto list = platform::current().profiles.read(desktop_ini_path(folder), own_section, tags_key, profile_buffer);
  if (!list) return list.error();
  return text::split_tag_list(*list);
}

tag_vector merged_keywords(tag_vector keywords, std::span<const std::wstring> old_tags,
                           std::span<const std::wstring> new_tags) {
  std::erase_if(keywords, [&](const std::wstring& keyword) { return contains(old_tags, keyword); });
  for (const std::wstring& tag : new_tags) {
    if (!contains(keywords, tag)) keywords.push_back(tag);
  }
  return keywords;
}

void mirror_folder_metadata(const std::wstring& folder, std::span<const std::wstring> tags, int stars) {
  const win32_result<tag_vector> old_tags = read_own_folder_tags(folder);
  desktop_ini ini(folder);
  if (!old_tags) ini.note(old_tags.error());
  if (!ini.missing() || !tags.empty() || stars != 0) {
    ini.make_writable();
    write_own_section(ini, tags, stars);
    // Without the old tags ours can't be told from those of other programs.
    if (old_tags) write_keywords(ini, *old_tags, tags);
    ini.protect_again();
  }
  ini.log_failure();
}

}  // namespace quill_box::metadata
