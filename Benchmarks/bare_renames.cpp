// The least that sorting a folder by type costs: makes a subfolder for each extension and renames the files into them,
// in the order in which the file system lists them.
//   bare_renames FOLDER        into FOLDER/EXTENSION/
//   bare_renames --undo FOLDER back again, and removes the subfolders
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace {

void check(int result, const std::string& path) {
  if (result == 0) return;
  std::perror(path.c_str());
  std::exit(EXIT_FAILURE);
}

std::vector<std::string> names_in(const std::string& folder, unsigned char type) {
  DIR* const directory = opendir(folder.c_str());
  check(directory == nullptr ? -1 : 0, folder);
  std::vector<std::string> names;
  while (const dirent* entry = readdir(directory)) {
    const std::string_view name = entry->d_name;
    if (entry->d_type == type && name != "." && name != "..") names.emplace_back(name);
  }
  closedir(directory);
  return names;
}

void sort_by_extension(const std::string& folder) {
  std::set<std::string> made;
  for (const std::string& name : names_in(folder, DT_REG)) {
    const std::string target = folder + "/" + name.substr(name.find('.') + 1);
    if (made.insert(target).second) check(mkdir(target.c_str(), 0777), target);
    check(rename((folder + "/" + name).c_str(), (target + "/" + name).c_str()), name);
  }
}

void undo(const std::string& folder) {
  for (const std::string& sub : names_in(folder, DT_DIR)) {
    const std::string from = folder + "/" + sub;
    for (const std::string& name : names_in(from, DT_REG))
      check(rename((from + "/" + name).c_str(), (folder + "/" + name).c_str()), name);
    check(rmdir(from.c_str()), from);
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count == 2) {
    sort_by_extension(arguments[1]);
  } else if (count == 3 && std::string_view(arguments[1]) == "--undo") {
    undo(arguments[2]);
  } else {
    std::fprintf(stderr, "bare_renames [--undo] FOLDER\n");
    return 2;
  }
  return EXIT_SUCCESS;
}
