// Text out of which ranges are cut, from front to back.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace quill_box::metadata {

/// A front, which is settled, and a rest, which is still to be searched; together they are the text. However many cuts
/// there are, a byte is moved a few times at most.
class cut_text {
 public:
  explicit cut_text(std::string text) : text_(std::move(text)) {}

  [[nodiscard]] std::string_view front() const { return std::string_view(text_).substr(0, front_end_); }
  [[nodiscard]] std::string_view rest() const { return std::string_view(text_).substr(rest_start_); }

  /// The rest's first `count` bytes go to the front.
  void advance(std::size_t count);
  /// The front's last `count` bytes, or all that it has, go back to the rest.
  void step_back(std::size_t count);

  /// Cuts everything from `front_size` on in the front to `rest_size` in the rest, and what else the range has of its
  /// lines: blanks and tabs to its left and then one LF, and one LF to its right.
  void cut_with_line(std::size_t front_size, std::size_t rest_size);

  /// Front and rest.
  [[nodiscard]] std::string take() &&;

 private:
  std::string text_;
  std::size_t front_end_ = 0;
  std::size_t rest_start_ = 0;
};

}  // namespace quill_box::metadata
