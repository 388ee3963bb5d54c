// How arguments read in the record of calls.
#pragma once

#include <cstdint>
#include <string>

#include "platform/machine.h"

namespace support {

/// "read|write, share none, open_existing", and the attributes of a file to be created unless they are normal.
[[nodiscard]] std::string request_text(const platform::open_request& request);
/// "normal" or "read_only|hidden".
[[nodiscard]] std::string attributes_text(std::uint32_t attributes);
/// "rating", "keywords", "date_taken" and so on for the program's own, else the first field of the format and the id.
[[nodiscard]] std::string key_text(const platform::property_key& key);
/// "empty", "75", "int 75", "short 6", "48.5", "time 131", "\"text\"", "[a, b]", "[48, 51.5, 0]" or "type 7".
[[nodiscard]] std::string value_text(const platform::property_value& value);
[[nodiscard]] std::string access_text(platform::handler_access access);
[[nodiscard]] std::string access_text(platform::storage_access access);
[[nodiscard]] std::string event_text(platform::shell_event event);
[[nodiscard]] std::string flush_text(platform::shell_flush flush);

}  // namespace support
