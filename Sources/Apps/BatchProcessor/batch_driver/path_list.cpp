#include "batch_driver/path_list.h"

#include "text/conversions.h"

namespace quill_box::batch_processor {

void path_list::push_back(std::string_view utf8) {
  bytes_.append(utf8.substr(0, utf8.find('\0')));
  ends_.push_back(bytes_.size());
}

std::wstring path_list::operator[](std::size_t index) const {
  const std::size_t start = index == 0 ? 0 : ends_[index - 1];
  return text::wide_from_utf8(std::string_view(bytes_).substr(start, ends_[index] - start));
}

}  // namespace quill_box::batch_processor
