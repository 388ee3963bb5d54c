// ID3v2 tags of the versions 2.2, 2.3 and 2.4 at the start of a file (id3.org: id3v2-00, id3v2.3.0, id3v2.4.0),
// read and changed frame by frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/byte_source.h"
#include "platform/host/file_rewrite.h"
#include "platform/property_system.h"

namespace platform::host::media {

struct id3_frame {
  std::string id;          ///< 3 characters in a 2.2 tag, else 4
  std::size_t offset = 0;  ///< of its header, in the tag's content
  std::size_t size = 0;    ///< with its header
};

struct id3_tag {
  int version = 3;
  std::uint8_t flags = 0;
  bool has_footer = false;
  bool plain_sizes = false;  ///< a 2.4 tag whose writer didn't make the frame sizes synchsafe
  bool fixed = false;        ///< holds something (a checksum, restrictions) that a change would make untrue
  std::string stored;        ///< what the file has behind the tag's header
  std::string content;       ///< the same without tag-wide unsynchronisation
  std::size_t frames_begin = 0;
  std::size_t frames_end = 0;                ///< zeros from here on
  std::optional<std::size_t> padding_field;  ///< where the content's extended header states the padding
  std::vector<id3_frame> frames;
};

/// None where the file doesn't start with a tag; hresult::fail where the tag can't be decoded to its last byte.
[[nodiscard]] hresult_result<std::optional<id3_tag>> read_id3_tag(byte_source& source);

/// What a frame holds, its own unsynchronisation undone; none where it is compressed, encrypted or contradicts itself.
[[nodiscard]] std::optional<std::string> frame_data(const id3_tag& tag, const id3_frame& frame);

/// The frame as it stands in the content, with other data; its flags and its additions to the header stay. Only for
/// frames that frame_data() can read.
[[nodiscard]] std::string frame_with_data(const id3_tag& tag, const id3_frame& frame, std::string_view data);

/// A new frame in the form of the tag's version, its data less than 100 bytes.
[[nodiscard]] std::string new_frame(const id3_tag& tag, std::string_view id, std::string_view data);

/// The edits that put `frames` (headers and all, as content) in the place of the tag's frames. The padding gives the
/// room; a tag that has too little of it grows, and gets padding for the next time unless it has a footer. None where
/// that can't be done without harm.
[[nodiscard]] std::optional<edit_plan> replace_frames(const id3_tag& tag, std::string_view frames);

/// A whole new 2.3 tag with one frame, and padding.
[[nodiscard]] std::string new_id3_tag(std::string_view id, std::string_view data);

}  // namespace platform::host::media
