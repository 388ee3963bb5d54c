#pragma once

#include "platform/file_system.h"

namespace platform::windows {

class file_system final : public platform::file_system {
 public:
  win32_result<std::uint32_t> attributes(const std::wstring& path) override;
  win32_result<item_kind> kind(const std::wstring& path) override;
  win32_error set_attributes(const std::wstring& path, std::uint32_t attributes) override;
  win32_result<file_facts> facts(const std::wstring& path) override;
  win32_result<std::unique_ptr<file>> open(const std::wstring& path, const open_request& request) override;
  win32_error create_directory(const std::wstring& path) override;
  win32_result<bool> copy_file(const std::wstring& from, const std::wstring& to) override;
  win32_error delete_file(const std::wstring& path) override;
  win32_error move_file(const std::wstring& from, const std::wstring& to) override;
  win32_error remove_directory(const std::wstring& path) override;
  win32_error enumerate(const std::wstring& folder, const entry_visitor& visit) override;
};

}  // namespace platform::windows
