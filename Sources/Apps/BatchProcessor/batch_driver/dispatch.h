#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "batch_driver/processing_context.h"
#include "platform/file_system.h"
#include "text/tag_list.h"

namespace quill_box::batch_processor {

enum class dispatched : std::uint8_t {
  to_nobody,    ///< no such action has a body
  passed_over,  ///< the action left the item as it was
  taken_up,
};

/// Runs the action of `context` on one item. `parameters` are the job's; `kind` is what was just found at the item,
/// none where nothing was.
[[nodiscard]] dispatched dispatch_action(processing_context& context, const std::wstring& item,
                                         text::split_once& parameters, std::optional<platform::item_kind> kind);

}  // namespace quill_box::batch_processor
