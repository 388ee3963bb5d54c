// The least that a run over skipped items costs: writes the lines of a log to another file, each flushed at once.
//   log_lines LOG COPY
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

int main(int count, char** arguments) {
  if (count != 3) {
    std::fprintf(stderr, "log_lines LOG COPY\n");
    return 2;
  }
  std::vector<std::string> lines;
  std::ifstream log(arguments[1], std::ios::binary);
  for (std::string line; std::getline(log, line);)
    lines.push_back(line);
  std::ofstream copy(arguments[2], std::ios::binary | std::ios::app);
  for (const std::string& line : lines) {
    copy << line << '\n';
    copy.flush();
  }
  return copy.good() ? EXIT_SUCCESS : EXIT_FAILURE;
}
