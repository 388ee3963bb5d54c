#include "platform/host/error_texts.h"

#include <gtest/gtest.h>

#include "platform/errors.h"

namespace {

using platform::hresult;
using platform::win32_error;

std::optional<std::wstring> text_of(auto code) {
  platform::host::error_texts texts;
  return texts.text_of(code_of(code));
}

TEST(error_texts, end_in_a_line_end_as_the_systems_do) {
  EXPECT_EQ(text_of(win32_error::file_not_found), L"The system cannot find the file specified.\r\n");
  EXPECT_EQ(text_of(win32_error::access_denied), L"Access is denied.\r\n");
}

TEST(error_texts, of_facility_7_are_those_of_the_win32_code) {
  EXPECT_EQ(text_of(hresult::access_denied), text_of(win32_error::access_denied));
  EXPECT_EQ(text_of(hresult::sharing_violation), text_of(win32_error::sharing_violation));
  EXPECT_EQ(text_of(hresult_from(win32_error::disk_full)), L"There is not enough space on the disk.\r\n");
  EXPECT_TRUE(text_of(hresult::out_of_memory));
}

TEST(error_texts, keep_the_place_of_an_insert) {
  EXPECT_EQ(text_of(hresult::storage_file_not_found), L"%1 could not be found.\r\n");
}

TEST(error_texts, of_a_storage_code_are_its_own) {
  EXPECT_EQ(text_of(hresult::storage_access_denied), L"Access Denied.\r\n");
}

TEST(error_texts, are_none_for_a_code_that_the_system_does_not_know) {
  EXPECT_EQ(text_of(static_cast<win32_error>(4'000'000)), std::nullopt);
  EXPECT_EQ(text_of(static_cast<hresult>(0x8007fff0)), std::nullopt);
  EXPECT_EQ(text_of(static_cast<hresult>(0x80040999)), std::nullopt);
}

}  // namespace
