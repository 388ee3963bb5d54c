// Real files for the tests of the host machine.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace host_test {

/// A folder of its own that goes with all that is in it.
class temporary_folder {
 public:
  /// Below `parent`, the system's folder for temporary files by default.
  explicit temporary_folder(const std::filesystem::path& parent = std::filesystem::temp_directory_path());
  temporary_folder(const temporary_folder&) = delete;
  temporary_folder& operator=(const temporary_folder&) = delete;
  ~temporary_folder();

  [[nodiscard]] std::string path(std::string_view name) const { return (folder_ / name).string(); }
  [[nodiscard]] std::string folder() const { return folder_.string(); }
  /// Names in it, sorted, hidden ones too.
  [[nodiscard]] std::vector<std::string> names() const;

 private:
  std::filesystem::path folder_;
};

/// A file system of `size` ("64k") for a scope; `made()` is false where this process may not mount.
class small_file_system {
 public:
  small_file_system(std::string place, const std::string& size);
  small_file_system(const small_file_system&) = delete;
  small_file_system& operator=(const small_file_system&) = delete;
  ~small_file_system();

  [[nodiscard]] bool made() const { return made_; }

 private:
  std::string place_;
  bool made_ = false;
};

/// Creates or overwrites in place.
void put(const std::string& path, std::string_view bytes);
[[nodiscard]] std::string content(const std::string& path);
[[nodiscard]] struct stat status_of(const std::string& path);

/// An extended attribute; empty when it isn't there.
[[nodiscard]] std::string attribute(const std::string& path, const std::string& name);
[[nodiscard]] bool set_attribute(const std::string& path, const std::string& name, std::string_view value);

/// Bytes that look random and are the same for the same seed.
[[nodiscard]] std::string noise(std::size_t size, unsigned seed);

/// The exit code of a child process once it has ended, -1 when a signal ended it.
[[nodiscard]] int wait_for(pid_t child);

/// A child process that runs `body` and exits with what it returns, without the exit handlers of this process.
template <class Body>
[[nodiscard]] pid_t start_child(Body body) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(body());
  return child;
}

}  // namespace host_test
