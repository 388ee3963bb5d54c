#pragma once

#include "platform/profile_strings.h"

namespace platform::windows {

class profile_strings final : public platform::profile_strings {
 public:
  win32_result<std::wstring> read(const std::wstring& file, const std::wstring& section, const std::wstring& key,
                                  std::size_t capacity) override;
  win32_error write(const std::wstring& file, const std::wstring& section, const std::wstring& key,
                    const std::optional<std::wstring>& value) override;
  win32_error delete_section(const std::wstring& file, const std::wstring& section) override;
};

}  // namespace platform::windows
