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
  failing_calls() { EXPECT_TRUE(succeeded(machine_.processes.enter_apartment())); }
  ~failing_calls() override { machine_.processes.leave_apartment(); }

  platform::machine& machine_ = platform::native_machine();
  test_support::scratch_folder scratch_;
  std::wstring missing_ = scratch_ / L"missing.jpg";
};

TEST_F(failing_calls, a_missing_file_has_no_handler_store) {
  EXPECT_FALSE(machine_.properties.open_handler_store(missing_, platform::handler_access::read));
  EXPECT_FALSE(machine_.properties.open_handler_store(missing_, platform::handler_access::read_write));
}

TEST_F(failing_calls, a_missing_file_has_no_property_sets) {
  using platform::storage_access;
  EXPECT_FALSE(machine_.properties.open_property_set_storage(missing_, storage_access::read_deny_write));
  EXPECT_FALSE(machine_.properties.open_property_set_storage(missing_, storage_access::read_write_exclusive));
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

TEST_F(failing_calls, a_notification_of_a_missing_path_does_no_harm) {
  using platform::shell_event;
  using platform::shell_flush;
  machine_.shell.notify(shell_event::update_item, shell_flush::path_and_return, missing_);
  machine_.shell.notify(shell_event::update_directory, shell_flush::path_and_wait, scratch_.path());
}

}  // namespace
