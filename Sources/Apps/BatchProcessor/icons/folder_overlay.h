#pragma once

#include <string>

namespace quill_box::icons {

/// Brings the composed icon of a folder in step with its tags and rating. This build composes no icons yet: the call
/// stands where a run has it and changes nothing.
void folder_overlay(const std::wstring& folder);

}  // namespace quill_box::icons
