// The header object (Advanced Systems Format, 3.1): identifier (16 bytes), size with itself (64 bits), number of
// objects (32), two reserved bytes; objects of identifier, size (64) and content. All numbers are little-endian.
// Nothing outside of the header counts from the start of the file, so that the header may grow.
#include "platform/host/media/asf_rating.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "platform/host/byte_order.h"
#include "platform/host/edit_plan.h"

namespace platform::host::media {

namespace {

constexpr std::string_view header_id("\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C", 16);
constexpr std::string_view description_id("\x40\xA4\xD0\xD2\x07\xE3\xD2\x11\x97\xF0\x00\xA0\xC9\x5E\xA8\x50", 16);
constexpr std::string_view file_id("\xA1\xDC\xAB\x8C\x47\xA9\xCF\x11\x8E\xE4\x00\xC0\x0C\x20\x53\x65", 16);
constexpr std::string_view padding_id("\x74\xD4\x06\x18\xDF\xCA\x09\x45\xA4\xBA\x9A\xAB\xCB\x96\xAA\xE8", 16);
constexpr std::string_view signature_id("\xFC\xB3\x11\x22\x23\xBD\xD2\x11\xB4\xB7\x00\xA0\xC9\x55\xFC\x6E", 16);

constexpr std::size_t header_size = 30;
constexpr std::size_t object_header = 24;
constexpr std::uint64_t greatest_header = 64 << 20;
constexpr std::size_t most_objects = 65536;
constexpr std::size_t room_for_next_time = 2048;
constexpr std::uint64_t double_word = 3;

struct asf_object {
  std::string id;
  std::string content;
};

struct descriptor {
  std::string name;  ///< UTF-16, with its terminating zero if it has one
  std::uint64_t type = 0;
  std::string value;
};

struct asf_file {
  std::string header;
  std::vector<asf_object> objects;
  std::optional<std::size_t> description;  ///< the object with the rating, else the first that could have it
  std::vector<descriptor> descriptors;
  std::optional<std::uint32_t> percent;
};

/// WM/SharedUserRating as stored, with its terminating zero.
std::string rating_name() {
  std::string wide;
  for (const char c : std::string_view("WM/SharedUserRating"))
    wide += {c, '\0'};
  return wide.append(2, '\0');
}

bool is_rating(const descriptor& entry) {
  const std::string name = rating_name();
  return entry.name == name || entry.name == std::string_view(name).substr(0, name.size() - 2);
}

bool read_objects(asf_file& file) {
  const std::string_view header = file.header;
  std::size_t at = header_size;
  while (at < header.size()) {
    if (header.size() - at < object_header || file.objects.size() == most_objects) return false;
    const std::uint64_t size = get_little(header, at + 16, 8);
    if (size < object_header || size > header.size() - at) return false;
    const auto content_size = size - object_header;
    file.objects.push_back(
        {std::string(header.substr(at, 16)), std::string(header.substr(at + object_header, content_size))});
    at += object_header + content_size;
  }
  return file.objects.size() == get_little(header, 24, 4);
}

/// The number of descriptors (16 bits); for each the length of its name, the name, the type of its value, the length of
/// that (16 each), and the value. None where they don't fill the content.
std::optional<std::vector<descriptor>> read_descriptors(std::string_view content) {
  if (content.size() < 2) return std::nullopt;
  const std::uint64_t count = get_little(content, 0, 2);
  std::size_t at = 2;
  const auto number = [&]() -> std::optional<std::size_t> {
    if (content.size() - at < 2) return std::nullopt;
    at += 2;
    return get_little(content, at - 2, 2);
  };
  const auto text = [&](std::optional<std::size_t> length) -> std::optional<std::string> {
    if (!length || *length > content.size() - at) return std::nullopt;
    at += *length;
    return std::string(content.substr(at - *length, *length));
  };
  std::vector<descriptor> found;
  for (std::uint64_t i = 0; i < count; ++i) {
    auto name = text(number());
    const auto type = name ? number() : std::nullopt;
    auto value = type ? text(number()) : std::nullopt;
    if (!value) return std::nullopt;
    found.push_back({*std::move(name), *type, *std::move(value)});
  }
  return at == content.size() ? std::optional(std::move(found)) : std::nullopt;
}

std::string descriptor_bytes(const std::vector<descriptor>& descriptors) {
  std::string content = little_bytes(descriptors.size(), 2);
  for (const descriptor& entry : descriptors) {
    content += little_bytes(entry.name.size(), 2) + entry.name + little_bytes(entry.type, 2);
    content += little_bytes(entry.value.size(), 2) + entry.value;
  }
  return content;
}

/// False where a description can't be decoded, where a rating isn't a number of 32 bits, or two objects have one.
bool read_descriptions(asf_file& file) {
  for (std::size_t i = 0; i < file.objects.size(); ++i) {
    if (file.objects[i].id != description_id) continue;
    auto descriptors = read_descriptors(file.objects[i].content);
    if (!descriptors) return false;
    const auto rating = std::find_if(descriptors->begin(), descriptors->end(), is_rating);
    const bool rated = rating != descriptors->end();
    if (rated && (rating->type != double_word || rating->value.size() != 4)) return false;
    if (rated && file.percent) return false;
    if (file.description && !rated) continue;
    if (rated) file.percent = static_cast<std::uint32_t>(get_little(rating->value, 0, 4));
    file.description = i;
    file.descriptors = *std::move(descriptors);
  }
  return true;
}

hresult_result<asf_file> parse(byte_source& source) {
  const auto start = source.read(0, header_size);
  if (!start || !start->starts_with(header_id)) return hresult::fail;
  const std::uint64_t size = get_little(*start, 16, 8);
  if (size < header_size || size > greatest_header || !start->ends_with("\x01\x02")) return hresult::fail;
  asf_file file;
  auto header = source.read(0, size);
  if (!header) return hresult::fail;
  file.header = *std::move(header);
  if (!read_objects(file) || !read_descriptions(file)) return hresult::fail;
  return file;
}

bool is_signed(const asf_file& file) {
  return std::any_of(file.objects.begin(), file.objects.end(),
                     [](const asf_object& object) { return object.id == signature_id; });
}

hresult_result<std::optional<std::uint32_t>> read(byte_source& source, handler_access access) {
  const auto file = parse(source);
  if (!file) return file.error();
  if (access == handler_access::read_write && is_signed(*file)) return hresult::fail;
  return file->percent;
}

/// The descriptors with the rating in the place of the one they had, else as their last; 0 takes it out.
std::vector<descriptor> with_rating(const std::vector<descriptor>& descriptors, std::uint32_t percent) {
  std::vector<descriptor> made;
  bool stored = percent == 0;
  for (const descriptor& entry : descriptors) {
    if (!is_rating(entry)) {
      made.push_back(entry);
    } else if (!std::exchange(stored, true)) {
      made.push_back({entry.name, double_word, little_bytes(percent, 4)});
    }
  }
  if (!stored) made.push_back({rating_name(), double_word, little_bytes(percent, 4)});
  return made;
}

/// Puts the descriptors into their object, or makes it, or takes it out when it has none left.
void store_descriptors(asf_file& file) {
  std::vector<asf_object>& objects = file.objects;
  if (!file.description) {
    objects.push_back({std::string(description_id), descriptor_bytes(file.descriptors)});
  } else if (file.descriptors.empty()) {
    objects.erase(objects.begin() + static_cast<std::ptrdiff_t>(*file.description));
  } else {
    objects[*file.description].content = descriptor_bytes(file.descriptors);
  }
}

std::size_t size_of(const std::vector<asf_object>& objects) {
  std::size_t size = header_size;
  for (const asf_object& object : objects)
    size += object_header + object.content.size();
  return size;
}

/// Brings the header back to the size that it had: padding objects give and take. Where they can't, it grows, with
/// padding for the next time.
void settle_size(std::vector<asf_object>& objects, std::size_t size_before) {
  const std::size_t size = size_of(objects);
  if (size == size_before) return;
  for (auto padding = objects.begin(); padding != objects.end(); ++padding) {
    if (padding->id != padding_id) continue;
    const std::size_t with_padding = size_before + padding->content.size();
    if (with_padding >= size) {
      padding->content.resize(with_padding - size);
      return;
    }
    if (with_padding + object_header == size) {
      objects.erase(padding);
      return;
    }
  }
  const bool fits = size + object_header <= size_before;
  objects.push_back(
      {std::string(padding_id), std::string(fits ? size_before - size - object_header : room_for_next_time, '\0')});
}

/// The file properties state the file's size behind the file's own identifier.
bool correct_file_size(std::vector<asf_object>& objects, std::uint64_t before, std::uint64_t after) {
  for (asf_object& object : objects) {
    if (object.id != file_id) continue;
    if (object.content.size() < 24) return false;
    if (get_little(object.content, 16, 8) == before) object.content.replace(16, 8, little_bytes(after, 8));
  }
  return true;
}

std::string header_bytes(std::string_view before, const std::vector<asf_object>& objects) {
  std::string header(before.substr(0, 16));
  header += little_bytes(size_of(objects), 8) + little_bytes(objects.size(), 4);
  header += before.substr(28, 2);
  for (const asf_object& object : objects) {
    header += object.id + little_bytes(object_header + object.content.size(), 8) + object.content;
  }
  return header;
}

hresult_result<edit_plan> plan(byte_source& source, std::uint32_t percent) {
  auto file = parse(source);
  if (!file) return file.error();
  if (file->percent.value_or(0) == percent) return edit_plan();
  if (is_signed(*file)) return hresult::imaging_property_not_supported;
  file->descriptors = with_rating(file->descriptors, percent);
  constexpr std::size_t most_descriptors = 65535;
  if (file->descriptors.size() > most_descriptors) return hresult::imaging_property_not_supported;
  store_descriptors(*file);
  settle_size(file->objects, file->header.size());
  const std::uint64_t grown = size_of(file->objects) - file->header.size();
  if (!correct_file_size(file->objects, source.size(), source.size() + grown)) {
    return hresult::imaging_property_not_supported;
  }
  edit_plan edits;
  add_difference(edits, 0, file->header, header_bytes(file->header, file->objects));
  return edits;
}

}  // namespace

const rating_format asf_rating = {read, plan};

}  // namespace platform::host::media
