// A folder of the machine under test that lasts as long as its object.
#pragma once

#include <string>

namespace test_support {

/// Fresh and empty, below the machine's temporary folder; removed at the end with everything in it.
class scratch_folder {
 public:
  /// Raises a runtime_error when the folder can't be made.
  scratch_folder();
  ~scratch_folder();
  scratch_folder(const scratch_folder&) = delete;
  scratch_folder& operator=(const scratch_folder&) = delete;

  [[nodiscard]] const std::wstring& path() const { return path_; }
  /// A path in the folder, with the separator that the machine's own paths have.
  [[nodiscard]] std::wstring operator/(const std::wstring& name) const;

 private:
  std::wstring path_;
};

}  // namespace test_support
