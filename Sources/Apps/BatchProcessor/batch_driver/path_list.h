// The items of a job.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quill_box::batch_processor {

/// Paths in their order, duplicates kept. There may be a million: they are kept as UTF-8 in one piece, and made wide
/// one at a time.
class path_list {
 public:
  /// The path up to its first NUL.
  void push_back(std::string_view utf8);

  [[nodiscard]] std::size_t size() const { return ends_.size(); }
  [[nodiscard]] std::wstring operator[](std::size_t index) const;

 private:
  std::string bytes_;
  std::vector<std::size_t> ends_;  ///< of each path in the bytes
};

}  // namespace quill_box::batch_processor
