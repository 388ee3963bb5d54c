#include "platform/host/host_files.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <utility>

namespace host_test {

temporary_folder::temporary_folder(const std::filesystem::path& parent) {
  std::string pattern = (parent / "batch_processor_XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder in " + parent.string());
  folder_ = pattern;
}

temporary_folder::~temporary_folder() {
  std::error_code ignored;
  std::filesystem::permissions(folder_, std::filesystem::perms::owner_all, ignored);
  std::filesystem::remove_all(folder_, ignored);
}

std::vector<std::string> temporary_folder::names() const {
  std::vector<std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator(folder_))
    found.push_back(entry.path().filename());
  std::ranges::sort(found);
  return found;
}

small_file_system::small_file_system(std::string place, const std::string& size) : place_(std::move(place)) {
  std::filesystem::create_directory(place_);
  made_ = ::mount("none", place_.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
}

small_file_system::~small_file_system() {
  if (made_ && ::umount2(place_.c_str(), MNT_DETACH) != 0) std::abort();
}

void put(const std::string& path, std::string_view bytes) {
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!stream.flush()) throw std::runtime_error("can't write " + path);
}

std::string content(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) throw std::runtime_error("can't read " + path);
  std::string bytes(std::filesystem::file_size(path), '\0');
  stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!stream || stream.peek() != std::ifstream::traits_type::eof())
    throw std::runtime_error("can't read all of " + path);
  return bytes;
}

struct stat status_of(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) throw std::runtime_error("no status of " + path);
  return status;
}

std::string attribute(const std::string& path, const std::string& name) {
  std::array<char, 65536> value;
  const ssize_t size = ::getxattr(path.c_str(), name.c_str(), value.data(), value.size());
  return size < 0 ? std::string() : std::string(value.data(), static_cast<std::size_t>(size));
}

bool set_attribute(const std::string& path, const std::string& name, std::string_view value) {
  return ::setxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0) == 0;
}

std::string noise(std::size_t size, unsigned seed) {
  std::minstd_rand generator(seed);
  std::string bytes(size, '\0');
  for (char& byte : bytes)
    byte = static_cast<char>(generator() >> 8);
  return bytes;
}

int wait_for(pid_t child) {
  int state = 0;
  if (::waitpid(child, &state, 0) != child || !WIFEXITED(state)) return -1;
  return WEXITSTATUS(state);
}

}  // namespace host_test
