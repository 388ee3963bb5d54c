// Which bytes of a TIFF block belong to what, as far as the directories tell.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/host/image/tiff_directory.h"

namespace platform::host::image {

/// Everything that can be reached from the first directory: the directories behind it and below it (Exif, GPS,
/// interoperability, sub-images), the values in them, and the image data that their offsets and sizes name. What can't
/// be followed counts as using all of the block. Looked up at the first question.
class tiff_usage {
 public:
  /// The block must outlive this.
  explicit tiff_usage(const tiff_block& block) : block_(block) {}

  /// Whether an area that holds the value of a field of the first directory holds nothing else: some writers let equal
  /// values share their bytes.
  [[nodiscard]] bool is_value_alone(const tiff_area& area, std::uint16_t tag);
  /// Whether strips, tiles or other image data reach beyond the end of the block: a file that was cut.
  [[nodiscard]] bool has_data_beyond_end();
  /// Whether nothing that could be followed reaches into the first directory.
  [[nodiscard]] bool is_first_directory_alone();

 private:
  struct use {
    tiff_area area;
    std::uint32_t owner;
  };

  void look_up();
  void add_directory(const tiff_directory& directory, bool is_first);
  void add_data(const tiff_directory& directory, std::uint16_t offsets, std::uint16_t sizes);
  void add_use(const tiff_area& area, std::uint32_t owner);
  [[nodiscard]] std::optional<std::vector<std::uint64_t>> numbers(const tiff_directory& directory,
                                                                  const tiff_entry& entry);

  const tiff_block& block_;
  bool is_looked_up_ = false;
  bool is_unknown_ = false;  // something could not be followed
  bool is_cut_ = false;      // image data reach beyond the end
  std::vector<use> uses_;
  std::vector<std::uint64_t> unread_;  // offsets of directories
};

}  // namespace platform::host::image
