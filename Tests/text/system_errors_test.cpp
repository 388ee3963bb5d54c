#include "text/system_errors.h"

#include <gtest/gtest.h>

#include "support/simulated_machine.h"

namespace {

using platform::hresult;
using platform::win32_error;

class system_errors : public testing::Test {
 protected:
  std::string message_of(std::wstring system_text) {
    machine.errors.set_text(hresult::fail, std::move(system_text));
    return text::hresult_message(hresult::fail);
  }
  std::wstring text_of(std::wstring system_text) {
    machine.errors.set_text(win32_error::access_denied, std::move(system_text));
    return text::system_error_text(win32_error::access_denied);
  }

  support::scoped_machine machine;
  const hresult unknown_result = static_cast<hresult>(0x81234567);
};

TEST_F(system_errors, an_hresult_without_a_text_is_unknown) {
  EXPECT_EQ(text::hresult_message(unknown_result), "Unknown HRESULT error.");
}

TEST_F(system_errors, a_win32_code_without_a_text_says_so) {
  EXPECT_EQ(text::system_error_text(static_cast<win32_error>(54321)), L"unable to get message from FormatMessage");
}

TEST_F(system_errors, an_hresult_of_a_win32_code_has_its_text) {
  EXPECT_EQ(text::hresult_message(hresult::access_denied), "Access is denied.");
}

TEST_F(system_errors, one_line_end_is_cut_from_an_hresults_text) {
  EXPECT_EQ(message_of(L"Text.\r\n"), "Text.");
  EXPECT_EQ(message_of(L"Text.\n"), "Text.");
  EXPECT_EQ(message_of(L"Text.\r"), "Text.");
  EXPECT_EQ(message_of(L"Text."), "Text.");
  EXPECT_EQ(message_of(L"Text. \r\n\r\n"), "Text. \r\n") << "only the last one";
  EXPECT_EQ(message_of(L"Text.\n\r"), "Text.\n") << "a line feed in front of the return stays";
}

TEST_F(system_errors, placeholders_with_their_blank_are_deleted_from_an_hresults_text) {
  EXPECT_EQ(message_of(L"The file %1 is in the way of %2 today."), "The file is in the way of today.");
  EXPECT_EQ(message_of(L"%1 %1 and %2 %2 x"), "and x");
  EXPECT_EQ(message_of(L"At the end %1"), "At the end %1") << "no blank follows";
  EXPECT_EQ(message_of(L"A third %3 stays."), "A third %3 stays.");
}

TEST_F(system_errors, placeholders_that_meet_when_another_goes_are_deleted_in_their_turn) {
  EXPECT_EQ(message_of(L"%%1 2 x"), "x") << "the first deletion makes a %2";
}

TEST_F(system_errors, an_hresults_text_is_utf8) {
  EXPECT_EQ(message_of(L"Zugriff verweigert \u2014 \u00fc\r\n"), "Zugriff verweigert \xe2\x80\x94 \xc3\xbc");
}

TEST_F(system_errors, white_space_at_the_end_of_a_win32_text_is_cut) {
  EXPECT_EQ(text_of(L"Access is denied. \r\n\t\r\n"), L"Access is denied.");
  EXPECT_EQ(text_of(L" \r\n"), L"");
  EXPECT_EQ(text_of(L" in front %1 stays \r\n"), L" in front %1 stays");
}

}  // namespace
