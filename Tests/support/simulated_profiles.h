// INI files of the simulated machine, kept as real content of its disk.
#pragma once

#include "platform/profile_strings.h"
#include "support/simulated_calls.h"
#include "support/simulated_disk.h"

namespace support {

class simulated_profiles final : public platform::profile_strings {
 public:
  simulated_profiles(simulated_calls& calls, simulated_disk& disk) : calls_(calls), disk_(disk) {}

  platform::win32_result<std::wstring> read(const std::wstring& file, const std::wstring& section,
                                            const std::wstring& key, std::size_t capacity) override;
  platform::win32_error write(const std::wstring& file, const std::wstring& section, const std::wstring& key,
                              const std::optional<std::wstring>& value) override;
  platform::win32_error delete_section(const std::wstring& file, const std::wstring& section) override;

 private:
  simulated_calls& calls_;
  simulated_disk& disk_;
};

}  // namespace support
