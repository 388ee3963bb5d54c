// A regular file that is open in place.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/file_system.h"
#include "platform/host/errno_codes.h"
#include "platform/host/unique_descriptor.h"

namespace platform::host {

/// How a write changes bytes that the file has already.
enum class overwriting : std::uint8_t {
  plain,  ///< as they go: for a file that nobody else sees yet, and for one that only grows
  whole,  ///< one write at once or not at all, even if this process is killed; needs a descriptor that can read too
};

/// A file on what open_regular (opening.h) gave: reads and writes go to it at once.
class open_file final : public file {
 public:
  explicit open_file(unique_descriptor descriptor, overwriting how = overwriting::plain)
      : descriptor_(std::move(descriptor)), overwriting_(how) {}

  win32_result<std::size_t> read(std::span<std::byte> buffer) override;
  win32_result<std::size_t> write(std::span<const std::byte> bytes) override;
  win32_error seek(std::uint64_t position) override;
  win32_result<std::uint64_t> size() override;
  win32_error set_end() override;
  win32_error set_last_write_time(file_time time) override;
  win32_error close() override;

 private:
  [[nodiscard]] win32_error failure(data_direction direction = data_direction::none) const;
  [[nodiscard]] bool overwrites_several_pages(std::uint64_t position, std::size_t size) const;
  [[nodiscard]] win32_result<std::size_t> overwrite(std::uint64_t position, std::string_view bytes);

  unique_descriptor descriptor_;
  overwriting overwriting_;
};

}  // namespace platform::host
