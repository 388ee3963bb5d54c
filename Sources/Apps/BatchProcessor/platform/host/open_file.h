// A regular file that is open in place.
#pragma once

#include <cstdint>
#include <utility>

#include "platform/file_system.h"
#include "platform/host/errno_codes.h"
#include "platform/host/unique_descriptor.h"

namespace platform::host {

/// A file on what open_regular (opening.h) gave: reads and writes go to it at once. For a file that is only read or
/// appended to, and for one that nobody else has seen yet.
class open_file final : public file {
 public:
  explicit open_file(unique_descriptor descriptor) : descriptor_(std::move(descriptor)) {}

  win32_result<std::size_t> read(std::span<std::byte> buffer) override;
  win32_result<std::size_t> write(std::span<const std::byte> bytes) override;
  win32_error seek(std::uint64_t position) override;
  win32_result<std::uint64_t> size() override;
  win32_error set_end() override;
  win32_error set_last_write_time(file_time time) override;
  win32_error close() override;

 private:
  [[nodiscard]] win32_error failure(data_direction direction = data_direction::none) const;

  unique_descriptor descriptor_;
};

}  // namespace platform::host
