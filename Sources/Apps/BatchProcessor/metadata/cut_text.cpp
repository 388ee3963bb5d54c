#include "metadata/cut_text.h"

#include <algorithm>
#include <cstring>

namespace quill_box::metadata {

void cut_text::advance(std::size_t count) {
  std::memmove(text_.data() + front_end_, text_.data() + rest_start_, count);
  front_end_ += count;
  rest_start_ += count;
}

void cut_text::step_back(std::size_t count) {
  count = std::min(count, front_end_);
  front_end_ -= count;
  rest_start_ -= count;
  std::memmove(text_.data() + rest_start_, text_.data() + front_end_, count);
}

void cut_text::cut_with_line(std::size_t front_size, std::size_t rest_size) {
  front_end_ = front_size;
  while (front_end_ > 0 && (text_[front_end_ - 1] == ' ' || text_[front_end_ - 1] == '\t'))
    --front_end_;
  if (front().ends_with('\n')) --front_end_;
  rest_start_ += rest_size;
  if (rest().starts_with('\n')) ++rest_start_;
}

std::string cut_text::take() && {
  text_.erase(front_end_, rest_start_ - front_end_);
  return std::move(text_);
}

}  // namespace quill_box::metadata
