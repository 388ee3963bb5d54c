// XMP as UTF-8 text: whole files in and out, searching, escaping. There is no XML parser here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quill_box::metadata {

/// Namespaces by their published URIs.
inline constexpr std::string_view xmp_wrapper_uri = "adobe:ns:meta/";
inline constexpr std::string_view rdf_uri = "http://www.w3.org/1999/02/22-rdf-syntax-ns#";
inline constexpr std::string_view xmp_basic_uri = "http://ns.adobe.com/xap/1.0/";
inline constexpr std::string_view dublin_core_uri = "http://purl.org/dc/elements/1.1/";

/// What the editors look for: the end of the properties, and where a rating starts in either of its two forms.
inline constexpr std::string_view rdf_end_tag = "</rdf:RDF>";
inline constexpr std::string_view rating_element_start = "<xmp:Rating>";
inline constexpr std::string_view rating_attribute_start = "xmp:Rating=\"";

/// Files above this many bytes (300 MiB) are not taken into memory; one of exactly this size is. It binds sidecars too,
/// on purpose: such a one is no sidecar, and what can't be read would be written over.
inline constexpr std::uint64_t largest_file_in_memory = 314'572'800;

/// The first position at or after `start`; npos for none, also when `start` is npos or behind the end.
[[nodiscard]] std::size_t find_from(std::string_view text, std::string_view needle, std::size_t start);

/// Each of " & ' < > becomes its entity, also the & of what is an entity already.
[[nodiscard]] std::string xml_escape(std::string_view text);
/// The five entities of xml_escape become their characters in one pass; any other & stays.
[[nodiscard]] std::string xml_unescape(std::string_view text);

/// Content of a text file as UTF-8 without a byte order mark: UTF-16 little-endian if it starts with FF FE, else taken
/// as it is.
[[nodiscard]] std::string utf8_from_file_content(std::string content);

/// The text of a file as UTF-8; empty when it is missing, can't be read, is larger than largest_file_in_memory, or when
/// there is no memory for it.
[[nodiscard]] std::string read_text_file(const std::wstring& path);

/// Replaces the file by this text. True only when every byte arrived; on false, which a lack of memory is too,
/// the file may be cut short.
[[nodiscard]] bool write_text_file(const std::wstring& path, std::string_view text);

}  // namespace quill_box::metadata
