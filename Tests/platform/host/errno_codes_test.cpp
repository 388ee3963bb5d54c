#include "platform/host/errno_codes.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "platform/host/error_texts.h"

namespace {

using platform::hresult;
using platform::win32_error;
using platform::host::data_direction;
using platform::host::error_from_errno;
using platform::host::storage_hresult_from;

TEST(errno_codes, have_the_code_that_a_windows_user_would_see) {
  const std::pair<int, win32_error> rows[] = {
      {ENOENT, win32_error::file_not_found},
      {ENOTDIR, win32_error::path_not_found},
      {EACCES, win32_error::access_denied},
      {EPERM, win32_error::access_denied},
      {EISDIR, win32_error::access_denied},
      {EROFS, win32_error::write_protect},
      {ENOSPC, win32_error::disk_full},
      {EDQUOT, win32_error::disk_full},
      {EEXIST, win32_error::file_exists},
      {ENOTEMPTY, win32_error::dir_not_empty},
      {ENAMETOOLONG, win32_error::filename_exceeds_range},
      {EBUSY, win32_error::sharing_violation},
      {ETXTBSY, win32_error::sharing_violation},
      {EWOULDBLOCK, win32_error::sharing_violation},
      {EMFILE, win32_error::too_many_open_files},
      {ENOTSUP, win32_error::not_supported},
      {EOPNOTSUPP, win32_error::not_supported},
      {EXDEV, win32_error::not_same_device},
      {EFBIG, win32_error::file_too_large},
      {ENOMEM, win32_error::not_enough_memory},
      {ELOOP, win32_error::cant_resolve_filename},
  };
  for (const auto& [error, code] : rows)
    EXPECT_EQ(error_from_errno(error), code) << error;
}

TEST(errno_codes, of_an_io_error_tell_its_direction) {
  EXPECT_EQ(error_from_errno(EIO, data_direction::reading), win32_error::read_fault);
  EXPECT_EQ(error_from_errno(EIO, data_direction::writing), win32_error::write_fault);
  EXPECT_EQ(error_from_errno(EIO), win32_error::gen_failure);
}

TEST(errno_codes, of_an_unknown_number_is_a_general_failure) {
  EXPECT_EQ(error_from_errno(123456), win32_error::gen_failure);
}

TEST(errno_codes, of_a_missing_name_depend_on_its_folder) {
  EXPECT_EQ(error_from_errno(ENOENT, "/no_such_file"), win32_error::file_not_found);
  EXPECT_EQ(error_from_errno(ENOENT, "no_such_file"), win32_error::file_not_found);
  EXPECT_EQ(error_from_errno(ENOENT, "/no_such_folder/file"), win32_error::path_not_found);
  EXPECT_EQ(error_from_errno(EACCES, "/no_such_folder/file"), win32_error::access_denied);
}

TEST(errno_codes, always_have_a_text) {
  platform::host::error_texts texts;
  for (int error = 1; error < 200; ++error) {
    EXPECT_TRUE(texts.text_of(code_of(error_from_errno(error)))) << error;
    EXPECT_TRUE(texts.text_of(code_of(storage_hresult_from(error_from_errno(error))))) << error;
  }
}

TEST(errno_codes, become_storage_codes_or_keep_facility_7) {
  EXPECT_EQ(storage_hresult_from(win32_error::file_not_found), hresult::storage_file_not_found);
  EXPECT_EQ(storage_hresult_from(win32_error::sharing_violation), hresult::storage_sharing_violation);
  EXPECT_EQ(storage_hresult_from(win32_error::disk_full), hresult::storage_medium_full);
  EXPECT_EQ(storage_hresult_from(win32_error::not_supported), hresult::storage_invalid_function);
  EXPECT_EQ(storage_hresult_from(win32_error::invalid_name), hresult::storage_invalid_name);
  EXPECT_EQ(storage_hresult_from(win32_error::dir_not_empty), static_cast<hresult>(0x80070091));
  EXPECT_EQ(storage_hresult_from(win32_error::success), hresult::ok);
}

}  // namespace
