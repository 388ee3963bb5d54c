#include "icons/folder_overlay.h"

namespace quill_box::icons {

void folder_overlay(const std::wstring& /*folder*/) {}

}  // namespace quill_box::icons
