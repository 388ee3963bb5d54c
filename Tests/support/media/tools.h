// Files on the disk, and other people's programs that make and read them.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace test_support {

/// A folder that goes with everything in it.
class media_folder {
 public:
  media_folder() {
    std::string name = (std::filesystem::temp_directory_path() / "media_test_XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) std::abort();
    path_ = name;
  }
  media_folder(const media_folder&) = delete;
  media_folder& operator=(const media_folder&) = delete;
  ~media_folder() {
    std::error_code ignored;  // what can't be removed from the system's folder for such things, it removes
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] std::string file(const std::string& name) const { return path_ + "/" + name; }
  [[nodiscard]] std::wstring wide_file(const std::string& name) const {
    return std::filesystem::path(file(name)).wstring();
  }

 private:
  std::string path_;
};

inline void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  stream << bytes;
  stream.close();
  ASSERT_TRUE(stream) << path;
}

inline std::string read_file(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

/// What a shell command prints; a command that fails fails the test.
inline std::string output_of(const std::string& command) {
  FILE* const pipe = ::popen((command + " 2>/dev/null").c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << command;
    return {};
  }
  std::string output;
  std::array<char, 4096> buffer{};
  while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe))
    output.append(buffer.data(), count);
  const int status = ::pclose(pipe);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << command;
  return output;
}

/// The value that exiftool gives for a tag, without a line end; empty where the file has none.
inline std::string exif_value(const std::string& path, const std::string& tag) {
  std::string value = output_of("exiftool -m -s3 -n -" + tag + " '" + path + "'");
  while (!value.empty() && value.back() == '\n')
    value.pop_back();
  return value;
}

/// The sum over the decoded sound and pictures.
inline std::string decoded_sum(const std::string& path) {
  return output_of("ffmpeg -nostdin -v error -i '" + path + "' -map 0:v? -map 0:a? -f md5 -");
}

/// The sum over the packets as they are stored.
inline std::string stored_sum(const std::string& path) {
  return output_of("ffmpeg -nostdin -v error -i '" + path + "' -map 0:v? -map 0:a? -c copy -f streamhash -");
}

}  // namespace test_support
