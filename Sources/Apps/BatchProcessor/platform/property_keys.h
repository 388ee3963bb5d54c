// The property system's names for the values that the program works with.
#pragma once

#include "platform/property_system.h"

namespace platform {

/// System.Keywords: the tag list, VT_VECTOR | VT_LPWSTR.
inline constexpr property_key keywords_key = {
    {0xf29f85e0, 0x4ff9, 0x1068, {0xab, 0x91, 0x08, 0x00, 0x2b, 0x27, 0xb3, 0xd9}}, 5};

/// System.Rating: VT_UI4, a percent scale from 0, which is none, to 100. A file may hold any other number; the program
/// itself writes 500 for a number of stars off the scale.
inline constexpr property_key rating_key = {
    {0x64440492, 0x4c8b, 0x11d1, {0x8b, 0x70, 0x08, 0x00, 0x36, 0xb1, 0x1a, 0x03}}, 9};

/// System.Photo.PeopleNames.
inline constexpr property_key people_names_key = {
    {0xe8309b6e, 0x084c, 0x49b4, {0xb1, 0xfc, 0x90, 0xa8, 0x03, 0x31, 0xb6, 0x38}}, 100};

}  // namespace platform
