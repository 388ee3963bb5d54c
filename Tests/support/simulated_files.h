// The file system of the simulated machine: Windows' rules over a simulated_disk.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

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
  platform::win32_error move_file(const std::wstring& from, const std::wstring& to) override;
  platform::win32_error remove_directory(const std::wstring& path) override;
  platform::win32_error enumerate(const std::wstring& folder, const platform::entry_visitor& visit) override;

  /// For tests: the order in which a folder's entries are delivered; those that aren't named follow in the order in
  /// which they came there, as all do by default.
  void deliver_in_order(std::wstring_view folder, std::vector<std::wstring> names);
  /// For tests: a copy succeeds and reports that it copied nothing.
  void let_copies_do_nothing() { copies_do_nothing_ = true; }

 private:
  platform::win32_error move_to_other_drive(const disk_entry_pointer& source, const std::wstring& to,
                                            const disk_entry& folder);
  platform::win32_result<disk_entry_pointer> entry_to_open(const std::wstring& path,
                                                           const platform::open_request& request);

  [[nodiscard]] std::vector<disk_entry_pointer> in_order(const disk_entry& folder) const;

  simulated_calls& calls_;
  simulated_disk& disk_;
  std::map<std::wstring, std::vector<std::wstring>> orders_;  // by lower-cased path
  bool copies_do_nothing_ = false;
};

}  // namespace support
