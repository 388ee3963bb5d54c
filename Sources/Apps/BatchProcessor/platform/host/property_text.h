// Property values as extended attributes hold them.
//
// One attribute for each property, "user.quill_box.{FMTID}.PID", with a text that tells its type:
//   ui4:75                  VT_UI4
//   i4:-3                   VT_I4
//   ui2:6                   VT_UI2
//   lpwstr:any text         VT_LPWSTR, UTF-8 up to the end of the value
//   lpwstrs:5:Beach,3:Sea,  VT_VECTOR | VT_LPWSTR, each text led by its size in bytes of UTF-8
//   r8:48.8583              VT_R8
//   filetime:1320000        VT_FILETIME, in its ticks
//   r8s:48,51.5,0,          VT_VECTOR | VT_R8
// Keywords and rating of a file also stand where Linux file managers look for them: "user.xdg.tags", the tags with
// commas between them, and "user.baloo.rating", the stars times two. Our own attribute is exact and counts as long as
// these two say the same. Where one says something else, or is gone, a file manager has changed it since, and it
// counts.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/property_system.h"

namespace platform::host {

[[nodiscard]] std::string attribute_name(const property_key& key);

/// None for a value that removes the property (empty, or an empty list), and for a type that isn't kept (other_type).
[[nodiscard]] std::optional<std::string> attribute_text(const property_value& value);

/// other_type for a text that is none of the above.
[[nodiscard]] property_value property_from_text(std::string_view text);

/// The attribute that file managers know the property by; null for a property that has none.
[[nodiscard]] const char* mirror_name(const property_key& key);

/// What that attribute holds; none for a value that removes it: no tags, no stars, or a value of another type.
[[nodiscard]] std::optional<std::string> mirror_text(const property_key& key, const property_value& value);

/// Tags as a list, stars as the percent value that stands for them; nothing when there are no tags, no stars, or no
/// number.
[[nodiscard]] property_value property_from_mirror(const property_key& key, std::string_view text);

/// Whether that attribute, none where it is absent, still says what the value says.
[[nodiscard]] bool is_mirror_of(const property_key& key, const property_value& value,
                                const std::optional<std::string>& mirror);

}  // namespace platform::host
