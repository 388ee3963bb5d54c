// A Windows machine in memory: exact where the program relies on it, and every call recorded.
//
// What a facility is asked stands in `calls`, one line for each call:
//   files       attributes kind set_attributes facts open read write seek size set_end set_last_write_time close
//               create_directory copy_file delete_file move_file remove_directory enumerate; "download" when a cloud
//               placeholder's bytes are fetched; "next_entry" for an entry of an enumeration, which is not recorded
//   profiles    read_profile write_profile delete_section
//   properties  open_handler_store open_property_set_storage create_store get set commit release_store release_storage
//   images      open_image frame_encoder container_encoder set_metadata commit_metadata release_encoder
//               open_image_for_reading image_size get_metadata
//   shell       notify renew_thumbnail
//   processes   process_id thread_id local_app_data module_path package_full_name set_app_user_model_id
//               enter_apartment leave_apartment
//   clock       now to_local to_local_with_current_bias sleep
//   terminal    interactive may_draw columns write_terminal read_key discard_keys interrupted
//   errors      text_of
// The same names serve calls.refuse(), calls.before() and the faults of a fault_machine.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/machine.h"
#include "support/simulated_calls.h"
#include "support/simulated_clock.h"
#include "support/simulated_disk.h"
#include "support/simulated_errors.h"
#include "support/simulated_files.h"
#include "support/simulated_images.h"
#include "support/simulated_processes.h"
#include "support/simulated_profiles.h"
#include "support/simulated_properties.h"
#include "support/simulated_shell.h"
#include "support/simulated_terminal.h"

namespace support {

class simulated_machine {
 public:
  simulated_machine();
  simulated_machine(const simulated_machine&) = delete;
  simulated_machine& operator=(const simulated_machine&) = delete;

  /// Makes or replaces a file, and every folder that it needs, without a record.
  disk_entry& write_file(std::wstring_view path, std::string_view content) { return disk.put_file(path, content); }
  disk_entry& make_directory(std::wstring_view path) { return disk.put_directory(path); }
  /// The content of a file that must exist.
  [[nodiscard]] std::string read_file(std::wstring_view path) const;
  /// True for a directory too.
  [[nodiscard]] bool exists(std::wstring_view path) const { return disk.find(path).has_value(); }
  /// The entry of a path that must exist.
  [[nodiscard]] disk_entry& entry(std::wstring_view path) const;

  /// The lines of all log files without time, process and thread: "[INFO] message". A line without a prefix belongs
  /// to the message before it.
  [[nodiscard]] std::vector<std::string> log_lines() const;

  /// The paths that some handle is open on, one for each handle.
  [[nodiscard]] std::vector<std::string> open_handles() const;

  simulated_calls calls;
  simulated_clock clock{calls};
  simulated_disk disk{clock};
  simulated_files files{calls, disk};
  simulated_profiles profiles{calls, disk};
  simulated_properties properties{calls, disk};
  simulated_images images{calls, disk};
  simulated_shell shell{calls};
  simulated_processes processes{calls};
  simulated_terminal terminal{calls, clock};
  simulated_errors errors{calls};
  platform::machine machine{files, profiles, properties, images, shell, processes, clock, terminal, errors};
};

/// Makes a machine the current one for a scope. At both ends the process's log is closed and the family's folder
/// forgotten, so that a test gets its own.
class installed_machine {
 public:
  explicit installed_machine(platform::machine& machine);
  ~installed_machine();
  installed_machine(const installed_machine&) = delete;
  installed_machine& operator=(const installed_machine&) = delete;

 private:
  platform::machine* before_;
};

/// A fresh simulated machine, the current one for a scope. A handle that is still open at its end fails the test.
class scoped_machine : public simulated_machine {
 public:
  scoped_machine();
  ~scoped_machine();

 private:
  // Taken off first, so that the log's handle is not taken for a forgotten one.
  std::unique_ptr<installed_machine> installed_;
};

}  // namespace support
