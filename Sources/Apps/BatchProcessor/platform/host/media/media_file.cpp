#include "platform/host/media/media_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <string_view>
#include <utility>

#include "platform/host/errno_codes.h"
#include "platform/host/media/asf_rating.h"
#include "platform/host/media/mp3_rating.h"
#include "platform/host/media/mp4_rating.h"
#include "platform/host/path_bytes.h"
#include "platform/host/staged_file.h"
#include "platform/host/system_calls.h"
#include "text/letter_case.h"
#include "text/paths.h"

namespace platform::host::media {

namespace {

struct type_row {
  std::wstring_view extension;
  const rating_format* format;
};
constexpr std::array<type_row, 6> types = {{
    {L".mp3", &mp3_rating},
    {L".mp4", &mp4_rating},
    {L".m4v", &mp4_rating},
    {L".mov", &mp4_rating},
    {L".wma", &asf_rating},
    {L".wmv", &asf_rating},
}};

enum class lock_state : std::uint8_t { held, file_gone };

/// Locks the file against other writers. While waiting for nothing, another one may have put a new file in its place.
hresult_result<lock_state> lock(int descriptor, const path_bytes& path) {
  if (retried([&] { return ::flock(descriptor, LOCK_EX | LOCK_NB); }) != 0) {
    if (errno == EWOULDBLOCK) return hresult::sharing_violation;
    // A file system without locks has nobody who could keep to them.
    if (errno != ENOLCK && errno != EOPNOTSUPP) return hresult_from(error_from_errno(errno));
  }
  struct stat opened {};
  struct stat named {};
  if (::fstat(descriptor, &opened) != 0) return hresult_from(error_from_errno(errno));
  if (::stat(path.c_str(), &named) != 0) return hresult_from(error_from_errno(errno, path.c_str()));
  const bool same = opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
  return same ? lock_state::held : lock_state::file_gone;
}

hresult_result<unique_descriptor> open_for_reading(const path_bytes& path, int mode) {
  // Without O_NONBLOCK the open of a pipe would wait for its other end.
  unique_descriptor descriptor(retried([&] { return ::open(path.c_str(), mode | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); }));
  if (!descriptor) return hresult_from(error_from_errno(errno, path.c_str()));
  return descriptor;
}

hresult_result<unique_descriptor> open_for_writing(const path_bytes& path) {
  constexpr int most_attempts = 5;
  for (int attempt = 0; attempt < most_attempts; ++attempt) {
    const win32_error finished = finish_interrupted_rewrite(std::string(path.view()));
    if (!succeeded(finished)) return hresult_from(finished);
    auto descriptor = open_for_reading(path, O_RDWR);
    if (!descriptor) return descriptor;
    const auto state = lock(descriptor->get(), path);
    if (!state) return state.error();
    if (*state == lock_state::held) return descriptor;
  }
  return hresult::sharing_violation;
}

}  // namespace

const rating_format* format_of(const std::wstring& path) {
  const std::wstring extension = text::to_lower(paths::extension(path));
  const auto found =
      std::find_if(types.begin(), types.end(), [&](const type_row& row) { return row.extension == extension; });
  return found == types.end() ? nullptr : found->format;
}

hresult_result<media_file> open_media_file(const std::wstring& path, handler_access access) {
  const path_bytes native(path);
  if (!succeeded(native.error())) return hresult_from(native.error());
  media_file file;
  file.format = format_of(path);
  if (file.format == nullptr) return hresult::class_not_registered;
  file.path = native.view();
  auto descriptor =
      access == handler_access::read_write ? open_for_writing(native) : open_for_reading(native, O_RDONLY);
  if (!descriptor) return descriptor.error();
  file.descriptor = *std::move(descriptor);
  struct stat status {};
  if (::fstat(file.descriptor.get(), &status) != 0) return hresult_from(error_from_errno(errno));
  if (!S_ISREG(status.st_mode)) return hresult::fail;
  // The read-only attribute, the owner's missing permission, binds the superuser too.
  if (access == handler_access::read_write && (status.st_mode & S_IWUSR) == 0) return hresult::access_denied;
  const auto stamp = stamp_of(file.descriptor.get());
  if (!stamp) return hresult_from(stamp.error());
  file.stamp = *stamp;
  file.source = std::make_unique<file_source>(file.descriptor.get(), file.stamp.size);
  const auto percent = file.format->read(*file.source, access);
  if (!percent) return percent.error();
  file.percent = *percent;
  return file;
}

}  // namespace platform::host::media
