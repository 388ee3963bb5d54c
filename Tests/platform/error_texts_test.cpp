#include "platform/error_texts.h"

#include <gtest/gtest.h>

#include "support/contract_machines.h"
#include "support/native_capabilities.h"

namespace {

using platform::code_of;
using platform::hresult;
using platform::win32_error;

std::optional<std::wstring> text_of(std::uint32_t code) {
  return test_support::machine_under_test().errors.text_of(code);
}

using error_texts = test_support::contract_test;

TEST_P(error_texts, codes_that_users_meet_have_a_text_with_a_line_end) {
  for (const auto code : {win32_error::file_not_found, win32_error::path_not_found, win32_error::access_denied,
                          win32_error::write_protect, win32_error::sharing_violation, win32_error::lock_violation,
                          win32_error::not_supported, win32_error::file_exists, win32_error::invalid_parameter,
                          win32_error::disk_full, win32_error::invalid_name, win32_error::already_exists}) {
    const auto text = text_of(code_of(code));
    ASSERT_TRUE(text) << code_of(code);
    EXPECT_GT(text->size(), 2U) << code_of(code);
    EXPECT_TRUE(text->ends_with(L"\r\n")) << code_of(code);
  }
}

TEST_P(error_texts, texts_differ) {
  EXPECT_NE(text_of(code_of(win32_error::file_not_found)), text_of(code_of(win32_error::access_denied)));
}

TEST_P(error_texts, an_hresult_made_from_a_code_has_the_text_of_the_code) {
  EXPECT_EQ(text_of(code_of(hresult::access_denied)), text_of(code_of(win32_error::access_denied)));
  EXPECT_EQ(text_of(code_of(hresult::file_not_found)), text_of(code_of(win32_error::file_not_found)));
}

TEST_P(error_texts, general_hresults_have_a_text) {
  EXPECT_TRUE(text_of(code_of(hresult::not_implemented)));
  EXPECT_TRUE(text_of(code_of(hresult::fail)));
}

TEST_P(error_texts, hresults_of_storages_have_a_text) {
  REQUIRE_CAPABILITY(known_error_texts);
  EXPECT_EQ(text_of(code_of(hresult::storage_file_not_found)), L"%1 could not be found.\r\n");
  EXPECT_EQ(text_of(code_of(hresult::storage_access_denied)), L"Access Denied.\r\n");
}

TEST_P(error_texts, an_unknown_code_has_none) {
  EXPECT_EQ(text_of(0x2fffffff), std::nullopt);
  EXPECT_EQ(text_of(0x8fffffff), std::nullopt);
}

TEST_P(error_texts, the_words_are_those_of_the_system) {
  REQUIRE_CAPABILITY(known_error_texts);
  EXPECT_EQ(text_of(2), L"The system cannot find the file specified.\r\n");
  EXPECT_EQ(text_of(5), L"Access is denied.\r\n");
}

RUN_ON_EACH_MACHINE(error_texts);

}  // namespace
