#include "support/simulated_profiles.h"

#include <algorithm>
#include <vector>

#include "text/conversions.h"
#include "text/format.h"
#include "text/letter_case.h"

namespace support {

using platform::access;
using platform::share;
using platform::win32_error;
using platform::win32_result;

namespace {

constexpr std::string_view utf16_mark = "\xff\xfe";

// The lines of an INI file, each with its own line end.
struct ini_text {
  bool is_utf16 = false;
  std::vector<std::wstring> lines;
};

// A file without the mark is in the machine's 8-bit code page, here Latin-1.
std::wstring wide_content(std::string_view bytes, bool is_utf16) {
  std::wstring wide;
  const auto byte_at = [bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  if (!is_utf16) {
    for (std::size_t i = 0; i < bytes.size(); ++i)
      wide += static_cast<wchar_t>(byte_at(i));
    return wide;
  }
  for (std::size_t i = utf16_mark.size(); i + 1 < bytes.size(); i += 2) {
    const auto unit = static_cast<std::uint32_t>(byte_at(i) | (byte_at(i + 1) << 8));
    const bool continues = unit >= 0xdc00 && unit < 0xe000 && !wide.empty();
    const auto before = continues ? static_cast<std::uint32_t>(wide.back()) : 0;
    if (sizeof(wchar_t) > 2 && before >= 0xd800 && before < 0xdc00) {
      wide.back() = static_cast<wchar_t>(0x10000 + ((before - 0xd800) << 10) + (unit - 0xdc00));
    } else {
      wide += static_cast<wchar_t>(unit);
    }
  }
  return wide;
}

std::string bytes_of(const ini_text& ini) {
  std::string bytes(ini.is_utf16 ? utf16_mark : std::string_view());
  const auto put_unit = [&bytes](std::uint32_t unit) {
    bytes += static_cast<char>(static_cast<unsigned char>(unit & 0xff));
    bytes += static_cast<char>(static_cast<unsigned char>(unit >> 8));
  };
  for (const std::wstring& line : ini.lines) {
    for (const wchar_t c : line) {
      const auto code = static_cast<std::uint32_t>(c);
      if (!ini.is_utf16) {
        bytes += code < 0x100 ? static_cast<char>(static_cast<unsigned char>(code)) : '?';
      } else if (code > 0xffff) {
        put_unit(0xd800 + ((code - 0x10000) >> 10));
        put_unit(0xdc00 + ((code - 0x10000) & 0x3ff));
      } else {
        put_unit(code);
      }
    }
  }
  return bytes;
}

ini_text parse(std::string_view bytes) {
  ini_text ini;
  ini.is_utf16 = bytes.starts_with(utf16_mark);
  const std::wstring wide = wide_content(bytes, ini.is_utf16);
  for (std::size_t at = 0; at < wide.size();) {
    const std::size_t end = wide.find(L'\n', at);
    const std::size_t next = end == std::wstring::npos ? wide.size() : end + 1;
    ini.lines.push_back(wide.substr(at, next - at));
    at = next;
  }
  return ini;
}

std::wstring_view trimmed(std::wstring_view text) {
  constexpr std::wstring_view blanks = L" \t\r\n";
  const std::size_t start = text.find_first_not_of(blanks);
  if (start == std::wstring_view::npos) return {};
  return text.substr(start, text.find_last_not_of(blanks) - start + 1);
}

bool is_head(std::wstring_view line) { return trimmed(line).starts_with(L'['); }

bool is_head_of(std::wstring_view line, std::wstring_view section) {
  const std::wstring_view head = trimmed(line);
  if (!head.starts_with(L'[')) return false;
  const std::size_t end = head.find(L']');
  return end != std::wstring_view::npos && text::equal_ignoring_case(trimmed(head.substr(1, end - 1)), section);
}

std::wstring_view key_of(std::wstring_view line) {
  const std::size_t equals = line.find(L'=');
  const std::wstring_view key =
      equals == std::wstring_view::npos ? std::wstring_view() : trimmed(line.substr(0, equals));
  return key.starts_with(L';') ? std::wstring_view() : key;
}

std::wstring_view value_of(std::wstring_view line) {
  std::wstring_view value = trimmed(line.substr(line.find(L'=') + 1));
  const bool quoted = value.size() >= 2 && (value.front() == L'"' || value.front() == L'\'');
  if (quoted && value.back() == value.front()) value = value.substr(1, value.size() - 2);
  return value;
}

struct line_range {
  std::size_t first = 0;  // the section's head
  std::size_t end = 0;    // the next section's head or the end of the file

  [[nodiscard]] bool found() const { return first < end; }
};

line_range find_section(const ini_text& ini, std::wstring_view section) {
  const auto head = std::find_if(ini.lines.begin(), ini.lines.end(),
                                 [section](const std::wstring& line) { return is_head_of(line, section); });
  if (head == ini.lines.end()) return {};
  const auto end = std::find_if(head + 1, ini.lines.end(), is_head);
  return {static_cast<std::size_t>(head - ini.lines.begin()), static_cast<std::size_t>(end - ini.lines.begin())};
}

// The line of a key, the end of the section where it has none.
std::size_t find_key(const ini_text& ini, line_range section, std::wstring_view key) {
  for (std::size_t i = section.first + 1; i < section.end; ++i) {
    if (text::equal_ignoring_case(key_of(ini.lines[i]), key)) return i;
  }
  return section.end;
}

void insert_line(ini_text& ini, std::size_t at, const std::wstring& line) {
  if (at > 0 && !ini.lines[at - 1].ends_with(L'\n')) ini.lines[at - 1] += L"\r\n";
  ini.lines.insert(ini.lines.begin() + static_cast<std::ptrdiff_t>(at), line + L"\r\n");
}

void erase_lines(ini_text& ini, std::size_t first, std::size_t end) {
  const auto at = [&ini](std::size_t i) { return ini.lines.begin() + static_cast<std::ptrdiff_t>(i); };
  ini.lines.erase(at(first), at(end));
}

void set_key(ini_text& ini, const std::wstring& section_name, const std::wstring& key, const std::wstring& value) {
  line_range section = find_section(ini, section_name);
  if (!section.found()) {
    insert_line(ini, ini.lines.size(), L'[' + section_name + L']');
    section = {ini.lines.size() - 1, ini.lines.size()};
  }
  std::size_t at = find_key(ini, section, key);
  if (at < section.end) {
    // The key stays spelled as it was.
    const std::wstring kept(key_of(ini.lines[at]));
    erase_lines(ini, at, at + 1);
    insert_line(ini, at, kept + L'=' + value);
    return;
  }
  // Blank lines in front of the next section stay there.
  while (at > section.first + 1 && trimmed(ini.lines[at - 1]).empty())
    --at;
  insert_line(ini, at, key + L'=' + value);
}

// Stores what `bytes` says, as the system's writer of INI files would.
win32_error store(simulated_disk& disk, const std::wstring& file, const std::string& bytes) {
  auto entry = disk.find(file);
  if (!entry && entry.error() == win32_error::file_not_found) entry = disk.create(file, platform::attribute::archive);
  if (!entry) return entry.error();
  disk_entry& target = **entry;
  const std::uint64_t growth = bytes.size() - std::min(bytes.size(), target.content.size());
  const std::uint64_t granted = simulated_disk::take_space(target, growth);
  if (granted < growth) {
    if (target.drive->free_bytes) *target.drive->free_bytes += granted;
    return win32_error::disk_full;
  }
  target.content = bytes;
  disk.touch(target);
  return win32_error::success;
}

// The content to change, empty for a file that isn't there.
win32_result<std::string> content_to_change(const simulated_disk& disk, const std::wstring& file) {
  const auto entry = disk.find(file);
  if (!entry) {
    if (entry.error() == win32_error::file_not_found) return std::string();
    return entry.error();
  }
  if ((*entry)->has(platform::attribute::directory | platform::attribute::read_only)) return win32_error::access_denied;
  const auto claim = disk.claim(*entry, {access::read | access::write, share::read});
  if (!claim) return claim.error();
  return (*entry)->content;
}

std::string place_text(const std::wstring& file, const std::wstring& section) {
  return text::format("{}, {}", text::utf8_from_wide(file), text::utf8_from_wide(section));
}

}  // namespace

win32_result<std::wstring> simulated_profiles::read(const std::wstring& file, const std::wstring& section,
                                                    const std::wstring& key, std::size_t capacity) {
  const auto guard = calls_.record(
      "read_profile", text::format("{}, {}, {}", place_text(file, section), text::utf8_from_wide(key), capacity));
  const auto refused = calls_.refusal<win32_error>("read_profile", file);
  if (!succeeded(refused)) return refused;
  const auto entry = disk_.find(file);
  if (entry.error() == win32_error::file_not_found || entry.error() == win32_error::path_not_found || capacity == 0) {
    return std::wstring();
  }
  if (!entry) return entry.error();
  if ((*entry)->is_directory()) return win32_error::access_denied;
  if (const auto claim = disk_.claim(*entry, {access::read, share::read | share::write}); !claim) return claim.error();
  const ini_text ini = parse((*entry)->content);
  const line_range lines = find_section(ini, section);
  if (!lines.found()) return std::wstring();
  const std::size_t line = find_key(ini, lines, key);
  if (line == lines.end) return std::wstring();
  return std::wstring(text::utf16_prefix(value_of(ini.lines[line]), capacity - 1));
}

win32_error simulated_profiles::write(const std::wstring& file, const std::wstring& section, const std::wstring& key,
                                      const std::optional<std::wstring>& value) {
  const auto guard =
      calls_.record("write_profile", text::format("{}, {}, {}", place_text(file, section), text::utf8_from_wide(key),
                                                  value ? text::utf8_from_wide(*value) : "nothing"));
  const auto refused = calls_.refusal<win32_error>("write_profile", file);
  if (!succeeded(refused)) return refused;
  const auto content = content_to_change(disk_, file);
  if (!content) return content.error();
  ini_text ini = parse(*content);
  if (value) {
    set_key(ini, section, key, *value);
    return store(disk_, file, bytes_of(ini));
  }
  const line_range lines = find_section(ini, section);
  const std::size_t line = lines.found() ? find_key(ini, lines, key) : lines.end;
  if (line == lines.end) return win32_error::success;
  erase_lines(ini, line, line + 1);
  return store(disk_, file, bytes_of(ini));
}

win32_error simulated_profiles::delete_section(const std::wstring& file, const std::wstring& section) {
  const auto guard = calls_.record("delete_section", place_text(file, section));
  const auto refused = calls_.refusal<win32_error>("delete_section", file);
  if (!succeeded(refused)) return refused;
  const auto content = content_to_change(disk_, file);
  if (!content) return content.error();
  ini_text ini = parse(*content);
  const line_range lines = find_section(ini, section);
  if (!lines.found()) return win32_error::success;
  erase_lines(ini, lines.first, lines.end);
  return store(disk_, file, bytes_of(ini));
}

}  // namespace support
