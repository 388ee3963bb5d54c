// The record of everything that the simulated machine was asked, in order, and the test's hold on single calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <limits>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace support {

/// One line for each call: the operation's name and its arguments, such as `attributes(C:\a.jpg)`, in UTF-8.
class simulated_calls {
 public:
  /// Keeps other threads out of the machine while an operation runs.
  using guard = std::unique_lock<std::recursive_mutex>;

  [[nodiscard]] guard record(std::string_view operation, std::string_view arguments);
  /// The same lock without a line, for tests that change the machine while the program runs.
  [[nodiscard]] guard hold() const { return guard(lock_); }

  [[nodiscard]] std::vector<std::string> all() const;
  /// The lines of some operations only.
  [[nodiscard]] std::vector<std::string> named(std::initializer_list<std::string_view> operations) const;
  /// The lines in which a path occurs, spelled as here.
  [[nodiscard]] std::vector<std::string> about(std::wstring_view path) const;
  [[nodiscard]] std::size_t count(std::string_view operation) const;
  void clear();

  /// Runs `action` ahead of the `turn`-th call (1 for the next one) of an operation from now on, on the thread that
  /// calls. Other threads can use the machine meanwhile.
  void before(std::string_view operation, std::size_t turn, std::function<void()> action);

  static constexpr int always = std::numeric_limits<int>::max();

  /// Makes an operation on one path fail with a code, the next `times` times. An empty path stands for any. Of the
  /// openings of property sets a Win32 code is the last error that they leave, an HRESULT leaves none.
  template <class Code>
  void refuse(std::string_view operation, std::wstring_view path, Code code, int times = always) {
    add_refusal(operation, path, static_cast<std::uint32_t>(code), times);
  }

  /// For the facilities: the code that a test asked for, else success.
  template <class Code>
  Code refusal(std::string_view operation, std::wstring_view path) {
    return static_cast<Code>(take_refusal(operation, path));
  }

 private:
  struct call {
    std::string operation;
    std::string line;
  };
  struct refused_call {
    std::string operation;
    std::wstring path;
    std::uint32_t code;
    int times;
  };
  struct awaited_call {
    std::string operation;
    std::size_t turns_left;
    std::function<void()> action;
  };

  void add_refusal(std::string_view operation, std::wstring_view path, std::uint32_t code, int times);
  [[nodiscard]] std::uint32_t take_refusal(std::string_view operation, std::wstring_view path);
  [[nodiscard]] std::vector<std::function<void()>> take_awaited(std::string_view operation);

  mutable std::recursive_mutex lock_;
  std::vector<call> calls_;
  std::vector<refused_call> refusals_;
  std::vector<awaited_call> awaited_;
};

}  // namespace support
