// XMP packets from outside: one that parses takes every change, gives it back, and keeps its size where it has room.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/host/image/xmp_packet.h"

namespace {

using namespace platform::host::image;

constexpr std::size_t no_limit = std::size_t{1} << 30;

void require(bool condition) {
  if (!condition) std::abort();
}

// Outside of the pieces nothing differs; of pieces that stand alone each makes a packet by itself.
void check_pieces(const std::string& before, const packet_change& change) {
  if (change.pieces.empty()) return;
  require(change.text.size() == before.size());
  std::string with_pieces = before;
  for (const text_range& piece : change.pieces) {
    const std::string fresh = change.text.substr(piece.begin, piece.size());
    with_pieces.replace(piece.begin, piece.size(), fresh);
    if (!change.pieces_stand_alone) continue;
    require(parse_xmp_packet(std::string(before).replace(piece.begin, piece.size(), fresh)).has_value());
  }
  require(with_pieces == change.text);
}

void check(const xmp_packet& packet, const std::vector<xmp_change>& changes) {
  const std::optional<packet_change> change = edit_xmp_packet(packet, changes, no_limit);
  if (!change) return;  // an edit that couldn't be verified
  check_pieces(packet.text, *change);
  const std::optional<xmp_packet> changed = parse_xmp_packet(change->text);
  require(changed.has_value());
  for (const xmp_change& wanted : changes) {
    const auto values = xmp_values(*changed, wanted.field);
    if (wanted.values.empty()) {
      require(!values || values->empty());
    } else if (name_of(wanted.field).is_bag) {
      require(values == wanted.values);
    } else {
      require(values && values->front().find(wanted.values.front()) != std::string::npos);
    }
  }
  // Fields that were not named stay as they are.
  for (std::size_t i = 0; i < xmp_field_count; ++i) {
    const auto field = static_cast<xmp_field>(i);
    const bool named = std::any_of(changes.begin(), changes.end(),
                                   [field](const xmp_change& wanted) { return wanted.field == field; });
    if (!named) require(xmp_values(*changed, field) == xmp_values(packet, field));
  }
  const std::optional<packet_change> again = edit_xmp_packet(*changed, changes, no_limit);
  require(again && again->text == change->text);
  const std::optional<packet_change> in_place = edit_xmp_packet(packet, changes, packet.text.size());
  if (in_place) require(in_place->text.size() <= packet.text.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::optional<xmp_packet> packet = parse_xmp_packet(std::string(data, data + size));
  if (!packet) return 0;
  for (const xmp_host_element& description : packet->descriptions) {
    require(description.start_tag.begin < description.attributes_end);
    require(description.attributes_end < description.start_tag.end);
    require(description.start_tag.end <= description.end_tag && description.end_tag < size);
  }
  check(*packet, {{xmp_field::rating, {"4"}}, {xmp_field::percent, {"75"}}});
  check(*packet, {{xmp_field::keywords, {"a", "b & c"}}, {xmp_field::last_keyword_xmp, {"a", "b & c"}}});
  check(*packet, {{xmp_field::rating, {}}, {xmp_field::keywords, {}}, {xmp_field::last_keyword_iptc, {}}});
  return 0;
}
