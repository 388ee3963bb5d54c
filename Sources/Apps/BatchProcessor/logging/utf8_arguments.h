// The arguments of a log line, the wide ones as UTF-8.
#pragma once

#include <array>
#include <cstddef>
#include <forward_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "text/conversions.h"

namespace logging {

template <class Argument>
concept wide_text = std::is_convertible_v<const Argument&, std::wstring_view>;

/// What an argument is formatted as.
template <class Argument>
using utf8_argument = std::conditional_t<wide_text<Argument>, std::string_view, Argument>;

/// Holds the text of one line's wide arguments. Short ones need no allocation: a run over a million files logs a
/// million lines.
class utf8_arguments {
 public:
  /// Valid as long as this object.
  [[nodiscard]] std::string_view of(std::wstring_view wide) {
    constexpr std::size_t longest_character = 4;
    if (wide.size() > (room_.size() - used_) / longest_character) {
      return long_ones_.emplace_front(text::utf8_from_wide(wide));
    }
    char* const start = room_.data() + used_;
    const auto length = static_cast<std::size_t>(text::put_utf8(start, wide) - start);
    used_ += length;
    return {start, length};
  }
  template <class Argument>
  requires(!wide_text<Argument>) [[nodiscard]] const Argument& of(const Argument& argument) { return argument; }

 private:
  std::array<char, 1024> room_;
  std::size_t used_ = 0;
  std::forward_list<std::string> long_ones_;
};

}  // namespace logging
