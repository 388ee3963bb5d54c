// The run: loads the job, walks its items, keeps the counts, tells the shell.
#pragma once

#include <string>

#include "batch_driver/processing_context.h"

namespace quill_box::batch_processor {

/// Runs the job of `context` on the calling thread. Catches everything itself; what came of it stands in the context.
void process_job(processing_context& context);

}  // namespace quill_box::batch_processor
