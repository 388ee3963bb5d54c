// A file whose content a property handler or the imaging facility reads and changes.
#pragma once

#include <memory>
#include <string>

#include "platform/host/byte_source.h"
#include "platform/host/file_rewrite.h"
#include "platform/host/open_to_change.h"
#include "platform/property_system.h"

namespace platform::host {

struct content_file {
  changeable_file opened;  ///< for reading alone, and not locked, where the access is
  std::unique_ptr<file_source> source;

  /// A rewrite of that content; null for an empty plan. The file must stay open until its commit.
  [[nodiscard]] win32_result<std::unique_ptr<file_rewrite>> prepare(const edit_plan& plan) const;
};

/// Opens a regular file; fails with `no_file` for what is none (a folder, a pipe, a device), which isn't waited for.
///
/// For read_write it is opened by open_to_change: another run's change can't come between what is read and what is
/// written. A run that has the file now is waited for, some two seconds; then it is a sharing_violation. Reading asks
/// nobody.
[[nodiscard]] hresult_result<content_file> open_content_file(const std::wstring& path, handler_access access,
                                                             hresult no_file);

}  // namespace platform::host
