// The copy of a folder's tags and rating in its desktop.ini, UTF-16 text in three keys:
//
//   [QuillBox]                                 this program's own
//   Tags=a;b                                   tags joined by ";"
//   Rating=4                                   stars, absent for 0
//   [{F29F85E0-4FF9-1068-AB91-08002B27B3D9}]   the property section of desktop.ini
//   Prop5=31,x;a;b                             System.Keywords: VT_LPWSTR, then all keywords, other programs' too
#pragma once

#include <span>
#include <string>
#include <vector>

#include "platform/result.h"

namespace quill_box::metadata {

[[nodiscard]] std::wstring desktop_ini_path(const std::wstring& folder);

/// What this program wrote as the folder's tags; cut to the profile functions' buffer of 4096 characters.
[[nodiscard]] platform::win32_result<std::vector<std::wstring>> read_own_folder_tags(const std::wstring& folder);

/// Brings the folder's desktop.ini up to date. Keywords of other programs stay, unless the last own tag goes: then
/// Prop5 goes whole. A new desktop.ini becomes hidden and system, an existing one keeps its attributes.
/// The property set holds the values already, so a failure here raises nothing: it is logged. Keywords that can't be
/// read are not replaced.
void mirror_folder_metadata(const std::wstring& folder, std::span<const std::wstring> tags, int stars);

/// Prop5 without the entries of `old_tags` and with those of `new_tags` that it lacks, all compared without case.
[[nodiscard]] std::vector<std::wstring> merged_keywords(std::vector<std::wstring> keywords,
                                                        std::span<const std::wstring> old_tags,
                                                        std::span<const std::wstring> new_tags);

}  // namespace quill_box::metadata
