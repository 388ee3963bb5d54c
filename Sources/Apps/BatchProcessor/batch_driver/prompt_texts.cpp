#include "batch_driver/prompt_texts.h"

#include "batch_driver/path_display.h"
#include "text/format.h"

namespace quill_box::batch_processor {

std::wstring error_text(const std::wstring& path, std::wstring_view message) {
  return text::format(L"Error processing\n{}\n\n{}", shorten_path(path, error_prompt_limits), message);
}

std::wstring create_folder_text(std::wstring_view path) {
  return text::format(L"The folder\n{}\ndoesn't exist yet. Create it now?", path);
}

std::wstring unsupported_autotag_type_text(std::wstring_view supported_types) {
  return text::format(
      L"The file type is currently not supported for auto-tagging.\n\nCurrently supported file types include: {}",
      supported_types.empty() ? L"(see Orchid Lens AI settings)" : supported_types);
}

}  // namespace quill_box::batch_processor
