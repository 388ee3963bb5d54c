// Random reading of a file's bytes, whatever its size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace platform::host {

class byte_source {
 public:
  virtual ~byte_source() = default;

  [[nodiscard]] std::uint64_t size() const { return size_; }

  /// Exactly `length` bytes; none when they reach beyond the end or can't be read. Nothing is allocated for bytes
  /// that aren't there.
  [[nodiscard]] std::optional<std::string> read(std::uint64_t offset, std::uint64_t length) {
    if (offset > size_ || length > size_ - offset) return std::nullopt;
    std::string bytes(length, '\0');
    if (!fill(offset, bytes)) return std::nullopt;
    return bytes;
  }

 protected:
  explicit byte_source(std::uint64_t size) : size_(size) {}

 private:
  virtual bool fill(std::uint64_t offset, std::string& bytes) = 0;

  std::uint64_t size_;
};

/// The bytes of an open file. Its size is the one given: a file that grows meanwhile shows no more.
class file_byte_source final : public byte_source {
 public:
  file_byte_source(int descriptor, std::uint64_t size) : byte_source(size), descriptor_(descriptor) {}

  /// The errno of the first read that failed; 0 while all went well.
  [[nodiscard]] int failure() const { return failure_; }

 private:
  bool fill(std::uint64_t offset, std::string& bytes) override;

  int descriptor_;
  int failure_ = 0;
};

}  // namespace platform::host
