// Bounded reads of a file, or of bytes in memory: only what is asked for is read, so that a file's size costs nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/errors.h"

namespace platform::host {

class byte_source {
 public:
  virtual ~byte_source() = default;

  [[nodiscard]] virtual std::uint64_t size() const = 0;
  /// Exactly `count` bytes from `offset` on; nothing where the source doesn't hold them all or can't be read.
  [[nodiscard]] virtual std::optional<std::string> read(std::uint64_t offset, std::uint64_t count) = 0;
};

/// Reads an open file with pread. The descriptor stays the caller's; `size` is the file's size, `start_size` how much
/// of its start is read at once, and kept.
class file_source final : public byte_source {
 public:
  static constexpr std::uint64_t default_start_size = std::uint64_t{16} << 10;

  file_source(int descriptor, std::uint64_t size, std::uint64_t start_size = default_start_size)
      : descriptor_(descriptor), size_(size), start_size_(start_size) {}

  [[nodiscard]] std::uint64_t size() const override { return size_; }
  [[nodiscard]] std::optional<std::string> read(std::uint64_t offset, std::uint64_t count) override;

  /// Of the last read that the file failed, success if none did; sharing_violation where it has become shorter. Tells
  /// what can't be read from what can't be understood.
  [[nodiscard]] win32_error failure() const { return failure_; }

 private:
  struct stretch {
    std::uint64_t offset = 0;
    std::string bytes;
    [[nodiscard]] bool holds(std::uint64_t from, std::uint64_t count) const {
      return from >= offset && from - offset <= bytes.size() && count <= bytes.size() - (from - offset);
    }
  };

  [[nodiscard]] bool fill(stretch& part, std::uint64_t offset, std::uint64_t count);

  int descriptor_;
  std::uint64_t size_;
  std::uint64_t start_size_;
  stretch start_;  // of the file, once anything in it was read
  stretch later_;  // what was read last elsewhere
  win32_error failure_ = win32_error::success;
};

/// Reads bytes that outlive it.
class memory_source final : public byte_source {
 public:
  explicit memory_source(std::string_view bytes) : bytes_(bytes) {}

  [[nodiscard]] std::uint64_t size() const override { return bytes_.size(); }
  [[nodiscard]] std::optional<std::string> read(std::uint64_t offset, std::uint64_t count) override;

 private:
  std::string_view bytes_;
};

/// A stretch of a source, with offsets of its own. The stretch lies within the source.
struct byte_range {
  byte_source* source = nullptr;
  std::uint64_t begin = 0;
  std::uint64_t size = 0;

  [[nodiscard]] std::optional<std::string> read(std::uint64_t offset, std::uint64_t count) const {
    if (offset > size || count > size - offset) return std::nullopt;
    return source->read(begin + offset, count);
  }
};

}  // namespace platform::host
