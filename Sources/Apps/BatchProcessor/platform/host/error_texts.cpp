#include "platform/host/error_texts.h"

#include <algorithm>

#include "platform/errors.h"

namespace platform::host {

namespace {

struct text_row {
  std::uint32_t code;
  const wchar_t* text;  // without the line end
};

constexpr text_row row(win32_error code, const wchar_t* text) { return {code_of(code), text}; }
constexpr text_row row(hresult code, const wchar_t* text) { return {code_of(code), text}; }

// "%1" stands for a name that the caller of the system's function would insert; it is never filled in here.
constexpr text_row texts[] = {
    row(win32_error::success, L"The operation completed successfully."),
    row(win32_error::invalid_function, L"Incorrect function."),
    row(win32_error::file_not_found, L"The system cannot find the file specified."),
    row(win32_error::path_not_found, L"The system cannot find the path specified."),
    row(win32_error::too_many_open_files, L"The system cannot open the file."),
    row(win32_error::access_denied, L"Access is denied."),
    row(win32_error::invalid_handle, L"The handle is invalid."),
    row(win32_error::not_enough_memory, L"Not enough memory resources are available to process this command."),
    {14, L"Not enough memory resources are available to complete this operation."},
    row(win32_error::not_same_device, L"The system cannot move the file to a different disk drive."),
    row(win32_error::write_protect, L"The media is write protected."),
    row(win32_error::not_ready, L"The device is not ready."),
    row(win32_error::seek, L"The drive cannot locate a specific area or track on the disk."),
    row(win32_error::write_fault, L"The system cannot write to the specified device."),
    row(win32_error::read_fault, L"The system cannot read from the specified device."),
    row(win32_error::gen_failure, L"A device attached to the system is not functioning."),
    row(win32_error::sharing_violation,
        L"The process cannot access the file because it is being used by another process."),
    row(win32_error::lock_violation,
        L"The process cannot access the file because another process has locked a portion of the file."),
    row(win32_error::handle_eof, L"Reached the end of the file."),
    row(win32_error::handle_disk_full, L"The disk is full."),
    row(win32_error::not_supported, L"The request is not supported."),
    row(win32_error::bad_netpath, L"The network path was not found."),
    row(win32_error::file_exists, L"The file exists."),
    row(win32_error::invalid_parameter, L"The parameter is incorrect."),
    row(win32_error::disk_full, L"There is not enough space on the disk."),
    row(win32_error::insufficient_buffer, L"The data area passed to a system call is too small."),
    row(win32_error::invalid_name, L"The filename, directory name, or volume label syntax is incorrect."),
    row(win32_error::dir_not_empty, L"The directory is not empty."),
    row(win32_error::already_exists, L"Cannot create a file when that file already exists."),
    row(win32_error::filename_exceeds_range, L"The filename or extension is too long."),
    row(win32_error::file_too_large, L"The file size exceeds the limit allowed and cannot be saved."),
    row(win32_error::directory, L"The directory name is invalid."),
    row(win32_error::not_found, L"Element not found."),
    row(win32_error::cancelled, L"The operation was canceled by the user."),
    row(win32_error::cant_resolve_filename, L"The name of the file cannot be resolved by the system."),
    row(win32_error::appmodel_no_package, L"The process has no package identity."),
    row(hresult::not_implemented, L"Not implemented"),
    row(hresult::fail, L"Unspecified error"),
    row(hresult::storage_invalid_function, L"Unable to perform requested operation."),
    row(hresult::storage_file_not_found, L"%1 could not be found."),
    row(hresult::storage_path_not_found, L"The path %1 could not be found."),
    row(hresult::storage_too_many_open_files, L"There are insufficient resources to open another file."),
    row(hresult::storage_access_denied, L"Access Denied."),
    row(hresult::storage_invalid_handle, L"Attempted an operation on an invalid object."),
    row(hresult::storage_insufficient_memory, L"There is insufficient memory available to complete operation."),
    row(hresult::storage_write_protected, L"Disk is write-protected."),
    row(hresult::storage_seek_error, L"An error occurred during a seek operation."),
    row(hresult::storage_write_fault, L"A disk error occurred during a write operation."),
    row(hresult::storage_read_fault, L"A disk error occurred during a read operation."),
    row(hresult::storage_sharing_violation, L"A share violation has occurred."),
    row(hresult::storage_lock_violation, L"A lock violation has occurred."),
    row(hresult::storage_file_already_exists, L"%1 already exists."),
    row(hresult::storage_invalid_parameter, L"Invalid parameter error."),
    row(hresult::storage_medium_full, L"There is insufficient disk space to complete operation."),
    row(hresult::storage_invalid_name, L"The name %1 is not valid."),
    row(hresult::class_not_registered, L"Class not registered"),
    row(hresult::imaging_unknown_format, L"The image format is unknown."),
    row(hresult::imaging_property_not_found, L"The specified bitmap property cannot be found."),
    row(hresult::imaging_property_not_supported, L"The bitmap codec does not support the bitmap property."),
    row(hresult::imaging_too_much_metadata, L"There is too much metadata to be written to the bitmap."),
};

constexpr std::uint32_t facility_win32 = 0x80070000;

}  // namespace

std::optional<std::wstring> error_texts::text_of(std::uint32_t code) {
  if ((code & 0xffff0000) == facility_win32) code &= 0xffff;
  const auto* const row = std::ranges::find(texts, code, &text_row::code);
  if (row == std::end(texts)) return std::nullopt;
  return std::wstring(row->text) + L"\r\n";
}

}  // namespace platform::host
