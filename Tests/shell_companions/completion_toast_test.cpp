#include "shell_companions/completion_toast.h"

#include <gtest/gtest.h>

#include <string>

#include "settings/high_level_settings.h"
#include "support/simulated_machine.h"

namespace {

using quill_box::action_types::actions;
using toast_utilities::wants_completion_toast;

class completion_toast : public testing::Test {
 protected:
  completion_toast() { high_level_settings::forget_settings_instance(); }
  ~completion_toast() override { high_level_settings::forget_settings_instance(); }

  void write_settings(const std::string& section) {
    machine.write_file(
        LR"(C:\Users\user\AppData\Local\Larkspur Forge LLC\Tessel Works Kit\High Level Settings\Settings.json)",
        R"({"apps":[{"app_id":"quill-box",)" + section + "}]}");
  }

  // Only `key` is switched off.
  void switch_off(const std::string& key) { write_settings(R"("settings":{"notifications.)" + key + R"(":false})"); }

  support::scoped_machine machine;
};

TEST_F(completion_toast, of_ratings_has_a_setting) {
  switch_off("showRateCompletionToast");
  EXPECT_FALSE(wants_completion_toast(actions::set_rating));
  EXPECT_FALSE(wants_completion_toast(actions::remove_rating));
  EXPECT_TRUE(wants_completion_toast(actions::remove_tags));
  EXPECT_TRUE(wants_completion_toast(actions::recognize_faces));
}

TEST_F(completion_toast, of_tags_has_a_setting_that_updates_and_auto_tags_pass_by) {
  switch_off("showTagCompletionToast");
  EXPECT_FALSE(wants_completion_toast(actions::remove_tags));
  EXPECT_FALSE(wants_completion_toast(actions::toggle_tags));
  EXPECT_FALSE(wants_completion_toast(actions::remove_tag));
  EXPECT_TRUE(wants_completion_toast(actions::update_tags));
  EXPECT_TRUE(wants_completion_toast(actions::auto_tag));
  EXPECT_TRUE(wants_completion_toast(actions::set_rating));
}

TEST_F(completion_toast, of_faces_has_a_setting) {
  switch_off("showRecognizeFacesCompletionToast");
  EXPECT_FALSE(wants_completion_toast(actions::recognize_faces));
  EXPECT_TRUE(wants_completion_toast(actions::revoke_faces));
}

TEST_F(completion_toast, is_silenced_by_a_disabled_section_where_it_has_a_setting) {
  write_settings(R"("status":"disabled")");
  EXPECT_FALSE(wants_completion_toast(actions::set_rating));
  EXPECT_FALSE(wants_completion_toast(actions::toggle_tags));
  EXPECT_TRUE(wants_completion_toast(actions::organize_folder));
}

}  // namespace
