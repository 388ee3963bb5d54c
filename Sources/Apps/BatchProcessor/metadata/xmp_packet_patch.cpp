#include "metadata/xmp_packet_patch.h"

#include <span>

#include "files/file_functions.h"
#include "metadata/out_of_memory.h"
#include "metadata/xmp_text.h"
#include "platform/machine.h"

namespace quill_box::metadata {

namespace {

constexpr std::string_view packet_begin = "<?xpacket begin=";
constexpr std::string_view packet_end = "<?xpacket end=";
constexpr std::string_view instruction_end = "?>";
constexpr std::string_view wrapper_end_tag = "</x:xmpmeta>";

std::optional<packet_patch> first_packet(std::string_view content) {
  const std::size_t begin = content.find(packet_begin);
  const std::size_t end_marker = find_from(content, packet_end, begin);
  const std::size_t end = find_from(content, instruction_end, end_marker);
  if (end == std::string_view::npos) return std::nullopt;
  return packet_patch{begin, std::string(content.substr(begin, end + instruction_end.size() - begin))};
}

// Puts the rating between `opening` and `closing`, with blanks behind it up to the old value's length. An empty value
// is no room, nor is a shorter one. A value that runs into the end marker, such as an attribute without its end, is
// refused on purpose: blanks over the marker would break the packet.
bool replace_value(std::string& packet, std::string_view opening, std::string_view closing, std::string_view rating) {
  const std::size_t found = packet.find(opening);
  if (found == std::string::npos) return false;
  const std::size_t start = found + opening.size();
  const std::size_t end = find_from(packet, closing, start);
  if (end == std::string::npos || end > packet.find(packet_end)) return false;
  if (end == start || end - start < rating.size()) return false;
  std::string padded(rating);
  padded.resize(end - start, ' ');
  packet.replace(start, end - start, padded);
  return true;
}

std::string rating_block(std::string_view rating) {
  std::string block = R"(<rdf:Description rdf:about="" xmlns:xmp=")";
  block.append(xmp_basic_uri)
      .append(R"(">)")
      .append(rating_element_start)
      .append(rating)
      .append("</xmp:Rating></rdf:Description>");
  return block;
}

// What stands between the wrapper's end and the end marker is padding, and gives way to the block.
bool add_block(std::string& packet, std::string_view rating) {
  const std::size_t wrapper = packet.find(wrapper_end_tag);
  const std::size_t end_marker = packet.find(packet_end);
  if (wrapper == std::string::npos || end_marker == std::string::npos) return false;
  const std::size_t padding = wrapper + wrapper_end_tag.size();
  if (end_marker < padding) return false;
  const std::size_t rdf_end = std::string_view(packet).substr(0, wrapper).rfind(rdf_end_tag);
  if (rdf_end == std::string::npos) return false;
  const std::string block = rating_block(rating);
  if (end_marker - padding < block.size()) return false;
  packet.erase(padding, block.size());
  packet.insert(rdf_end, block);
  return true;
}

bool patch_file(const std::wstring& path, std::string_view rating) {
  using platform::access;
  auto file = platform::current().files.open(path, {access::read | access::write});
  if (!file) return false;
  const auto size = (*file)->size();
  if (!size || *size > largest_file_in_memory) return false;
  const auto content = files::read_exactly(**file, *size);
  if (!content) return false;
  const auto patch = patch_rating_in_packet(*content, rating);
  if (!patch || !succeeded((*file)->seek(patch->offset))) return false;
  const auto written = (*file)->write(std::as_bytes(std::span(patch->packet)));
  const bool closed = succeeded((*file)->close());
  return closed && written && *written == patch->packet.size();
}

}  // namespace

std::optional<packet_patch> patch_rating_in_packet(std::string_view content, std::string_view rating) {
  std::optional<packet_patch> patch = first_packet(content);
  if (!patch) return std::nullopt;
  std::string& packet = patch->packet;
  const std::size_t old_length = packet.size();
  const bool patched = replace_value(packet, rating_element_start, "<", rating) ||
                       replace_value(packet, rating_attribute_start, "\"", rating) || add_block(packet, rating);
  if (!patched || packet.size() != old_length) return std::nullopt;
  return patch;
}

bool patch_rating_in_file(const std::wstring& path, int stars) {
  return !path.empty() && false_without_memory([&] { return patch_file(path, std::to_string(stars)); });
}

}  // namespace quill_box::metadata
