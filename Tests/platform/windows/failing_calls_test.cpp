// Calls that fail, on Windows for the path and under Wine for want of an implementation: the failure comes back as a
// value, nothing throws and no file changes.
#include <gtest/gtest.h>

#include "platform/machine.h"
#include "support/native_capabilities.h"
#include "support/native_files.h"
#include "support/scratch_folder.h"

namespace {

class failing_calls : public testing::Test {
 protected:
  failing_calls() {
    EXPECT_TRUE(succeeded(machine_.processes.enter_apartment()));
    test_support::put_file(existing_, "text");
  }
  ~failing_calls() override { machine_.processes.leave_apartment(); }

  platform::machine& machine_ = platform::native_machine();
  test_support::scratch_folder scratch_;
  std::wstring missing_ = scratch_ / L"missing.jpg";
  std::wstring existing_ = scratch_ / L"existing.txt";
};

TEST_F(failing_calls, a_missing_file_has_no_handler_store) {
  REQUIRE_CAPABILITY(property_stores);
  EXPECT_TRUE(machine_.properties.open_handler_store(existing_, platform::handler_access::read));
  EXPECT_FALSE(machine_.properties.open_handler_store(missing_, platform::handler_access::read));
  EXPECT_FALSE(machine_.properties.open_handler_store(missing_, platform::handler_access::read_write));
  EXPECT_FALSE(test_support::is_there(missing_));
}

TEST_F(failing_calls, a_missing_file_has_no_property_sets) {
  REQUIRE_CAPABILITY(property_stores);
  using platform::storage_access;
  for (const storage_access access : {storage_access::read_deny_write, storage_access::read_write_exclusive}) {
    EXPECT_TRUE(machine_.properties.open_property_set_storage(existing_, access));
    EXPECT_EQ(machine_.properties.open_property_set_storage(missing_, access).error().code,
              platform::hresult::storage_file_not_found);
  }
  EXPECT_FALSE(test_support::is_there(missing_));
}

TEST_F(failing_calls, a_missing_file_is_no_image) {
  REQUIRE_CAPABILITY(harmless_image_opening);
  EXPECT_EQ(machine_.images.open(missing_).error(), platform::hresult::file_not_found);
  EXPECT_FALSE(test_support::is_there(missing_));
}

TEST_F(failing_calls, a_missing_file_has_no_thumbnail) {
  EXPECT_FALSE(succeeded(machine_.shell.renew_thumbnail(missing_, 256)));
}

}  // namespace
