// TIFF: everything hangs on the first directory, that of the first page: the fields themselves, XMP (700) and IPTC
// (33723), whose digest is among the image resources (34377).
#include "platform/host/image/checksums.h"
#include "platform/host/image/image_container.h"
#include "platform/host/image/iptc.h"
#include "platform/host/image/photoshop_resources.h"
#include "platform/host/image/plan_builder.h"
#include "platform/host/image/tiff_usage.h"

namespace platform::host::image {

namespace {

constexpr std::size_t largest_metadata = std::size_t{64} << 20;
constexpr std::uint64_t largest_file = UINT32_MAX;  // offsets have 32 bits

class tiff_container final : public image_container {
 public:
  explicit tiff_container(byte_source& source);

  [[nodiscard]] std::size_t xmp_limit() const override { return largest_metadata; }
  [[nodiscard]] std::optional<std::uint64_t> xmp_offset() const override;

 private:
  [[nodiscard]] std::optional<edit_plan> plan_whole(const metadata_edits& edits) const override;
  void read_iptc(const tiff_entry& entry);
  [[nodiscard]] bool stays_in_place(const packet_change& packet) const;

  std::optional<std::string> resources_;
};

tiff_container::tiff_container(byte_source& source) : image_container(container_kind::tiff, source) {
  read_exif({&source_, 0, source_.size()});
  if (!blocks_.exif || blocks_.exif->directory.entries.empty()) {
    note_damage();
    return;
  }
  if (tiff_usage(*blocks_.exif).has_data_beyond_end()) note_damage();
  const tiff_directory& fields = blocks_.exif->directory;
  if (const tiff_entry* packet = fields.find(tiff_tag::xmp)) read_xmp(tiff_value(*blocks_.exif, *packet));
  if (const tiff_entry* iptc = fields.find(tiff_tag::iptc)) read_iptc(*iptc);
}

void tiff_container::read_iptc(const tiff_entry& entry) {
  std::optional<std::string> iptc = tiff_value(*blocks_.exif, entry);
  if (!iptc || !is_iptc_block(*iptc)) return note_damage();
  blocks_.iptc = std::move(iptc);
  const tiff_entry* resources = blocks_.exif->directory.find(tiff_tag::photoshop);
  if (resources == nullptr) return;
  resources_ = tiff_value(*blocks_.exif, *resources);
  if (!resources_) note_damage();
}

std::optional<std::uint64_t> tiff_container::xmp_offset() const {
  const tiff_entry* packet = blocks_.exif ? blocks_.exif->directory.find(tiff_tag::xmp) : nullptr;
  const auto area = packet == nullptr ? std::nullopt : tiff_value_area(blocks_.exif->directory, *packet);
  return area ? std::optional(area->begin) : std::nullopt;
}

// Whether the packet can be changed where it stands: some writers let equal values share their bytes.
bool tiff_container::stays_in_place(const packet_change& packet) const {
  const auto offset = xmp_offset();
  if (!offset || !blocks_.xmp || packet.text.size() != blocks_.stored_xmp().size()) return false;
  tiff_usage usage(*blocks_.exif);
  return usage.is_value_alone({*offset, *offset + packet.text.size()}, static_cast<std::uint16_t>(tiff_tag::xmp));
}

std::optional<edit_plan> tiff_container::plan_whole(const metadata_edits& edits) const {
  if (edits.xmp && edits.xmp->text.size() > xmp_limit()) return std::nullopt;
  std::vector<tiff_change> changes = edits.fields;
  plan_builder plan;
  if (edits.xmp && stays_in_place(*edits.xmp)) {
    plan.replace(*xmp_offset(), blocks_.stored_xmp(), *edits.xmp);
  } else if (edits.xmp) {
    changes.push_back({tiff_tag::xmp, edits.xmp->text});
  }
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
  auto edit = edit_tiff_block(*blocks_.exif, changes, growth_for(edits), largest_file);
  if (!edit) return std::nullopt;
  plan.add(0, std::move(edit->patches));
  plan.splice_in(source_.size(), 0, std::move(edit->appended));
  return plan.take();
}

}  // namespace

std::unique_ptr<image_container> open_tiff(byte_source& source) { return std::make_unique<tiff_container>(source); }

}  // namespace platform::host::image
