#include "platform/windows/propvariants.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

using platform::hresult;
using platform::other_type;
using platform::property_value;
using platform::time_value;
using platform::windows::from_propvariant;
using platform::windows::scoped_propvariant;
using platform::windows::to_propvariant;

using string_list = std::vector<std::wstring>;
using number_list = std::vector<double>;

// The value after the way to the system's form and back.
property_value there_and_back(const property_value& value) {
  scoped_propvariant native;
  EXPECT_EQ(to_propvariant(value, native), hresult::ok);
  return from_propvariant(native.get());
}

TEST(propvariants, every_type_comes_back) {
  const std::vector<property_value> values = {
      std::monostate{},
      std::uint32_t{0},
      std::numeric_limits<std::uint32_t>::max(),
      std::int32_t{-1},
      std::numeric_limits<std::int32_t>::min(),
      std::uint16_t{6},
      std::numeric_limits<std::uint16_t>::max(),
      std::wstring(),
      std::wstring(L"text \u65e5\u672c"),
      string_list{L"one", L"", L"two words", L"\u00fcber"},
      string_list{L"single"},
      -151.209296,
      time_value{132'000'000'012'345'678},
      number_list{48, 51.5, 0.25},
      number_list(),
  };
  for (const property_value& value : values)
    EXPECT_EQ(there_and_back(value), value) << value.index();
}

TEST(propvariants, a_number_has_the_type_of_a_rating) {
  scoped_propvariant native;
  ASSERT_EQ(to_propvariant(std::uint32_t{75}, native), hresult::ok);
  EXPECT_EQ(native.get().vt, 19);
  EXPECT_EQ(native.get().ulVal, 75U);
}

TEST(propvariants, a_list_has_the_type_of_keywords_and_ends_each_element) {
  scoped_propvariant native;
  ASSERT_EQ(to_propvariant(string_list{L"a", L"bc"}, native), hresult::ok);
  EXPECT_EQ(native.get().vt, 0x101f);
  ASSERT_EQ(native.get().calpwstr.cElems, 2U);
  EXPECT_STREQ(native.get().calpwstr.pElems[0], L"a");
  EXPECT_STREQ(native.get().calpwstr.pElems[1], L"bc");
}

TEST(propvariants, an_empty_list_has_no_elements_and_no_array) {
  scoped_propvariant native;
  ASSERT_EQ(to_propvariant(string_list(), native), hresult::ok);
  EXPECT_EQ(native.get().vt, 0x101f);
  EXPECT_EQ(native.get().calpwstr.cElems, 0U);
  EXPECT_EQ(native.get().calpwstr.pElems, nullptr);
  EXPECT_EQ(from_propvariant(native.get()), property_value(string_list()));
}

TEST(propvariants, a_type_that_is_not_known_is_named) {
  PROPVARIANT native = {};
  native.vt = VT_DATE;
  EXPECT_EQ(from_propvariant(native), property_value(other_type{VT_DATE}));
  native.vt = VT_I2;
  EXPECT_EQ(from_propvariant(native), property_value(other_type{VT_I2}));
  native.vt = VT_VECTOR | VT_R4;
  EXPECT_EQ(from_propvariant(native), property_value(other_type{VT_VECTOR | VT_R4}));
}

TEST(propvariants, a_type_that_is_not_known_cant_be_set) {
  scoped_propvariant native;
  EXPECT_EQ(to_propvariant(other_type{VT_DATE}, native), hresult::invalid_argument);
  EXPECT_EQ(native.get().vt, VT_EMPTY);
}

TEST(propvariants, a_time_has_the_type_of_a_date_taken) {
  scoped_propvariant native;
  ASSERT_EQ(to_propvariant(time_value{0x0123456789abcdef}, native), hresult::ok);
  EXPECT_EQ(native.get().vt, 64);
  EXPECT_EQ(native.get().filetime.dwHighDateTime, 0x01234567U);
  EXPECT_EQ(native.get().filetime.dwLowDateTime, 0x89abcdefU);
}

TEST(propvariants, a_decimal_number_has_the_type_of_a_position) {
  scoped_propvariant native;
  ASSERT_EQ(to_propvariant(48.8583, native), hresult::ok);
  EXPECT_EQ(native.get().vt, 5);
  EXPECT_EQ(native.get().dblVal, 48.8583);
}

TEST(propvariants, numbers_have_the_type_of_degrees_minutes_and_seconds) {
  scoped_propvariant native;
  ASSERT_EQ(to_propvariant(number_list{48, 51, 29.9}, native), hresult::ok);
  EXPECT_EQ(native.get().vt, 4101);
  ASSERT_EQ(native.get().cadbl.cElems, 3U);
  EXPECT_EQ(native.get().cadbl.pElems[2], 29.9);
}

TEST(propvariants, a_list_of_numbers_without_its_array_is_empty) {
  PROPVARIANT list = {};
  list.vt = VT_VECTOR | VT_R8;
  list.cadbl.cElems = 3;
  EXPECT_EQ(from_propvariant(list), property_value(number_list()));
}

TEST(propvariants, a_null_text_is_no_value) {
  PROPVARIANT text = {};
  text.vt = VT_LPWSTR;
  EXPECT_EQ(from_propvariant(text), property_value());
}

TEST(propvariants, null_pointers_in_a_list_are_left_out) {
  wchar_t text[] = L"a";
  wchar_t nothing[] = L"";
  PWSTR elements[] = {nullptr, text, nullptr, nothing};
  PROPVARIANT list = {};
  list.vt = VT_VECTOR | VT_LPWSTR;
  list.calpwstr.cElems = 4;
  list.calpwstr.pElems = elements;
  EXPECT_EQ(from_propvariant(list), property_value(string_list{L"a", L""}));
  list.calpwstr.pElems = nullptr;
  EXPECT_EQ(from_propvariant(list), property_value(string_list()));
}

}  // namespace
