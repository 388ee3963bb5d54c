#include "platform/processes.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/machine.h"
#include "support/native_files.h"
#include "text/conversions.h"
#include "text/paths.h"

namespace {

using platform::win32_error;

platform::processes& own_process() { return platform::native_machine().processes; }

TEST(processes, a_process_keeps_its_number) {
  EXPECT_NE(own_process().process_id(), 0U);
  EXPECT_EQ(own_process().process_id(), own_process().process_id());
}

TEST(processes, every_thread_has_its_own_number) {
  const std::uint32_t own = own_process().thread_id();
  std::uint32_t other = own;
  std::thread([&other] { other = own_process().thread_id(); }).join();
  EXPECT_NE(own, 0U);
  EXPECT_NE(other, own);
  EXPECT_EQ(own_process().thread_id(), own);
}

TEST(processes, local_application_data_is_an_absolute_path) {
  const auto path = own_process().local_app_data();
  ASSERT_TRUE(path);
  EXPECT_FALSE(paths::root(*path).empty()) << text::utf8_from_wide(*path);
  EXPECT_FALSE(paths::is_separator(path->back()));
  EXPECT_EQ(path->find(L'\0'), std::wstring::npos);
}

TEST(processes, the_module_path_names_this_executable) {
  const auto path = own_process().module_path(65535);
  ASSERT_TRUE(path);
  EXPECT_EQ(paths::stem(*path), L"platform_tests");
  EXPECT_TRUE(test_support::is_there(*path));
}

TEST(processes, the_module_path_needs_room_for_its_end_mark) {
  const auto path = own_process().module_path(65535);
  ASSERT_TRUE(path);
  const std::size_t length = text::utf16_length(*path);
  EXPECT_EQ(*own_process().module_path(length + 1), *path);
  EXPECT_EQ(own_process().module_path(length).error(), win32_error::insufficient_buffer);
  EXPECT_EQ(own_process().module_path(5).error(), win32_error::insufficient_buffer);
  EXPECT_EQ(own_process().module_path(1).error(), win32_error::insufficient_buffer);
  EXPECT_EQ(own_process().module_path(0).error(), win32_error::insufficient_buffer);
}

TEST(processes, this_process_has_no_package_identity) {
  EXPECT_EQ(own_process().package_full_name(0).code, win32_error::appmodel_no_package);
  const auto answer = own_process().package_full_name(100);
  EXPECT_EQ(answer.code, win32_error::appmodel_no_package);
  EXPECT_EQ(answer.name, L"");
}

TEST(processes, a_model_id_can_be_set) {
  EXPECT_TRUE(succeeded(own_process().set_app_user_model_id(L"LarkspurForge.TesselWorksKit")));
}

TEST(processes, a_thread_enters_the_apartment_as_often_as_it_leaves_it) {
  std::thread([] {
    EXPECT_TRUE(succeeded(own_process().enter_apartment()));
    EXPECT_TRUE(succeeded(own_process().enter_apartment()));
    own_process().leave_apartment();
    own_process().leave_apartment();
  }).join();
}

}  // namespace
