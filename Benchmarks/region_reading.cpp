// Reading the people regions of a picture beside reading its bytes, in turns, from a warm cache.
//   region_reading PICTURE ROUNDS    prints the median milliseconds of each
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "metadata/file_metadata_store.h"
#include "platform/machine.h"
#include "text/conversions.h"

namespace {

void read_file(const char* path) {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  std::vector<char> bytes(static_cast<std::size_t>(lseek(file, 0, SEEK_END)));
  if (pread(file, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) std::exit(EXIT_FAILURE);
  close(file);
}

template <class Work>
double milliseconds_of(Work work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::fprintf(stderr, "region_reading PICTURE ROUNDS\n");
    return 2;
  }
  platform::install(&platform::native_machine());
  const std::wstring path = text::wide_from_utf8(arguments[1]);
  std::vector<double> regions;
  std::vector<double> bytes;
  for (int round = 0; round < std::atoi(arguments[2]); ++round) {
    bytes.push_back(milliseconds_of([&] { read_file(arguments[1]); }));
    regions.push_back(milliseconds_of([&] {
      if (quill_box::metadata::file_metadata_store(path).get_people_regions().empty()) std::exit(EXIT_FAILURE);
    }));
  }
  std::printf("%.3f %.3f\n", median(regions), median(bytes));
  return EXIT_SUCCESS;
}
