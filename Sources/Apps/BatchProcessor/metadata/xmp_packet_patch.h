// A rating into the XMP packet that stands somewhere inside a file, without moving any other byte.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quill_box::metadata {

struct packet_patch {
  std::size_t offset = 0;  ///< of the packet in the file
  std::string packet;      ///< the new packet, as long as the old one
};

/// The first packet of `content` with `rating` in place of the one it holds, or in a new block that takes its room
/// from the padding. None when there is no whole packet or it has no room.
[[nodiscard]] std::optional<packet_patch> patch_rating_in_packet(std::string_view content, std::string_view rating);

/// Writes the star number into the file's packet. Other programs are kept out meanwhile, the size stays. False when
/// the file can't be opened, is larger than largest_file_in_memory or than the memory there is, has no room, or can't
/// be written.
[[nodiscard]] bool patch_rating_in_file(const std::wstring& path, int stars);

}  // namespace quill_box::metadata
