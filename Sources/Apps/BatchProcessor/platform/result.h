// What an operation of the seam returns: a value, or the code of its failure.
#pragma once

#include <cassert>
#include <utility>
#include <variant>

#include "platform/errors.h"

namespace platform {

template <class T, class Code>
class [[nodiscard]] result {
 public:
  result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
  result(Code error) : state_(std::in_place_index<1>, error) { assert(!succeeded(error)); }

  [[nodiscard]] bool has_value() const { return state_.index() == 0; }
  explicit operator bool() const { return has_value(); }

  [[nodiscard]] T& operator*() & { return *std::get_if<0>(&state_); }
  [[nodiscard]] const T& operator*() const& { return *std::get_if<0>(&state_); }
  [[nodiscard]] T&& operator*() && { return std::move(*std::get_if<0>(&state_)); }
  [[nodiscard]] T* operator->() { return std::get_if<0>(&state_); }
  [[nodiscard]] const T* operator->() const { return std::get_if<0>(&state_); }

  /// The failure's code; the code of success when there is a value.
  [[nodiscard]] Code error() const { return has_value() ? Code{} : *std::get_if<1>(&state_); }

 private:
  std::variant<T, Code> state_;
};

template <class T>
using win32_result = result<T, win32_error>;

template <class T>
using hresult_result = result<T, hresult>;

}  // namespace platform
