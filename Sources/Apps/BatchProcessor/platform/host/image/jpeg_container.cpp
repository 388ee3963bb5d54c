// JPEG: segments up to the scan (ITU T.81 B.1), with Exif and XMP in APP1, image resources in APP13 and the index of
// multi-picture files in APP2. The scan, and whatever trails behind the image, is never read.
#include <algorithm>

#include "platform/host/image/image_container.h"
#include "platform/host/image/iptc.h"
#include "platform/host/image/mpf_index.h"
#include "platform/host/image/photoshop_resources.h"
#include "platform/host/image/plan_builder.h"

namespace platform::host::image {

namespace {

using namespace std::string_view_literals;

constexpr std::uint8_t marker_soi = 0xd8;
constexpr std::uint8_t marker_eoi = 0xd9;
constexpr std::uint8_t marker_sos = 0xda;
constexpr std::uint8_t marker_app0 = 0xe0;
constexpr std::uint8_t marker_app1 = 0xe1;
constexpr std::uint8_t marker_app2 = 0xe2;
constexpr std::uint8_t marker_app13 = 0xed;

constexpr std::string_view exif_signature = "Exif\0\0"sv;
constexpr std::string_view xmp_signature = "http://ns.adobe.com/xap/1.0/\0"sv;
constexpr std::string_view photoshop_signature = "Photoshop 3.0\0"sv;
constexpr std::string_view mpf_signature = "MPF\0"sv;

constexpr std::size_t largest_payload = 65533;
constexpr std::size_t most_segments = 100000;  // a file of nothing but empty segments would take minutes

enum class segment_kind : std::uint8_t { exif, xmp, photoshop, mpf, other };

struct segment {
  std::uint64_t offset = 0;  ///< of the marker, behind fill bytes
  std::uint8_t marker = 0;
  segment_kind kind = segment_kind::other;
  std::uint64_t payload = 0;  ///< behind marker, length and signature
  std::uint64_t end = 0;

  [[nodiscard]] std::uint64_t payload_size() const { return end - payload; }
};

struct kind_rule {
  std::uint8_t marker;
  std::string_view signature;
  segment_kind kind;
};

constexpr kind_rule kind_rules[] = {
    {marker_app1, exif_signature, segment_kind::exif},
    {marker_app1, xmp_signature, segment_kind::xmp},
    {marker_app13, photoshop_signature, segment_kind::photoshop},
    {marker_app2, mpf_signature, segment_kind::mpf},
};

void classify(byte_source& source, segment& found) {
  for (const kind_rule& rule : kind_rules) {
    if (rule.marker != found.marker || rule.signature.size() > found.payload_size()) continue;
    if (source.read(found.payload, rule.signature.size()) != rule.signature) continue;
    found.kind = rule.kind;
    found.payload += rule.signature.size();
    return;
  }
}

// The segments in front of the scan. False where there is no scan, or something that is no segment comes first.
bool list_segments(byte_source& source, std::vector<segment>& segments) {
  constexpr std::size_t most_stray_bytes = 4096;
  std::uint64_t at = 2;
  std::size_t stray_bytes = 0;
  while (segments.size() < most_segments) {
    const std::optional<std::string> head = source.read(at, 4);
    if (!head) return false;
    if ((*head)[0] != '\xff') {
      // Every decoder passes over stray bytes up to the next marker.
      if (++stray_bytes > most_stray_bytes) return false;
      ++at;
      continue;
    }
    const auto marker = static_cast<std::uint8_t>((*head)[1]);
    if (marker == 0xff) {
      ++at;  // a fill byte
      continue;
    }
    // Markers without a length have no business here, nor has a second image.
    if (marker <= 0x01 || (marker >= 0xd0 && marker <= marker_eoi)) return false;
    const std::uint16_t length = get_u16(*head, 2, byte_order::big);
    segment next{at, marker, segment_kind::other, at + 4, at + 2 + length};
    if (length < 2 || next.end > source.size()) return false;
    if (marker == marker_sos) return true;
    classify(source, next);
    segments.push_back(next);
    at = next.end;
  }
  return false;
}

std::string segment_bytes(std::uint8_t marker, std::string_view signature, std::string_view payload) {
  std::string bytes = {'\xff', static_cast<char>(marker)};
  append_u16(bytes, static_cast<std::uint16_t>(2 + signature.size() + payload.size()), byte_order::big);
  bytes += signature;
  bytes += payload;
  return bytes;
}

class jpeg_container final : public image_container {
 public:
  explicit jpeg_container(byte_source& source);

  [[nodiscard]] std::size_t xmp_limit() const override { return largest_payload - xmp_signature.size(); }
  [[nodiscard]] std::optional<std::uint64_t> xmp_offset() const override {
    const segment* xmp = find(segment_kind::xmp);
    return xmp == nullptr ? std::nullopt : std::optional(xmp->payload);
  }

 private:
  [[nodiscard]] std::optional<edit_plan> plan_whole(const metadata_edits& edits) const override;
  [[nodiscard]] const segment* find(segment_kind kind) const;
  [[nodiscard]] std::size_t count(segment_kind kind) const;
  [[nodiscard]] bool read_photoshop();

  [[nodiscard]] std::uint64_t place_of_exif() const;
  [[nodiscard]] std::uint64_t place_of_xmp() const;
  void set_length(plan_builder& plan, const segment& of, std::size_t payload_size) const;
  [[nodiscard]] bool plan_exif(plan_builder& plan, const metadata_edits& edits) const;
  void plan_xmp(plan_builder& plan, const packet_change& packet) const;
  void plan_iptc(plan_builder& plan, const std::string& iptc) const;
  [[nodiscard]] bool has_fixed_places() const;
  [[nodiscard]] bool plan_mpf(plan_builder& plan) const;

  std::vector<segment> segments_;
  std::string photoshop_;  // the resources of all segments together: one may reach over several
};

const segment* jpeg_container::find(segment_kind kind) const {
  const auto found =
      std::find_if(segments_.begin(), segments_.end(), [kind](const segment& s) { return s.kind == kind; });
  return found == segments_.end() ? nullptr : &*found;
}

std::size_t jpeg_container::count(segment_kind kind) const {
  return static_cast<std::size_t>(
      std::count_if(segments_.begin(), segments_.end(), [kind](const segment& s) { return s.kind == kind; }));
}

jpeg_container::jpeg_container(byte_source& source) : image_container(container_kind::jpeg, source) {
  if (!list_segments(source, segments_)) note_damage();
  // Which of two Exif or XMP blocks other programs believe differs from one to the next.
  for (const segment_kind kind : {segment_kind::exif, segment_kind::xmp, segment_kind::mpf}) {
    if (count(kind) > 1) note_damage();
  }
  for (const segment& next : segments_) {
    if (next.kind == segment_kind::exif && !blocks_.exif) read_exif({&source_, next.payload, next.payload_size()});
    if (next.kind == segment_kind::xmp && !blocks_.xmp) read_xmp(source_.read(next.payload, next.payload_size()));
  }
  if (!read_photoshop()) note_damage();
}

bool jpeg_container::read_photoshop() {
  for (const segment& part : segments_) {
    if (part.kind != segment_kind::photoshop) continue;
    const std::optional<std::string> bytes = source_.read(part.payload, part.payload_size());
    if (!bytes) return false;
    photoshop_ += *bytes;
  }
  const std::optional<std::vector<photoshop_resource>> resources = list_photoshop_resources(photoshop_);
  if (!resources) return false;
  for (const photoshop_resource& resource : *resources) {
    if (resource.id != photoshop_iptc) continue;
    if (!is_iptc_block(resource.value)) return false;
    // Of several blocks each program reads another: their datasets become one row.
    const std::size_t size = resource.value.find_last_not_of('\0') + 1;
    blocks_.iptc = blocks_.iptc.value_or(std::string()) + std::string(resource.value.substr(0, size));
  }
  return true;
}

// Behind the JFIF segments, which have to come first.
std::uint64_t jpeg_container::place_of_exif() const {
  std::uint64_t place = 2;
  for (const segment& leading : segments_) {
    if (leading.marker != marker_app0) break;
    place = leading.end;
  }
  return place;
}

// Behind Exif, but in front of the index of a multi-picture file: the offsets in that count from itself, so that it
// may move along with what is behind it, and nothing may come in between.
std::uint64_t jpeg_container::place_of_xmp() const {
  const segment* exif = find(segment_kind::exif);
  const segment* mpf = find(segment_kind::mpf);
  if (exif == nullptr || (mpf != nullptr && mpf->offset < exif->offset)) return place_of_exif();
  return exif->end;
}

void jpeg_container::set_length(plan_builder& plan, const segment& of, std::size_t payload_size) const {
  const auto signature_size = of.payload - of.offset - 4;
  const auto length_of = [&](std::uint64_t size) {
    return u16_bytes(static_cast<std::uint16_t>(2 + signature_size + size), byte_order::big);
  };
  plan.replace(of.offset + 2, length_of(of.payload_size()), length_of(payload_size));
}

// False where the block has no space for a field in its segment: XMP alone would contradict what Exif says.
bool jpeg_container::plan_exif(plan_builder& plan, const metadata_edits& edits) const {
  constexpr std::uint64_t largest_block = largest_payload - exif_signature.size();
  const segment* exif = find(segment_kind::exif);
  if (exif == nullptr) {
    const bool removes_only = std::all_of(edits.fields.begin(), edits.fields.end(), [](const tiff_change& change) {
      return std::holds_alternative<std::monostate>(change.value);
    });
    if (removes_only) return true;
    const std::string block = new_tiff_block(edits.fields);
    if (block.size() > largest_block) return true;
    plan.splice_in(place_of_exif(), 0, segment_bytes(marker_app1, exif_signature, block));
    return true;
  }
  auto edit = edit_tiff_block(*blocks_.exif, edits.fields, growth_for(edits), largest_block);
  // A block that has no field of the kind goes without: there is nothing to contradict.
  if (!edit) edit = edit_tiff_block(*blocks_.exif, edits.fields, tiff_growth::none, largest_block);
  if (!edit) return false;
  plan.add(exif->payload, std::move(edit->patches));
  set_length(plan, *exif, exif->payload_size() + edit->appended.size());
  plan.splice_in(exif->end, 0, std::move(edit->appended));
  return true;
}

void jpeg_container::plan_xmp(plan_builder& plan, const packet_change& packet) const {
  const segment* xmp = find(segment_kind::xmp);
  if (xmp == nullptr) {
    plan.splice_in(place_of_xmp(), 0, segment_bytes(marker_app1, xmp_signature, packet.text));
    return;
  }
  set_length(plan, *xmp, packet.text.size());
  plan.replace(xmp->payload, blocks_.stored_xmp(), packet);
}

void jpeg_container::plan_iptc(plan_builder& plan, const std::string& iptc) const {
  constexpr std::size_t largest_part = largest_payload - photoshop_signature.size();
  const std::string changed = with_iptc_block(photoshop_, iptc);
  const segment& first = *find(segment_kind::photoshop);
  if (count(segment_kind::photoshop) == 1 && changed.size() <= largest_part) {
    set_length(plan, first, changed.size());
    plan.replace(first.payload, photoshop_, changed);
    return;
  }
  for (const segment& part : segments_) {
    if (part.kind == segment_kind::photoshop) plan.splice_in(part.offset, part.end - part.offset, {});
  }
  std::string parts;
  for (std::size_t at = 0; at < changed.size(); at += largest_part) {
    parts += segment_bytes(marker_app13, photoshop_signature, std::string_view(changed).substr(at, largest_part));
  }
  plan.splice_in(first.end, 0, std::move(parts));
}

// Some programs append a table of places in the file, which they count from its start.
bool jpeg_container::has_fixed_places() const {
  constexpr std::size_t signature_size = 12;
  if (source_.size() < signature_size) return false;
  const std::optional<std::string> end = source_.read(source_.size() - signature_size, signature_size);
  return !end || end->starts_with("AXS!") || end->starts_with("AXS*");
}

// The size of the first image is in the index; what grows behind the index moves the other images away from it.
bool jpeg_container::plan_mpf(plan_builder& plan) const {
  const segment* mpf = find(segment_kind::mpf);
  if (mpf == nullptr) return true;
  const std::int64_t growth = plan.growth(0, source_.size());
  const std::int64_t growth_behind = plan.growth(mpf->end, source_.size());
  if (growth == 0 && growth_behind == 0) return true;
  const std::optional<mpf_entries> entries = read_mpf_entries({&source_, mpf->payload, mpf->payload_size()});
  if (!entries) return growth_behind == 0;
  const std::optional<std::string> moved = moved_mpf_entries(*entries, growth, growth_behind);
  if (!moved) return false;
  plan.replace(mpf->payload + entries->offset, entries->bytes, *moved);
  return true;
}

std::optional<edit_plan> jpeg_container::plan_whole(const metadata_edits& edits) const {
  plan_builder plan;
  if (!plan_exif(plan, edits)) return std::nullopt;
  if (edits.xmp && edits.xmp->text.size() > xmp_limit()) return std::nullopt;
  if (edits.xmp) plan_xmp(plan, *edits.xmp);
  if (edits.iptc && blocks_.iptc) plan_iptc(plan, *edits.iptc);
  if (plan.growth(0, source_.size()) != 0 && has_fixed_places()) return std::nullopt;
  if (!plan_mpf(plan)) return std::nullopt;
  return plan.take();
}

}  // namespace

std::unique_ptr<image_container> open_jpeg(byte_source& source) {
  const std::optional<std::string> start = source.read(0, 2);
  if (!start || *start != std::string{'\xff', static_cast<char>(marker_soi)}) return nullptr;
  return std::make_unique<jpeg_container>(source);
}

}  // namespace platform::host::image
