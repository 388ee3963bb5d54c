// Other programs' words.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace host_test {

/// The standard output of a shell command, which has to succeed.
inline std::string output_of(const std::string& command) {
  std::FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return "no shell";
  std::string output;
  char buffer[4096];
  for (std::size_t got = 0; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
    output.append(buffer, got);
  const int status = ::pclose(pipe);
  EXPECT_EQ(WEXITSTATUS(status), 0) << command << "\n" << output;
  return output;
}

}  // namespace host_test
