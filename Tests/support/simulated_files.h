// The file system of the simulated machine: Windows' rules over a simulated_disk.
#pragma once

#include <cstddef>

#include "platform/file_system.h"
#include "support/simulated_calls.h"
#include "support/simulated_disk.h"

namespace support {

class simulated_files final : public platform::file_system {
 public:
  simulated_files(simulated_calls& calls, simulated_disk& disk) : calls_(calls), disk_(disk) {}

  platform::win32_result<std::uint32_t> attributes(const std::wstring& path) override;
  platform::win32_result<platform::item_kind> kind(const std::wstring& path) override;
  platform::win32_error set_attributes(const std::wstring& path, std::uint32_t attributes) override;
  platform::win32_result<platform::file_facts> facts(const std::wstring& path) override;
  platform::win32_result<std::unique_ptr<platform::file>> open(const std::wstring& path,
                                                               const platform::open_request& request) override;
  platform::win32_error create_directory(const std::wstring& path) override;
  platform::win32_result<bool> copy_file(const std::wstring& from, const std::wstring& to) override;
  platform::win32_error delete_file(const std::wstring& path) override;

  /// For tests: a copy succeeds and reports that it copied nothing.
  void let_copies_do_nothing() { copies_do_nothing_ = true; }

 private:
  platform::win32_result<disk_entry_pointer> entry_to_open(const std::wstring& path,
                                                           const platform::open_request& request);

  simulated_calls& calls_;
  simulated_disk& disk_;
  bool copies_do_nothing_ = false;
};

}  // namespace support
