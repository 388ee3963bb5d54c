// XMP packets (ISO 16684-1): where the fields that matter here stand in one, and changing them as text, so that every
// other byte of the packet stays as it is.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace platform::host::image {

enum class xmp_field : std::uint8_t {
  rating,              ///< xmp:Rating: stars, -1 for "rejected"
  percent,             ///< MicrosoftPhoto:Rating: 0 to 99
  keywords,            ///< dc:subject, a bag
  last_keyword_xmp,    ///< MicrosoftPhoto:LastKeywordXMP, a bag with the same keywords
  last_keyword_iptc,   ///< MicrosoftPhoto:LastKeywordIPTC, likewise
  create_date,         ///< xmp:CreateDate; this and what follows is only read
  date_time_original,  ///< exif:DateTimeOriginal
  gps_latitude,        ///< exif:GPSLatitude: "48,51.5N"
  gps_longitude,       ///< exif:GPSLongitude
};
inline constexpr std::size_t xmp_field_count = 9;

/// Whether this program changes the field.
[[nodiscard]] constexpr bool is_written(xmp_field field) { return field <= xmp_field::last_keyword_iptc; }

struct xmp_name {
  std::string_view uri;
  std::string_view local;
  std::string_view prefix;  ///< the usual one
  bool is_bag;
};

inline constexpr std::string_view rdf_uri = "http://www.w3.org/1999/02/22-rdf-syntax-ns#";

/// In the order of xmp_field.
inline constexpr xmp_name xmp_names[xmp_field_count] = {
    {"http://ns.adobe.com/xap/1.0/", "Rating", "xmp", false},
    {"http://ns.microsoft.com/photo/1.0/", "Rating", "MicrosoftPhoto", false},
    {"http://purl.org/dc/elements/1.1/", "subject", "dc", true},
    {"http://ns.microsoft.com/photo/1.0/", "LastKeywordXMP", "MicrosoftPhoto", true},
    {"http://ns.microsoft.com/photo/1.0/", "LastKeywordIPTC", "MicrosoftPhoto", true},
    {"http://ns.adobe.com/xap/1.0/", "CreateDate", "xmp", false},
    {"http://ns.adobe.com/exif/1.0/", "DateTimeOriginal", "exif", false},
    {"http://ns.adobe.com/exif/1.0/", "GPSLatitude", "exif", false},
    {"http://ns.adobe.com/exif/1.0/", "GPSLongitude", "exif", false},
};

[[nodiscard]] constexpr const xmp_name& name_of(xmp_field field) { return xmp_names[static_cast<std::size_t>(field)]; }

/// Whether a namespace is the one of the name. Some programs write that of the percent rating without its last slash.
[[nodiscard]] constexpr bool is_namespace_of(const xmp_name& name, std::string_view uri) {
  return uri == name.uri || (name.prefix == "MicrosoftPhoto" && uri == name.uri.substr(0, name.uri.size() - 1));
}

/// Bytes [begin, end) of the packet.
struct text_range {
  std::size_t begin = 0;
  std::size_t end = 0;
  [[nodiscard]] std::size_t size() const { return end - begin; }
};

/// One value of a field, decoded to UTF-8.
struct xmp_item {
  std::string value;
  text_range element;  ///< its rdf:li as it stands; empty where the field is no list
};

enum class xmp_form : std::uint8_t {
  attribute,  ///< of an rdf:Description
  text,       ///< an element that holds nothing but text
  bag,        ///< an element that holds one rdf:Bag
  other,      ///< an element with something else in it: another kind of list, a structure, nothing
};

/// One place of the packet that holds a field. Usually there is one, but any rdf:Description can have its own.
struct xmp_occurrence {
  xmp_field field{};
  xmp_form form{};
  text_range whole;        ///< the attribute or element with its tags, and the white space before it
  text_range content;      ///< what stands between the quotes, the element's tags or the bag's tags
  std::string name;        ///< of the element as written, prefix included
  std::string bag_prefix;  ///< of rdf:Bag as written, colon included
  std::vector<xmp_item> items;
};

/// An element into which fields can be put.
struct xmp_host_element {
  text_range start_tag;
  std::size_t attributes_end = 0;  ///< behind the last attribute
  std::size_t end_tag = 0;         ///< of "</"; the end of the start tag where that closes itself
  bool closes_itself = false;
  std::string name;
  /// The prefix that is bound to each field's namespace here; empty where none is.
  std::array<std::string, xmp_field_count> prefixes;
  /// Whether the usual prefix stands for another namespace here.
  std::array<bool, xmp_field_count> prefix_taken = {};
};

struct xmp_packet {
  std::string text;
  xmp_host_element rdf;
  std::vector<xmp_host_element> descriptions;  ///< a bounded number of them
  std::vector<xmp_occurrence> occurrences;
  text_range padding;  ///< white space in front of the end marker, or at the end where there is no marker
};

/// The text of a packet in UTF-16, as the standard allows; nothing for any other.
[[nodiscard]] std::optional<std::string> utf8_from_utf16_xmp(std::string_view bytes);

/// Nothing for what isn't UTF-8, isn't well formed, has a document type or no rdf:RDF, or nests unreasonably deep.
[[nodiscard]] std::optional<xmp_packet> parse_xmp_packet(std::string text);

/// The values of the field's first occurrence; nothing where the packet has none.
[[nodiscard]] std::optional<std::vector<std::string>> xmp_values(const xmp_packet& packet, xmp_field field);

/// A field's new values: none remove it, a field that is no bag takes one.
struct xmp_change {
  xmp_field field{};
  std::vector<std::string> values;
};

/// A new text of a packet.
struct packet_change {
  std::string text;
  /// Where it differs, if it has the size of the old text; the whole of it counts as different otherwise.
  std::vector<text_range> pieces;
  bool pieces_stand_alone = false;  ///< the packet is valid whichever of the pieces are there
};

/// The packet's text with every occurrence of the fields changed; fields that are absent are added, but not to the
/// description that the people regions manage. The white space next to a change, or else the padding, gives or takes
/// the difference, so that the size stays if it can; a packet that has to grow gets new padding. Nothing where the text
/// would be longer than `size_limit`.
[[nodiscard]] std::optional<packet_change> edit_xmp_packet(const xmp_packet& packet,
                                                           std::span<const xmp_change> changes, std::size_t size_limit);

/// A packet of these fields alone, with padding as far as `size_limit` allows.
[[nodiscard]] std::optional<std::string> new_xmp_packet(std::span<const xmp_change> changes, std::size_t size_limit);

}  // namespace platform::host::image
