#pragma once

#include <string>

#include "batch_driver/processing_context.h"

namespace quill_box::batch_processor {

/// Runs the action of `context` on one item; false when no such action has a body.
[[nodiscard]] bool dispatch_action(processing_context& context, const std::wstring& item,
                                   const std::wstring& parameters);

}  // namespace quill_box::batch_processor
