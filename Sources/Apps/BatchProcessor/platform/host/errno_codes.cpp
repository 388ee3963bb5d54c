#include "platform/host/errno_codes.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "platform/host/path_bytes.h"

namespace platform::host {

namespace {

struct errno_row {
  int error;
  win32_error code;
};

constexpr errno_row errno_table[] = {
    {0, win32_error::success},
    {ENOENT, win32_error::file_not_found},
    {ENOTDIR, win32_error::path_not_found},
    {EACCES, win32_error::access_denied},
    {EPERM, win32_error::access_denied},
    {EISDIR, win32_error::access_denied},
    {EROFS, win32_error::write_protect},
    {ENOSPC, win32_error::disk_full},
    {EDQUOT, win32_error::disk_full},
    {EFBIG, win32_error::file_too_large},
    {EEXIST, win32_error::file_exists},
    {ENOTEMPTY, win32_error::dir_not_empty},
    {ENAMETOOLONG, win32_error::filename_exceeds_range},
    {EILSEQ, win32_error::invalid_name},
    {EBUSY, win32_error::sharing_violation},
    {ETXTBSY, win32_error::sharing_violation},
    {EWOULDBLOCK, win32_error::sharing_violation},
    {ELOOP, win32_error::cant_resolve_filename},
    {EXDEV, win32_error::not_same_device},
    {EMFILE, win32_error::too_many_open_files},
    {ENFILE, win32_error::too_many_open_files},
    {ENOMEM, win32_error::not_enough_memory},
    {ENOTSUP, win32_error::not_supported},
    {ENOSYS, win32_error::not_supported},
    {EINVAL, win32_error::invalid_parameter},
    {EBADF, win32_error::invalid_handle},
    {ESPIPE, win32_error::seek},
    {ENXIO, win32_error::not_ready},
    {ENODEV, win32_error::not_ready},
    {ECANCELED, win32_error::cancelled},
};

struct storage_row {
  win32_error code;
  hresult storage;
};

constexpr storage_row storage_table[] = {
    {win32_error::success, hresult::ok},
    {win32_error::invalid_function, hresult::storage_invalid_function},
    {win32_error::file_not_found, hresult::storage_file_not_found},
    {win32_error::path_not_found, hresult::storage_path_not_found},
    {win32_error::too_many_open_files, hresult::storage_too_many_open_files},
    {win32_error::access_denied, hresult::storage_access_denied},
    {win32_error::invalid_handle, hresult::storage_invalid_handle},
    {win32_error::not_enough_memory, hresult::storage_insufficient_memory},
    {win32_error::write_protect, hresult::storage_write_protected},
    {win32_error::seek, hresult::storage_seek_error},
    {win32_error::write_fault, hresult::storage_write_fault},
    {win32_error::read_fault, hresult::storage_read_fault},
    {win32_error::sharing_violation, hresult::storage_sharing_violation},
    {win32_error::lock_violation, hresult::storage_lock_violation},
    {win32_error::handle_disk_full, hresult::storage_medium_full},
    {win32_error::not_supported, hresult::storage_invalid_function},
    {win32_error::file_exists, hresult::storage_file_already_exists},
    {win32_error::already_exists, hresult::storage_file_already_exists},
    {win32_error::invalid_parameter, hresult::storage_invalid_parameter},
    {win32_error::disk_full, hresult::storage_medium_full},
    {win32_error::invalid_name, hresult::storage_invalid_name},
    {win32_error::filename_exceeds_range, hresult::storage_invalid_name},
};

win32_error code_of_io_error(data_direction direction) {
  switch (direction) {
    case data_direction::reading:
      return win32_error::read_fault;
    case data_direction::writing:
      return win32_error::write_fault;
    case data_direction::none:
      break;
  }
  return win32_error::gen_failure;
}

bool is_folder(const std::string& path) {
  struct stat status;
  // Whatever keeps it from being looked at, it can't be told to be there.
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

win32_error error_from_errno(int error, data_direction direction) {
  if (error == EIO) return code_of_io_error(direction);
  const auto* const row = std::ranges::find(errno_table, error, &errno_row::error);
  return row == std::end(errno_table) ? win32_error::gen_failure : row->code;
}

win32_error error_from_errno(int error, const char* path) {
  if (error == ENOENT && !is_folder(parent_of(path))) return win32_error::path_not_found;
  return error_from_errno(error);
}

hresult storage_hresult_from(win32_error error) {
  const auto* const row = std::ranges::find(storage_table, error, &storage_row::code);
  return row == std::end(storage_table) ? hresult_from(error) : row->storage;
}

}  // namespace platform::host
