#include "support/call_texts.h"

#include <span>
#include <string_view>
#include <type_traits>

#include "platform/property_keys.h"
#include "text/conversions.h"
#include "text/format.h"

namespace support {

namespace {

struct bit_name {
  std::uint32_t bit;
  std::string_view name;
};

std::string bits_text(std::uint32_t bits, std::span<const bit_name> names, std::string_view none) {
  std::string result;
  for (const bit_name& known : names) {
    if ((bits & known.bit) == 0) continue;
    if (!result.empty()) result += '|';
    result += known.name;
    bits &= ~known.bit;
  }
  if (bits != 0) result += text::format("{}{:#x}", result.empty() ? "" : "|", bits);
  return result.empty() ? std::string(none) : result;
}

constexpr bit_name access_names[] = {{1, "read"}, {2, "write"}, {4, "write_attributes"}, {8, "append"}};
constexpr bit_name share_names[] = {{1, "read"}, {2, "write"}, {4, "remove"}};
constexpr bit_name attribute_names[] = {
    {platform::attribute::read_only, "read_only"}, {platform::attribute::hidden, "hidden"},
    {platform::attribute::system, "system"},       {platform::attribute::directory, "directory"},
    {platform::attribute::archive, "archive"},     {platform::attribute::normal, "normal"},
    {platform::attribute::offline, "offline"},
};
constexpr std::string_view disposition_names[] = {"create_new", "create_always", "open_existing", "open_always",
                                                  "rewrite_existing"};

std::string list_text(const std::vector<std::wstring>& list) {
  std::string result = "[";
  for (const std::wstring& item : list) {
    if (result.size() > 1) result += ", ";
    text::append_utf8(result, item);
  }
  return result + "]";
}

std::string list_text(const std::vector<double>& list) {
  std::string result = "[";
  for (const double item : list) {
    if (result.size() > 1) result += ", ";
    result += text::format("{}", item);
  }
  return result + "]";
}

}  // namespace

std::string attributes_text(std::uint32_t attributes) { return bits_text(attributes, attribute_names, "none"); }

std::string request_text(const platform::open_request& request) {
  const auto share_bits = static_cast<std::uint32_t>(request.share);
  std::string result =
      text::format("{}, share {}, {}", bits_text(static_cast<std::uint32_t>(request.access), access_names, "none"),
                   request.share == platform::share::all ? "all" : bits_text(share_bits, share_names, "none"),
                   disposition_names[static_cast<std::size_t>(request.disposition)]);
  if (request.attributes != platform::attribute::normal) result += ", " + attributes_text(request.attributes);
  return result;
}

std::string key_text(const platform::property_key& key) {
  if (key == platform::rating_key) return "rating";
  if (key == platform::keywords_key) return "keywords";
  if (key == platform::people_names_key) return "people_names";
  if (key == platform::date_taken_key) return "date_taken";
  if (key == platform::latitude_decimal_key) return "latitude_decimal";
  if (key == platform::longitude_decimal_key) return "longitude_decimal";
  if (key == platform::latitude_key) return "latitude";
  if (key == platform::longitude_key) return "longitude";
  if (key == platform::latitude_ref_key) return "latitude_ref";
  if (key == platform::longitude_ref_key) return "longitude_ref";
  return text::format("{:08x}/{}", key.format.data1, key.id);
}

std::string value_text(const platform::property_value& value) {
  return std::visit(
      [](const auto& held) -> std::string {
        using type = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<type, std::monostate>) {
          return "empty";
        } else if constexpr (std::is_same_v<type, std::uint32_t> || std::is_same_v<type, double>) {
          return text::format("{}", held);
        } else if constexpr (std::is_same_v<type, std::int32_t>) {
          return text::format("int {}", held);
        } else if constexpr (std::is_same_v<type, std::uint16_t>) {
          return text::format("short {}", held);
        } else if constexpr (std::is_same_v<type, std::wstring>) {
          return text::format("\"{}\"", text::utf8_from_wide(held));
        } else if constexpr (std::is_same_v<type, platform::other_type>) {
          return text::format("type {}", held.type);
        } else if constexpr (std::is_same_v<type, platform::time_value>) {
          return text::format("time {}", held.time);
        } else {
          return list_text(held);
        }
      },
      value);
}

std::string access_text(platform::handler_access access) {
  switch (access) {
    case platform::handler_access::read:
      return "read";
    case platform::handler_access::handler_properties_only:
      return "handler_properties_only";
    case platform::handler_access::read_write:
      return "read_write";
  }
  return "unknown";
}

std::string access_text(platform::storage_access access) {
  return access == platform::storage_access::read_write_exclusive ? "read_write_exclusive" : "read_deny_write";
}

std::string event_text(platform::shell_event event) {
  switch (event) {
    case platform::shell_event::rename_item:
      return "rename_item";
    case platform::shell_event::remove_directory:
      return "remove_directory";
    case platform::shell_event::update_directory:
      return "update_directory";
    case platform::shell_event::update_item:
      return "update_item";
  }
  return "unknown";
}

std::string flush_text(platform::shell_flush flush) {
  switch (flush) {
    case platform::shell_flush::path:
      return "path";
    case platform::shell_flush::path_and_wait:
      return "path_and_wait";
    case platform::shell_flush::path_and_return:
      return "path_and_return";
  }
  return "unknown";
}

}  // namespace support
