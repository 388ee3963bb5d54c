// Lists of tags as text: joined by ";", without blanks and without an escape.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace text {

/// The stretches between semicolons; empty ones are dropped, blanks stay.
[[nodiscard]] std::vector<std::wstring> split_tag_list(std::wstring_view list);

[[nodiscard]] std::wstring join_tag_list(std::span<const std::wstring> tags);

/// A list that one thread asks for its tags again and again: it is split the first time.
class split_once {
 public:
  split_once() = default;
  explicit split_once(std::wstring list) : list_(std::move(list)) {}

  [[nodiscard]] const std::wstring& list() const { return list_; }
  [[nodiscard]] std::span<const std::wstring> tags();

 private:
  std::wstring list_;
  std::optional<std::vector<std::wstring>> tags_;  ///< none until asked for
};

}  // namespace text
