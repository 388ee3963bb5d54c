// An image file as far as metadata goes: the blocks that it holds, and the plan that changes them and nothing else.
// Each container lists its pieces when it is opened. What can't be understood is left out, and the file is then one to
// be read only: who can't tell what all of it means would change it into something else.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/host/byte_source.h"
#include "platform/host/file_rewrite.h"
#include "platform/host/image/tiff_directory.h"
#include "platform/host/image/xmp_packet.h"

namespace platform::host::image {

enum class container_kind { jpeg, png, tiff, webp };

struct metadata_blocks {
  std::optional<xmp_packet> xmp;
  std::optional<std::string> utf16_xmp;  ///< the packet as it is stored, where `xmp` is its text in UTF-8
  std::optional<tiff_block> exif;        ///< of a TIFF file the file itself
  std::optional<std::string> iptc;       ///< the datasets

  [[nodiscard]] std::string_view stored_xmp() const { return utf16_xmp ? *utf16_xmp : xmp->text; }
};

/// New contents. What isn't named stays.
struct metadata_edits {
  std::optional<packet_change> xmp;
  std::vector<tiff_change> fields;
  bool lays_out_anew = false;  ///< rather than in the room that is there, if that makes the next change a patch
  std::optional<std::string> iptc;
};

class image_container {
 public:
  image_container(const image_container&) = delete;
  image_container& operator=(const image_container&) = delete;
  virtual ~image_container() = default;

  [[nodiscard]] container_kind kind() const { return kind_; }
  [[nodiscard]] const metadata_blocks& blocks() const { return blocks_; }

  /// False where pieces or blocks couldn't be understood, or where there are two of a kind of which others may believe
  /// either. The blocks are then the first good ones.
  [[nodiscard]] bool is_whole() const { return is_whole_; }

  /// The bytes of the file.
  [[nodiscard]] byte_source& source() const { return source_; }

  /// Where the XMP packet stands; of a file without one nothing.
  [[nodiscard]] virtual std::optional<std::uint64_t> xmp_offset() const = 0;

  /// The longest XMP packet that the container takes.
  [[nodiscard]] virtual std::size_t xmp_limit() const = 0;

  /// Changes that bring the edits into the file; none where nothing differs. Nothing where the container can't hold
  /// them, and of an image that isn't whole. Fields without a block to go into are left out, unless the container makes
  /// one.
  [[nodiscard]] std::optional<edit_plan> plan(const metadata_edits& edits) const {
    return is_whole_ ? plan_whole(edits) : std::nullopt;
  }

 protected:
  image_container(container_kind kind, byte_source& source) : source_(source), kind_(kind) {}

  void note_damage() { is_whole_ = false; }
  void read_exif(const byte_range& range);
  /// Nothing for a packet that is there and can't be read.
  void read_xmp(std::optional<std::string> packet);

  byte_source& source_;
  metadata_blocks blocks_;

 private:
  /// As plan().
  [[nodiscard]] virtual std::optional<edit_plan> plan_whole(const metadata_edits& edits) const = 0;

  container_kind kind_;
  bool is_whole_ = true;
};

[[nodiscard]] inline tiff_growth growth_for(const metadata_edits& edits) {
  return edits.lays_out_anew ? tiff_growth::at_end_in_page : tiff_growth::at_end;
}

/// The kind that the first bytes tell; nothing for a file of less than 12.
[[nodiscard]] std::optional<container_kind> image_kind(byte_source& source);

/// Tells the container by its first bytes and opens it, whole or not; null for what is no image of these kinds. The
/// source must outlive the container.
[[nodiscard]] std::unique_ptr<image_container> open_image_container(byte_source& source);

[[nodiscard]] std::unique_ptr<image_container> open_jpeg(byte_source& source);
[[nodiscard]] std::unique_ptr<image_container> open_png(byte_source& source);
[[nodiscard]] std::unique_ptr<image_container> open_tiff(byte_source& source);
[[nodiscard]] std::unique_ptr<image_container> open_webp(byte_source& source);

}  // namespace platform::host::image
