// The one door to the formatting library, so that it can give way to the standard's some day.
#pragma once

#include <fmt/core.h>
#include <fmt/format.h>
#include <fmt/xchar.h>

namespace text {

using fmt::format;
using fmt::format_string;
using fmt::wformat_string;

}  // namespace text
