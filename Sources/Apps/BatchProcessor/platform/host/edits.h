// Making and tidying edit plans.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/host/byte_source.h"
#include "platform/host/file_rewrite.h"

namespace platform::host {

/// Adds the splice that turns `before`, which stands at `offset`, into `after`: the bytes that both start and end
/// with are left out of it. Nothing is added where they are equal.
void add_difference(edit_plan& plan, std::uint64_t offset, std::string_view before, std::string_view after);

/// Joins splices that shift bytes with those behind that shift them back, the bytes between included, so that a plan
/// that keeps the file's size consists of splices that keep their own; joins neighbours too. None when the bytes can't
/// be read.
[[nodiscard]] std::optional<edit_plan> join_balanced(byte_source& source, edit_plan plan);

}  // namespace platform::host
