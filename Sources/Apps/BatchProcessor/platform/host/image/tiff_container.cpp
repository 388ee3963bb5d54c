// TIFF: everything hangs on the first directory, that of the first page: the fields themselves, XMP (700) and IPTC
// (33723), whose digest is among the image resources (34377).
#include "platform/host/image/checksums.h"
#include "platform/host/image/image_container.h"
#include "platform/host/image/iptc.h"
#include "platform/host/image/photoshop_resources.h"
#include "platform/host/image/plan_builder.h"

namespace platform::host::image {

namespace {

constexpr std::size_t largest_metadata = std::size_t{64} << 20;
constexpr std::uint64_t largest_file = UINT32_MAX;  // offsets have 32 bits

class tiff_container final : public image_container {
 public:
  explicit tiff_container(byte_source& source) : image_container(container_kind::tiff), source_(source) {}

  [[nodiscard]] bool read_blocks();

  [[nodiscard]] std::size_t xmp_limit() const override { return largest_metadata; }
  [[nodiscard]] std::optional<edit_plan> plan(const metadata_edits& edits) const override;

 private:
  [[nodiscard]] bool read_value(tiff_tag tag, std::optional<std::string>& value) const;

  byte_source& source_;
  std::optional<std::string> resources_;
};

// False for a value that is there and can't be read.
bool tiff_container::read_value(tiff_tag tag, std::optional<std::string>& value) const {
  const tiff_entry* entry = blocks_.exif->directory.find(tag);
  if (entry == nullptr) return true;
  value = tiff_value(*blocks_.exif, *entry);
  return value.has_value();
}

bool tiff_container::read_blocks() {
  blocks_.exif = read_tiff_block({&source_, 0, source_.size()});
  if (!blocks_.exif || blocks_.exif->directory.entries.empty()) return false;
  std::optional<std::string> packet;
  if (!read_value(tiff_tag::xmp, packet) || !read_value(tiff_tag::iptc, blocks_.iptc)) return false;
  if (blocks_.iptc && !read_value(tiff_tag::photoshop, resources_)) return false;
  if (packet) {
    blocks_.xmp = parse_xmp_packet(std::move(*packet));
    if (!blocks_.xmp) return false;
  }
  return !blocks_.iptc || is_iptc_block(*blocks_.iptc);
}

std::optional<edit_plan> tiff_container::plan(const metadata_edits& edits) const {
  if (edits.xmp && edits.xmp->size() > xmp_limit()) return std::nullopt;
  std::vector<tiff_change> changes = edits.fields;
  if (edits.xmp) changes.push_back({tiff_tag::xmp, *edits.xmp});
  if (edits.iptc && *edits.iptc != blocks_.iptc) {
    std::string iptc = *edits.iptc;
    // Some programs declare the bytes as whole numbers of four.
    const tiff_entry* old = blocks_.exif->directory.find(tiff_tag::iptc);
    if (old != nullptr && old->type == static_cast<std::uint16_t>(tiff_type::unsigned_long)) {
      iptc.append((4 - iptc.size() % 4) % 4, '\0');
    }
    if (resources_ && list_photoshop_resources(*resources_)) {
      changes.push_back({tiff_tag::photoshop, with_iptc_block(*resources_, iptc)});
    }
    changes.push_back({tiff_tag::iptc, std::move(iptc)});
  }
  std::optional<tiff_edit> edit = edit_tiff_block(*blocks_.exif, changes, tiff_growth::at_end, largest_file);
  if (!edit) return std::nullopt;
  plan_builder plan;
  for (splice& patch : edit->patches)
    plan.splice_in(patch.offset, patch.erase, std::move(patch.bytes));
  plan.splice_in(source_.size(), 0, std::move(edit->appended));
  return plan.take();
}

}  // namespace

std::unique_ptr<image_container> open_tiff(byte_source& source) {
  auto container = std::make_unique<tiff_container>(source);
  if (!container->read_blocks()) return nullptr;
  return container;
}

}  // namespace platform::host::image
