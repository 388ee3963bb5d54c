// Keywords in an IPTC block: the datasets of the Information Interchange Model (IIM 4.2), application record 2.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace platform::host::image {

/// Record and number of datasets that are read as they stand.
inline constexpr std::uint16_t iptc_date_created = 0x0237;  ///< 2:55, CCYYMMDD
inline constexpr std::uint16_t iptc_time_created = 0x023c;  ///< 2:60, HHMMSS and the distance from UTC

/// Whether the block is a row of datasets; NULs behind them are padding.
[[nodiscard]] bool is_iptc_block(std::string_view block);

/// The keywords (2:25); nothing where the block has none. Text is UTF-8 where the block says so (1:90) or, saying
/// nothing, couldn't be anything else; otherwise Latin-1.
[[nodiscard]] std::optional<std::vector<std::wstring>> iptc_keywords(std::string_view block);

/// The keywords that aren't among `known`: neither as they are nor as the block would hold one of those, with other
/// characters for those that it lacks, and cut to the 64 bytes that a keyword may have there.
[[nodiscard]] std::vector<std::wstring> iptc_keywords_beyond(std::string_view block,
                                                             std::span<const std::wstring> known);

/// The bytes of the first dataset of that record and number.
[[nodiscard]] std::optional<std::string> iptc_value(std::string_view block, std::uint16_t id);

/// The block with these keywords and everything else as it is. They are written in the block's character set. Where
/// that lacks a character, the block turns to UTF-8 if all of its other text is ASCII and nothing else is declared;
/// failing that the character becomes a question mark: turning the other text would mean to know how it was meant.
[[nodiscard]] std::string with_iptc_keywords(std::string_view block, std::span<const std::wstring> keywords);

}  // namespace platform::host::image
