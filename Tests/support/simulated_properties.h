// The property system of the simulated machine: handlers by file type, property sets on any path of an NTFS disk.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/property_system.h"
#include "support/simulated_calls.h"
#include "support/simulated_disk.h"

namespace support {

/// When a writing handler needs the file for itself.
enum class handler_grip : std::uint8_t {
  while_committing,  ///< others may write as long as nothing is committed
  while_open,        ///< nobody else writes from the opening to the release
};

/// What the handler of one file type can do.
struct property_handler {
  bool readable = true;
  bool writable = true;
  platform::hresult open_error = platform::hresult::ok;              ///< any other code refuses every opening
  std::map<platform::property_key, platform::hresult> refused_keys;  ///< what set() says to them
  handler_grip grip = handler_grip::while_committing;
};

/// The code with which an opening fails where the type has no handler, or none that can do what is asked.
inline constexpr platform::hresult no_handler_error = platform::hresult::class_not_registered;

class simulated_properties final : public platform::property_system {
 public:
  simulated_properties(simulated_calls& calls, simulated_disk& disk) : calls_(calls), disk_(disk) {}

  platform::hresult_result<std::unique_ptr<platform::property_store>> open_handler_store(
      const std::wstring& path, platform::handler_access access) override;
  platform::storage_result<std::unique_ptr<platform::property_set_storage>> open_property_set_storage(
      const std::wstring& path, platform::storage_access access) override;

  /// For tests: the handler of an extension (".jpg"), made when there is none yet.
  property_handler& handler(std::wstring_view extension);

  /// For tests: what stands in a file, by its handler or in its property sets. The path must exist.
  void set_handler_value(std::wstring_view path, const platform::property_key& key, platform::property_value value);
  void set_property_set_value(std::wstring_view path, const platform::property_key& key,
                              platform::property_value value);
  [[nodiscard]] platform::property_value handler_value(std::wstring_view path, const platform::property_key& key) const;
  [[nodiscard]] platform::property_value property_set_value(std::wstring_view path,
                                                            const platform::property_key& key) const;

 private:
  simulated_calls& calls_;
  simulated_disk& disk_;
  std::map<std::wstring, property_handler> handlers_;  // by lower-cased extension
};

}  // namespace support
