#include "platform/windows/propvariants.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

using platform::hresult;
using platform::other_type;
using platform::property_value;
using platform::windows::from_propvariant;
using platform::windows::scoped_propvariant;
using platform::windows::to_propvariant;

using string_list = std::vector<std::wstring>;

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
      std::wstring(),
      std::wstring(L"text \u65e5\u672c"),
      string_list{L"one", L"", L"two words", L"\u00fcber"},
      string_list{L"single"},
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
  native.vt = VT_FILETIME;
  EXPECT_EQ(from_propvariant(native), property_value(other_type{VT_FILETIME}));
  native.vt = VT_UI2;
  EXPECT_EQ(from_propvariant(native), property_value(other_type{VT_UI2}));
}

TEST(propvariants, a_type_that_is_not_known_cant_be_set) {
  scoped_propvariant native;
  EXPECT_EQ(to_propvariant(other_type{VT_FILETIME}, native), hresult::invalid_argument);
  EXPECT_EQ(native.get().vt, VT_EMPTY);
}

TEST(propvariants, null_pointers_read_as_empty_texts) {
  PROPVARIANT text = {};
  text.vt = VT_LPWSTR;
  EXPECT_EQ(from_propvariant(text), property_value(std::wstring()));

  PWSTR elements[] = {nullptr, nullptr};
  PROPVARIANT list = {};
  list.vt = VT_VECTOR | VT_LPWSTR;
  list.calpwstr.cElems = 2;
  list.calpwstr.pElems = elements;
  EXPECT_EQ(from_propvariant(list), property_value(string_list{L"", L""}));
  list.calpwstr.pElems = nullptr;
  EXPECT_EQ(from_propvariant(list), property_value(string_list()));
}

}  // namespace
