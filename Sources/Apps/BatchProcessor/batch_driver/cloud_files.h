#pragma once

#include <string>

namespace quill_box::batch_processor {

/// Brings a cloud placeholder onto the disk by reading its first byte. Raises "Failed to download the file.".
void fetch_cloud_file(const std::wstring& item);

}  // namespace quill_box::batch_processor
