// PNG (ISO 15948): chunks between signature and IEND. XMP is the iTXt chunk with the keyword below, Exif the eXIf
// chunk. Text chunks with a "Raw profile type" are what some programs wrote before these; they stay as they are.
#include <algorithm>

#include "platform/host/image/checksums.h"
#include "platform/host/image/image_container.h"
#include "platform/host/image/plan_builder.h"
#include "platform/host/image/png_chunks.h"

namespace platform::host::image {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t largest_metadata = std::size_t{64} << 20;
constexpr std::string_view xmp_keyword = "XML:com.adobe.xmp\0"sv;
// Keyword, no compression, no language, no translated keyword.
constexpr std::string_view xmp_head = "XML:com.adobe.xmp\0\0\0\0\0"sv;

struct chunk_list {
  std::uint64_t first_end = 0;  ///< of IHDR
  std::optional<png_chunk> exif;
  std::optional<png_chunk> xmp;
  std::optional<std::uint64_t> offset_index;  ///< of iDOT, which holds the distance from itself to a part of the pixels
};

bool is_xmp(byte_source& source, const png_chunk& candidate) {
  return candidate.type == "iTXt" && candidate.size >= xmp_keyword.size() &&
         source.read(candidate.data(), xmp_keyword.size()) == xmp_keyword;
}

// False for a file without IEND, with chunks that leave the file, or with two chunks of a kind that we change.
bool list_chunks(byte_source& source, chunk_list& list) {
  bool is_single = true;
  const auto keep_first = [&is_single](std::optional<png_chunk>& slot, const png_chunk& found) {
    is_single = is_single && !slot;
    if (!slot) slot = found;
  };
  std::uint64_t at = png_signature_size;
  for (std::size_t i = 0; i < most_png_chunks; ++i) {
    const std::optional<png_chunk> next = png_chunk_at(source, at);
    if (!next || (i == 0) != (next->type == "IHDR")) return false;
    if (i == 0) list.first_end = next->end();
    if (next->type == "IEND") return is_single;
    if (next->type == "iDOT") list.offset_index = next->offset;
    if (next->type == "eXIf") keep_first(list.exif, *next);
    if (is_xmp(source, *next)) keep_first(list.xmp, *next);
    at = next->end();
  }
  return false;
}

std::string chunk_bytes(std::string_view type, std::string_view data) {
  std::string body(type);
  body += data;
  std::string bytes = u32_bytes(static_cast<std::uint32_t>(data.size()), byte_order::big);
  bytes += body;
  append_u32(bytes, crc32(body), byte_order::big);
  return bytes;
}

// The data of a chunk whose checksum is right.
std::optional<std::string> checked_data(byte_source& source, const png_chunk& of) {
  if (of.size > largest_metadata) return std::nullopt;
  std::optional<std::string> bytes = source.read(of.offset, of.end() - of.offset);
  if (!bytes) return std::nullopt;
  std::string data = bytes->substr(8, of.size);
  if (chunk_bytes(of.type, data) != *bytes) return std::nullopt;
  return data;
}

class png_container final : public image_container {
 public:
  explicit png_container(byte_source& source);

  [[nodiscard]] std::size_t xmp_limit() const override { return largest_metadata - xmp_head.size(); }
  [[nodiscard]] std::optional<std::uint64_t> xmp_offset() const override {
    return chunks_.xmp ? std::optional(chunks_.xmp->data() + xmp_at_) : std::nullopt;
  }

 private:
  [[nodiscard]] std::optional<edit_plan> plan_whole(const metadata_edits& edits) const override;
  void read_exif_chunk();
  [[nodiscard]] std::optional<std::string> read_packet();
  void replace(plan_builder& plan, const png_chunk& old, const std::string& old_data, const std::string& data) const;

  chunk_list chunks_;
  std::string exif_data_;
  std::string xmp_data_;
  std::size_t xmp_at_ = 0;  // in its chunk's data
};

png_container::png_container(byte_source& source) : image_container(container_kind::png, source) {
  if (!list_chunks(source, chunks_)) note_damage();
  if (chunks_.exif) read_exif_chunk();
  if (chunks_.xmp) read_xmp(read_packet());
}

void png_container::read_exif_chunk() {
  std::optional<std::string> data = checked_data(source_, *chunks_.exif);
  if (!data) return note_damage();
  exif_data_ = std::move(*data);
  read_exif({&source_, chunks_.exif->data(), chunks_.exif->size});
}

std::optional<std::string> png_container::read_packet() {
  std::optional<std::string> data = checked_data(source_, *chunks_.xmp);
  if (!data) return std::nullopt;
  xmp_data_ = std::move(*data);
  // Keyword NUL, compression flag and method, language NUL, translated keyword NUL, text. XMP asks for plain text; a
  // compressed packet is one that we don't read.
  if (xmp_data_.size() < xmp_keyword.size() + 2 || xmp_data_[xmp_keyword.size()] != '\0') return std::nullopt;
  const std::size_t language_end = xmp_data_.find('\0', xmp_keyword.size() + 2);
  if (language_end == std::string::npos) return std::nullopt;
  const std::size_t translation_end = xmp_data_.find('\0', language_end + 1);
  if (translation_end == std::string::npos) return std::nullopt;
  xmp_at_ = translation_end + 1;
  return xmp_data_.substr(xmp_at_);
}

// A chunk between iDOT and the pixels may not grow there: it moves to the front.
void png_container::replace(plan_builder& plan, const png_chunk& old, const std::string& old_data,
                            const std::string& data) const {
  if (data.size() != old_data.size() && chunks_.offset_index && old.offset > *chunks_.offset_index) {
    plan.splice_in(chunks_.first_end, 0, chunk_bytes(old.type, data));
    plan.splice_in(old.offset, old.end() - old.offset, {});
  } else {
    plan.replace(old.offset, chunk_bytes(old.type, old_data), chunk_bytes(old.type, data));
  }
}

std::optional<edit_plan> png_container::plan_whole(const metadata_edits& edits) const {
  plan_builder plan;
  if (blocks_.exif) {
    std::optional<tiff_edit> edit = edit_tiff_block(*blocks_.exif, edits.fields, growth_for(edits), largest_metadata);
    if (!edit) return std::nullopt;
    std::string data = exif_data_;
    for (const splice& patch : edit->patches)
      data.replace(patch.offset, patch.erase, patch.bytes);
    data += edit->appended;
    replace(plan, *chunks_.exif, exif_data_, data);
  }
  if (edits.xmp && edits.xmp->text.size() > xmp_limit()) return std::nullopt;
  if (edits.xmp && chunks_.xmp) {
    replace(plan, *chunks_.xmp, xmp_data_, xmp_data_.substr(0, xmp_at_) + edits.xmp->text);
  } else if (edits.xmp) {
    // Right behind IHDR, where no chunk counts on its place.
    plan.splice_in(chunks_.first_end, 0, chunk_bytes("iTXt", std::string(xmp_head) + edits.xmp->text));
  }
  return plan.take();
}

}  // namespace

std::unique_ptr<image_container> open_png(byte_source& source) { return std::make_unique<png_container>(source); }

}  // namespace platform::host::image
