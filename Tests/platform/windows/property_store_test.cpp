// The wrapper of a property store, around a store that the system keeps in memory.
#include "platform/windows/property_store.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

#include "platform/machine.h"
#include "platform/property_keys.h"
#include "platform/windows/error_codes.h"

namespace {

using platform::hresult;
using platform::property_value;
using platform::windows::com_reference;

using string_list = std::vector<std::wstring>;

class property_store : public testing::Test {
 protected:
  property_store() {
    EXPECT_TRUE(succeeded(platform::native_machine().processes.enter_apartment()));
    EXPECT_EQ(PSCreateMemoryPropertyStore(native_.identifier(), native_.put_untyped()), S_OK);
    native_->AddRef();
    com_reference<IPropertyStore> second;
    *second.put() = native_.get();
    store_ = platform::windows::wrap(std::move(second));
  }
  ~property_store() override {
    store_.reset();
    native_ = {};
    platform::native_machine().processes.leave_apartment();
  }

  property_value get(const platform::property_key& key) {
    const auto value = store_->get(key);
    EXPECT_TRUE(value) << std::hex << code_of(value.error());
    return value ? *value : property_value();
  }

  com_reference<IPropertyStore> native_;
  std::unique_ptr<platform::property_store> store_;
};

TEST_F(property_store, a_property_that_isnt_there_is_empty) { EXPECT_EQ(get(platform::rating_key), property_value()); }

TEST_F(property_store, a_rating_is_set_and_read) {
  EXPECT_EQ(store_->set(platform::rating_key, std::uint32_t{75}), hresult::ok);
  EXPECT_EQ(get(platform::rating_key), property_value(std::uint32_t{75}));
}

TEST_F(property_store, keywords_are_set_and_read) {
  const string_list tags = {L"beach", L"\u65e5\u672c"};
  EXPECT_EQ(store_->set(platform::keywords_key, tags), hresult::ok);
  EXPECT_EQ(get(platform::keywords_key), property_value(tags));
}

TEST_F(property_store, every_key_reaches_the_system_as_it_is) {
  struct known_key {
    platform::property_key ours;
    PROPERTYKEY native;
  };
  const known_key keys[] = {
      {platform::keywords_key, {{0xf29f85e0, 0x4ff9, 0x1068, {0xab, 0x91, 0x08, 0x00, 0x2b, 0x27, 0xb3, 0xd9}}, 5}},
      {platform::rating_key, {{0x64440492, 0x4c8b, 0x11d1, {0x8b, 0x70, 0x08, 0x00, 0x36, 0xb1, 0x1a, 0x03}}, 9}},
      {platform::people_names_key,
       {{0xe8309b6e, 0x084c, 0x49b4, {0xb1, 0xfc, 0x90, 0xa8, 0x03, 0x31, 0xb6, 0x38}}, 100}},
  };
  std::uint32_t number = 0;
  for (const known_key& key : keys) {
    ASSERT_EQ(store_->set(key.ours, ++number), hresult::ok);
    PROPVARIANT value = {};
    ASSERT_EQ(native_->GetValue(key.native, &value), S_OK);
    EXPECT_EQ(value.vt, VT_UI4);
    EXPECT_EQ(value.ulVal, number);
  }
  DWORD count = 0;
  ASSERT_EQ(native_->GetCount(&count), S_OK);
  EXPECT_EQ(count, std::size(keys));
}

TEST_F(property_store, a_value_that_cant_be_made_is_not_set) {
  EXPECT_EQ(store_->set(platform::rating_key, platform::other_type{VT_FILETIME}), hresult::invalid_argument);
  EXPECT_EQ(get(platform::rating_key), property_value());
}

TEST_F(property_store, the_reference_is_given_back_at_the_end) {
  store_.reset();
  native_->AddRef();
  EXPECT_EQ(native_->Release(), 1U);
}

}  // namespace
