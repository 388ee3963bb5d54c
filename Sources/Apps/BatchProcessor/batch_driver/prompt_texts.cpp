#include "batch_driver/prompt_texts.h"

#include "batch_driver/path_display.h"
#include "text/control_characters.h"
#include "text/format.h"

namespace quill_box::batch_processor {

using text::line_feeds;
using text::without_control_characters;

std::wstring error_text(const std::wstring& path, std::wstring_view message) {
  return text::format(L"Error processing\n{}\n\n{}",
                      shorten_path(without_control_characters(path, line_feeds::replaced), error_prompt_limits),
                      without_control_characters(message, line_feeds::kept));
}

std::wstring create_folder_text(std::wstring_view path) {
  return text::format(L"The folder\n{}\ndoesn't exist yet. Create it now?",
                      without_control_characters(path, line_feeds::replaced));
}

std::wstring unsupported_autotag_type_text(std::wstring_view supported_types) {
  return text::format(
      L"The file type is currently not supported for auto-tagging.\n\nCurrently supported file types include: {}",
      supported_types.empty() ? L"(see Orchid Lens AI settings)" : supported_types);
}

}  // namespace quill_box::batch_processor
