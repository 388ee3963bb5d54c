#include "files/file_functions.h"

#include <algorithm>
#include <array>
#include <new>
#include <span>
#include <utility>

#include "files/filesystem_error.h"
#include "platform/machine.h"
#include "text/paths.h"

namespace files {

using platform::win32_error;

namespace {

bool means_not_found(win32_error error) {
  constexpr std::array codes = {win32_error::file_not_found, win32_error::path_not_found, win32_error::bad_netpath,
                                win32_error::invalid_name};
  return std::find(codes.begin(), codes.end(), error) != codes.end();
}

}  // namespace

std::optional<platform::item_kind> kind_if_exists(const std::wstring& path) {
  return kind_if_exists(path, platform::current().files.kind(path));
}

std::optional<platform::item_kind> kind_if_exists(const std::wstring& path,
                                                  const platform::win32_result<platform::item_kind>& kind) {
  if (kind) return *kind;
  if (means_not_found(kind.error())) return std::nullopt;
  throw filesystem_error("exists", path, kind.error());
}

bool exists(const std::wstring& path) { return kind_if_exists(path).has_value(); }

bool is_directory(const std::wstring& path) {
  const auto kind = platform::current().files.kind(path);
  return kind && *kind == platform::item_kind::directory;
}

void create_directories(const std::wstring& path) {
  std::vector<std::wstring> missing;
  for (std::wstring at = path; !at.empty() && !exists(at);) {
    missing.push_back(at);
    std::wstring up(paths::parent(at));
    if (up == at) break;
    at = std::move(up);
  }
  for (auto folder = missing.rbegin(); folder != missing.rend(); ++folder) {
    const win32_error error = platform::current().files.create_directory(*folder);
    // Another process may have made it since.
    if (!succeeded(error) && error != win32_error::already_exists) {
      throw filesystem_error("create_directories", *folder, error);
    }
  }
}

std::optional<std::string> read_exactly(platform::file& file, std::uint64_t size) try {
  std::string content(size, '\0');
  const auto read = file.read(std::as_writable_bytes(std::span(content)));
  if (!read || *read != content.size()) return std::nullopt;
  return content;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

std::optional<std::string> read_whole_file(const std::wstring& path, std::uint64_t limit, platform::share others) {
  const auto file = platform::current().files.open(path, {platform::access::read, others});
  if (!file) return std::nullopt;
  const auto size = (*file)->size();
  if (!size || *size > limit) return std::nullopt;
  return read_exactly(**file, *size);
}

}  // namespace files
