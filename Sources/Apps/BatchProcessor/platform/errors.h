// Failure codes that cross the seam: Win32 error codes and HRESULTs, as values.
// The host maps errno to them, so that the logic can branch on one set of codes and show them to people.
#pragma once

#include <cstdint>

namespace platform {

/// A Win32 error code. Any number may occur; the named ones are those that some code compares with or produces.
enum class [[nodiscard]] win32_error : std::uint32_t{
    success = 0,
    invalid_function = 1,
    file_not_found = 2,
    path_not_found = 3,
    too_many_open_files = 4,
    access_denied = 5,
    invalid_handle = 6,
    not_enough_memory = 8,
    not_same_device = 17,
    write_protect = 19,
    not_ready = 21,
    seek = 25,
    write_fault = 29,
    read_fault = 30,
    gen_failure = 31,
    sharing_violation = 32,
    lock_violation = 33,
    handle_eof = 38,
    handle_disk_full = 39,
    not_supported = 50,
    bad_netpath = 53,
    file_exists = 80,
    invalid_parameter = 87,
    disk_full = 112,
    insufficient_buffer = 122,
    invalid_name = 123,
    dir_not_empty = 145,
    already_exists = 183,
    filename_exceeds_range = 206,
    file_too_large = 223,
    directory = 267,
    not_found = 1168,
    cancelled = 1223,
    cant_resolve_filename = 1921,
    appmodel_no_package = 15700,
};

/// An HRESULT. Any number may occur; the named ones are those that some code compares with or produces.
enum class [[nodiscard]] hresult : std::uint32_t{
    ok = 0,
    not_implemented = 0x80004001,
    fail = 0x80004005,
    storage_invalid_function = 0x80030001,
    storage_file_not_found = 0x80030002,
    storage_path_not_found = 0x80030003,
    storage_too_many_open_files = 0x80030004,
    storage_access_denied = 0x80030005,
    storage_invalid_handle = 0x80030006,
    storage_insufficient_memory = 0x80030008,
    storage_write_protected = 0x80030013,
    storage_seek_error = 0x80030019,
    storage_write_fault = 0x8003001d,
    storage_read_fault = 0x8003001e,
    storage_sharing_violation = 0x80030020,
    storage_lock_violation = 0x80030021,
    storage_file_already_exists = 0x80030050,
    storage_invalid_parameter = 0x80030057,
    storage_medium_full = 0x80030070,
    storage_invalid_name = 0x800300fc,
    class_not_registered = 0x80040154,
    file_not_found = 0x80070002,
    path_not_found = 0x80070003,
    access_denied = 0x80070005,
    out_of_memory = 0x8007000e,
    sharing_violation = 0x80070020,
    not_supported = 0x80070032,
    invalid_argument = 0x80070057,
    imaging_unknown_format = 0x88982f07,
    imaging_property_not_found = 0x88982f40,
    imaging_property_not_supported = 0x88982f41,
    imaging_too_much_metadata = 0x88982f52,
};

[[nodiscard]] constexpr std::uint32_t code_of(win32_error error) { return static_cast<std::uint32_t>(error); }
[[nodiscard]] constexpr std::uint32_t code_of(hresult error) { return static_cast<std::uint32_t>(error); }

[[nodiscard]] constexpr bool succeeded(win32_error error) { return error == win32_error::success; }

/// As for the SUCCEEDED macro: the sign bit tells, so that "success with remarks" (S_FALSE) is a success.
[[nodiscard]] constexpr bool succeeded(hresult error) { return code_of(error) < 0x80000000; }

/// HRESULT_FROM_WIN32: zero and values that are HRESULTs already pass, others get facility 7 with their low 16 bits.
[[nodiscard]] constexpr hresult hresult_from(win32_error error) {
  const std::uint32_t code = code_of(error);
  if (code == 0 || code >= 0x80000000) return static_cast<hresult>(code);
  return static_cast<hresult>(0x80070000 | (code & 0xffff));
}

}  // namespace platform
