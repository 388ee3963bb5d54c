// The frame: an e-mail address with a zero, the rating from 1 (worst) to 255, 0 for unknown, and a play counter of any
// length. Windows' own frame is the one with the name of its player in place of an address.
#include "platform/host/media/mp3_rating.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "platform/host/byte_order.h"
#include "platform/host/media/id3_tag.h"
#include "platform/host/star_scale.h"

namespace platform::host::media {

namespace {

constexpr std::string_view own_name = "Windows Media Player 9 Series";

// In the order of star_scale.
struct byte_row {
  std::uint8_t lowest;  ///< read as this many stars from here up
  std::uint8_t stored;
};
constexpr std::array<byte_row, star_scale.size()> star_bytes = {
    {{0, 0}, {1, 1}, {32, 64}, {96, 128}, {160, 196}, {224, 255}}};

struct popularimeter {
  id3_frame frame;
  std::string data;
  std::size_t rating = 0;  ///< offset in the data
  bool own = false;
};

std::uint8_t rating_byte(const popularimeter& frame) { return static_cast<std::uint8_t>(frame.data[frame.rating]); }

std::optional<std::uint32_t> percent_of(std::uint8_t byte) {
  if (byte == 0) return std::nullopt;
  const auto* const above = std::ranges::upper_bound(star_bytes, byte, {}, &byte_row::lowest);
  return star_scale[static_cast<std::size_t>(above - star_bytes.begin()) - 1].written;
}

std::optional<std::uint8_t> byte_of(std::uint32_t percent) {
  const auto stars = stars_of_percent(percent);
  return stars ? std::optional(star_bytes[*stars].stored) : std::nullopt;
}

std::string_view frame_id(const id3_tag& tag) { return tag.version == 2 ? "POP" : "POPM"; }

/// None where one of them can't be decoded.
std::optional<std::vector<popularimeter>> popularimeters(const id3_tag& tag) {
  std::vector<popularimeter> found;
  for (const id3_frame& frame : tag.frames) {
    if (frame.id != frame_id(tag)) continue;
    auto data = frame_data(tag, frame);
    if (!data) return std::nullopt;
    const std::size_t name_end = data->find('\0');
    if (name_end == std::string::npos || name_end + 1 == data->size()) return std::nullopt;
    const bool own = std::string_view(*data).substr(0, name_end) == own_name;
    found.push_back({frame, *std::move(data), name_end + 1, own});
  }
  return found;
}

/// Windows' frame, else the first; null without any.
const popularimeter* ruling(const std::vector<popularimeter>& frames) {
  if (frames.empty()) return nullptr;
  const auto own = std::find_if(frames.begin(), frames.end(), [](const popularimeter& frame) { return frame.own; });
  return own != frames.end() ? &*own : &frames.front();
}

/// The length of an MPEG audio frame by its header of 4 bytes; none where that isn't one, or says no length.
std::optional<std::uint64_t> audio_frame_length(std::string_view header) {
  static constexpr std::uint16_t kilobits[5][15] = {
      {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},  // version 1, layer I
      {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},     // version 1, layer II
      {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},      // version 1, layer III
      {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},     // versions 2 and 2.5, layer I
      {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},          // versions 2 and 2.5, layers II, III
  };
  static constexpr std::uint32_t sample_rates[3] = {44100, 48000, 32000};
  const std::uint64_t bits = get_big(header, 0, 4);
  const auto version = bits >> 19 & 3;  // 3 is version 1, 2 is 2, 0 is 2.5
  const auto layer = 4 - (bits >> 17 & 3);
  const auto rate_index = bits >> 12 & 15;
  const auto sample_index = bits >> 10 & 3;
  const auto padding = bits >> 9 & 1;
  if (bits >> 21 != 0x7ff || version == 1 || layer == 4 || rate_index == 0 || rate_index == 15 || sample_index == 3) {
    return std::nullopt;
  }
  const bool first_version = version == 3;
  const std::size_t table = first_version ? layer - 1 : layer == 1 ? 3 : 4;
  const std::uint64_t rate = std::uint64_t{kilobits[table][rate_index]} * 1000;
  const std::uint64_t samples = sample_rates[sample_index] / (first_version ? 1U : version == 2 ? 2U : 4U);
  if (layer == 1) return (12 * rate / samples + padding) * 4;
  const std::uint64_t slots = layer == 3 && !first_version ? 72 : 144;
  return slots * rate / samples + padding;
}

/// True where two frames of one stream follow each other at the start, or one fills the file.
bool starts_with_audio(byte_source& source) {
  const auto first = source.read(0, 4);
  if (!first) return false;
  const auto length = audio_frame_length(*first);
  if (!length || *length > source.size()) return false;
  if (*length == source.size()) return true;
  const auto second = source.read(*length, 4);
  if (!second) return false;
  if (second->starts_with("TAG") || *second == "APET") return true;
  constexpr std::uint64_t same_in_a_stream = 0xfffe0c00;  // sync, version, layer, sample rate
  return audio_frame_length(*second) && ((get_big(*first, 0, 4) ^ get_big(*second, 0, 4)) & same_in_a_stream) == 0;
}

struct parsed_file {
  std::optional<id3_tag> tag;
  std::vector<popularimeter> frames;
};

hresult_result<parsed_file> parse(byte_source& source) {
  auto tag = read_id3_tag(source);
  if (!tag) return tag.error();
  if (!*tag) {
    // A tag can only be put in front of what is an MPEG stream from its first byte.
    if (!starts_with_audio(source)) return hresult::fail;
    return parsed_file();
  }
  auto frames = popularimeters(**tag);
  if (!frames) return hresult::fail;
  return parsed_file{*std::move(*tag), *std::move(frames)};
}

hresult_result<std::optional<std::uint32_t>> read(byte_source& source, handler_access access) {
  const auto file = parse(source);
  if (!file) return file.error();
  if (access == handler_access::read_write && file->tag && file->tag->fixed) return hresult::fail;
  const popularimeter* const frame = ruling(file->frames);
  return frame == nullptr ? std::nullopt : percent_of(rating_byte(*frame));
}

std::string new_frame_data(std::uint8_t byte) {
  std::string data(own_name);
  data += '\0';
  data += static_cast<char>(byte);
  data.append(4, '\0');  // the counter
  return data;
}

/// The tag's frames with the rating changed. Without a rating Windows' frame goes, unless another program's would then
/// take its place.
std::string changed_frames(const id3_tag& tag, const std::vector<popularimeter>& frames, std::uint8_t byte) {
  const bool others_rate = std::any_of(
      frames.begin(), frames.end(), [](const popularimeter& frame) { return !frame.own && rating_byte(frame) != 0; });
  const bool keep = byte != 0 || others_rate;
  std::string made;
  std::size_t copied = tag.frames_begin;
  bool stored = false;
  for (const popularimeter& frame : frames) {
    if (!frame.own || (keep && stored)) continue;
    made += std::string_view(tag.content).substr(copied, frame.frame.offset - copied);
    copied = frame.frame.offset + frame.frame.size;
    if (!keep) continue;
    std::string data = frame.data;
    data[frame.rating] = static_cast<char>(byte);
    made += frame_with_data(tag, frame.frame, data);
    stored = true;
  }
  made += std::string_view(tag.content).substr(copied, tag.frames_end - copied);
  if (keep && !stored) made += new_frame(tag, frame_id(tag), new_frame_data(byte));
  return made;
}

hresult_result<edit_plan> plan(byte_source& source, std::uint32_t percent) {
  const auto file = parse(source);
  if (!file) return file.error();
  const auto byte = byte_of(percent);
  if (!byte) return hresult::invalid_argument;
  const popularimeter* const frame = ruling(file->frames);
  const std::optional<std::uint32_t> current = frame == nullptr ? std::nullopt : percent_of(rating_byte(*frame));
  if (current.value_or(0) == percent_of(*byte).value_or(0)) return edit_plan();
  if (!file->tag) return edit_plan{{0, 0, new_id3_tag("POPM", new_frame_data(*byte))}};
  if (file->tag->fixed) return hresult::imaging_property_not_supported;
  auto edits = replace_frames(*file->tag, changed_frames(*file->tag, file->frames, *byte));
  if (!edits) return hresult::imaging_property_not_supported;
  return *std::move(edits);
}

}  // namespace

const rating_format mp3_rating = {read, plan};

}  // namespace platform::host::media
