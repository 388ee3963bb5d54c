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

/// System.Photo.DateTaken: VT_FILETIME. The camera's clock turned to UTC, to be read with
/// clock::to_local_with_current_bias.
inline constexpr property_key date_taken_key = {
    {0x14b81da1, 0x0135, 0x4d31, {0x96, 0xd9, 0x6c, 0xbf, 0xc9, 0x67, 0x1a, 0x99}}, 36867};

/// System.GPS.LatitudeDecimal and System.GPS.LongitudeDecimal: VT_R8, degrees, north and east positive.
inline constexpr property_key latitude_decimal_key = {
    {0x0f55cde2, 0x4f49, 0x450d, {0x92, 0xc1, 0xdc, 0xd1, 0x63, 0x01, 0xb1, 0xb7}}, 100};
inline constexpr property_key longitude_decimal_key = {
    {0x4679c1b5, 0x844d, 0x4590, {0xba, 0xf5, 0xf3, 0x22, 0x23, 0x1f, 0x1b, 0x81}}, 100};

/// System.GPS.Latitude and System.GPS.Longitude: VT_VECTOR | VT_R8 of degrees, minutes and seconds.
inline constexpr property_key latitude_key = {
    {0x8727cfff, 0x4868, 0x4ec6, {0xad, 0x5b, 0x81, 0xb9, 0x85, 0x21, 0xd1, 0xab}}, 100};
inline constexpr property_key longitude_key = {
    {0xc4c4dbb2, 0xb593, 0x466b, {0xbb, 0xda, 0xd0, 0x3d, 0x27, 0xd5, 0xe4, 0x3a}}, 100};

/// System.GPS.LatitudeRef and System.GPS.LongitudeRef: VT_LPWSTR, "N" or "S", "E" or "W".
inline constexpr property_key latitude_ref_key = {
    {0x029c0252, 0x5b86, 0x46c7, {0xac, 0xa0, 0x27, 0x69, 0xff, 0xc8, 0xe3, 0xd4}}, 100};
inline constexpr property_key longitude_ref_key = {
    {0x33dcf22b, 0x28d5, 0x464c, {0x80, 0x35, 0x1e, 0xe9, 0xef, 0xd2, 0x52, 0x78}}, 100};

}  // namespace platform
