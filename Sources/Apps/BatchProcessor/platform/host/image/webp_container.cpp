// WebP (RFC 9649): RIFF chunks, with a VP8X chunk in front that says what else there is. A file of the simple kind,
// which is one bitstream chunk, gets one when metadata is added.
#include <algorithm>

#include "platform/host/image/image_container.h"
#include "platform/host/image/plan_builder.h"
#include "platform/host/image/webp_chunks.h"

namespace platform::host::image {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t largest_metadata = std::size_t{64} << 20;
constexpr std::uint64_t largest_riff = 0xfffffffe;

constexpr unsigned char xmp_flag = 0x04;
constexpr unsigned char alpha_flag = 0x10;

struct chunk_list {
  std::uint64_t end = 0;  ///< of the RIFF; bytes behind it trail
  webp_chunk first;
  bool only_one = true;
  std::optional<webp_chunk> exif;
  std::optional<webp_chunk> xmp;
};

// False for a cut file, or one with two chunks of a kind that we change.
bool list_chunks(byte_source& source, chunk_list& list) {
  const std::optional<std::string> head = source.read(0, first_webp_chunk);
  if (!head) return false;
  list.end = std::uint64_t{8} + get_u32(*head, 4, byte_order::little);
  if (list.end > source.size()) return false;
  bool is_single = true;
  std::uint64_t at = first_webp_chunk;
  for (std::size_t i = 0; i < most_webp_chunks && at < list.end; ++i) {
    const std::optional<webp_chunk> next = webp_chunk_at(source, at, list.end);
    if (!next) return false;
    if (i == 0) list.first = *next;
    list.only_one = i == 0;
    std::optional<webp_chunk>* slot = next->type == "EXIF" ? &list.exif : next->type == "XMP " ? &list.xmp : nullptr;
    if (slot != nullptr && slot->has_value()) is_single = false;
    if (slot != nullptr && !slot->has_value()) *slot = *next;
    at = next->end();
  }
  return is_single && at == list.end && !list.first.type.empty();
}

std::string chunk_bytes(std::string_view type, std::string_view data) {
  std::string bytes(type);
  append_u32(bytes, static_cast<std::uint32_t>(data.size()), byte_order::little);
  bytes += data;
  bytes.append(data.size() % 2, '\0');
  return bytes;
}

std::string extended_header(const webp_canvas& image) {
  std::string data(1, static_cast<char>(xmp_flag | (image.alpha ? alpha_flag : 0)));
  data.append(3, '\0');
  data += u32_bytes(image.width - 1, byte_order::little).substr(0, 3);
  data += u32_bytes(image.height - 1, byte_order::little).substr(0, 3);
  return chunk_bytes("VP8X", data);
}

class webp_container final : public image_container {
 public:
  explicit webp_container(byte_source& source);

  [[nodiscard]] std::size_t xmp_limit() const override { return largest_metadata; }
  [[nodiscard]] std::optional<std::uint64_t> xmp_offset() const override {
    return chunks_.xmp ? std::optional(chunks_.xmp->data()) : std::nullopt;
  }

 private:
  [[nodiscard]] std::optional<edit_plan> plan_whole(const metadata_edits& edits) const override;
  [[nodiscard]] bool read_head();
  [[nodiscard]] std::optional<std::string> read_packet() const;
  [[nodiscard]] bool is_extended() const { return chunks_.first.type == "VP8X"; }
  [[nodiscard]] bool plan_exif(plan_builder& plan, const metadata_edits& edits) const;
  [[nodiscard]] bool plan_xmp(plan_builder& plan, const packet_change& packet) const;

  chunk_list chunks_;
  std::string flags_;  // the first byte of VP8X
};

webp_container::webp_container(byte_source& source) : image_container(container_kind::webp, source) {
  if (!list_chunks(source, chunks_) || !read_head()) note_damage();
  if (chunks_.exif) read_exif(webp_exif_block(source_, *chunks_.exif));
  if (chunks_.xmp) read_xmp(read_packet());
}

// False for what is neither of the two kinds of file.
bool webp_container::read_head() {
  if (!is_extended()) return chunks_.only_one && webp_canvas_of(source_, chunks_.first);
  std::optional<std::string> flags = source_.read(chunks_.first.data(), 1);
  if (chunks_.first.size < 10 || !flags) return false;
  flags_ = std::move(*flags);
  return true;
}

std::optional<std::string> webp_container::read_packet() const {
  if (chunks_.xmp->size > largest_metadata) return std::nullopt;
  return source_.read(chunks_.xmp->data(), chunks_.xmp->size);
}

bool webp_container::plan_exif(plan_builder& plan, const metadata_edits& edits) const {
  auto edit = edit_tiff_block(*blocks_.exif, edits.fields, growth_for(edits), largest_metadata);
  if (!edit) return false;
  const byte_range& block = blocks_.exif->range;
  plan.add(block.begin, std::move(edit->patches));
  if (edit->appended.empty()) return true;
  const webp_chunk& exif = *chunks_.exif;
  const auto size = static_cast<std::uint32_t>(exif.size + edit->appended.size());
  plan.replace(exif.offset + 4, u32_bytes(exif.size, byte_order::little), u32_bytes(size, byte_order::little));
  edit->appended.append(size % 2, '\0');
  plan.splice_in(block.begin + block.size, exif.size % 2, std::move(edit->appended));
  return true;
}

bool webp_container::plan_xmp(plan_builder& plan, const packet_change& packet) const {
  if (packet.text.size() > xmp_limit()) return false;
  const std::string bytes = chunk_bytes("XMP ", packet.text);
  if (chunks_.xmp) {
    const std::string old = chunk_bytes("XMP ", blocks_.stored_xmp());
    if (packet.text.size() == blocks_.stored_xmp().size()) {
      plan.replace(chunks_.xmp->data(), blocks_.stored_xmp(), packet);
    } else {
      plan.splice_in(chunks_.xmp->offset, old.size(), bytes);
    }
  } else {
    plan.splice_in(chunks_.end, 0, bytes);
  }
  if (!is_extended()) {
    const std::optional<webp_canvas> image = webp_canvas_of(source_, chunks_.first);
    if (!image || image->width == 0 || image->height == 0) return false;
    plan.splice_in(first_webp_chunk, 0, extended_header(*image));
    return true;
  }
  const auto flags = static_cast<unsigned char>(flags_[0] | xmp_flag);
  plan.replace(chunks_.first.data(), flags_, std::string(1, static_cast<char>(flags)));
  return true;
}

std::optional<edit_plan> webp_container::plan_whole(const metadata_edits& edits) const {
  plan_builder plan;
  if (blocks_.exif && !plan_exif(plan, edits)) return std::nullopt;
  if (edits.xmp && !plan_xmp(plan, *edits.xmp)) return std::nullopt;
  const std::uint64_t old_size = chunks_.end - 8;
  const std::uint64_t new_size = old_size + static_cast<std::uint64_t>(plan.growth(0, chunks_.end + 1));
  if (new_size > largest_riff) return std::nullopt;
  plan.replace(4, u32_bytes(static_cast<std::uint32_t>(old_size), byte_order::little),
               u32_bytes(static_cast<std::uint32_t>(new_size), byte_order::little));
  return plan.take();
}

}  // namespace

std::unique_ptr<image_container> open_webp(byte_source& source) { return std::make_unique<webp_container>(source); }

}  // namespace platform::host::image
