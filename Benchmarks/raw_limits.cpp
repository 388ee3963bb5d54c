// The least that changing files costs on this machine:
//   raw_limits rewrite FILE...     reads each file, writes its bytes to a new one and gives that the old name
//   raw_limits in_place FILE...    writes 2 KB into each file where they stand
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr std::size_t changed_bytes = 2048;
constexpr off_t changed_at = 1024;

class file {
 public:
  explicit file(int descriptor) : descriptor_(descriptor) {}
  ~file() { close(descriptor_); }
  file(const file&) = delete;
  file& operator=(const file&) = delete;
  [[nodiscard]] int get() const { return descriptor_; }

 private:
  int descriptor_;
};

bool rewrite(const std::string& path) {
  const file old(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat facts {};
  if (fstat(old.get(), &facts) != 0) return false;
  std::vector<char> bytes(static_cast<std::size_t>(facts.st_size));
  const auto size = static_cast<ssize_t>(bytes.size());
  if (read(old.get(), bytes.data(), bytes.size()) != size) return false;
  const std::string new_path = path + ".new";
  const file replacement(open(new_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  return write(replacement.get(), bytes.data(), bytes.size()) == size && rename(new_path.c_str(), path.c_str()) == 0;
}

bool change_in_place(const std::string& path) {
  const file target(open(path.c_str(), O_RDWR | O_CLOEXEC));
  std::array<char, changed_bytes> bytes{};
  const auto size = static_cast<ssize_t>(bytes.size());
  if (pread(target.get(), bytes.data(), bytes.size(), changed_at) != size) return false;
  bytes.front() = static_cast<char>(bytes.front() ^ 1);
  return pwrite(target.get(), bytes.data(), bytes.size(), changed_at) == size;
}

}  // namespace

int main(int count, char** arguments) {
  const std::string mode = count > 1 ? arguments[1] : "";
  if (mode != "rewrite" && mode != "in_place") {
    std::fprintf(stderr, "raw_limits rewrite|in_place FILE...\n");
    return 2;
  }
  for (int i = 2; i < count; ++i) {
    const bool done = mode == "rewrite" ? rewrite(arguments[i]) : change_in_place(arguments[i]);
    if (!done) {
      std::perror(arguments[i]);
      return EXIT_FAILURE;
    }
  }
  return EXIT_SUCCESS;
}
