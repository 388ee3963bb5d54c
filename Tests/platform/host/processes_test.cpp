#include "platform/host/processes.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <thread>

#include "platform/host/path_bytes.h"
#include "text/conversions.h"

namespace {

// Sets or removes a variable of the environment for a scope.
class variable {
 public:
  variable(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    set(value);
  }
  variable(const variable&) = delete;
  variable& operator=(const variable&) = delete;
  ~variable() { set(old_ ? old_->c_str() : nullptr); }

 private:
  void set(const char* value) const {
    if (value == nullptr) {
      ::unsetenv(name_);
    } else {
      ::setenv(name_, value, 1);
    }
  }

  const char* name_;
  std::optional<std::string> old_;
};

std::wstring local_app_data() {
  platform::host::processes processes;
  const auto folder = processes.local_app_data();
  EXPECT_TRUE(folder);
  return folder ? *folder : std::wstring();
}

TEST(local_app_data, is_the_data_home_if_that_is_absolute) {
  const variable data("XDG_DATA_HOME", "/data/u");
  const variable home("HOME", "/home/u");
  EXPECT_EQ(local_app_data(), L"/data/u");
}

TEST(local_app_data, is_below_home_when_the_data_home_is_missing_empty_or_relative) {
  const variable home("HOME", "/home/u");
  for (const char* value : {static_cast<const char*>(nullptr), "", "data", "./data"}) {
    const variable data("XDG_DATA_HOME", value);
    EXPECT_EQ(local_app_data(), L"/home/u/.local/share");
  }
}

TEST(local_app_data, puts_one_separator_behind_a_home_that_ends_in_one) {
  const variable data("XDG_DATA_HOME", nullptr);
  const variable home("HOME", "/");
  EXPECT_EQ(local_app_data(), L"/.local/share");
}

TEST(local_app_data, takes_the_user_databases_home_without_a_variable) {
  const variable data("XDG_DATA_HOME", nullptr);
  const variable home("HOME", nullptr);
  const passwd* const user = ::getpwuid(::geteuid());
  ASSERT_NE(user, nullptr);
  EXPECT_EQ(local_app_data(), platform::host::wide_from_bytes(std::string(user->pw_dir) + "/.local/share"));
}

TEST(local_app_data, keeps_bytes_that_are_no_utf8) {
  const variable data("XDG_DATA_HOME", "/data/\xff");
  EXPECT_EQ(platform::host::path_bytes(local_app_data()).view(), "/data/\xff");
}

TEST(module_path, names_the_executable_and_fits_with_its_terminator_only) {
  platform::host::processes processes;
  const auto path = processes.module_path(65536);
  ASSERT_TRUE(path);
  EXPECT_TRUE(path->ends_with(L"/platform_tests"));
  const std::size_t length = text::utf16_length(*path);
  EXPECT_EQ(*processes.module_path(length + 1), *path);
  EXPECT_EQ(processes.module_path(length).error(), platform::win32_error::insufficient_buffer);
  EXPECT_EQ(processes.module_path(0).error(), platform::win32_error::insufficient_buffer);
}

TEST(process_identity, has_a_number_for_the_process_and_one_for_each_thread) {
  platform::host::processes processes;
  EXPECT_EQ(processes.process_id(), static_cast<std::uint32_t>(::getpid()));
  std::uint32_t other = 0;
  std::thread([&] { other = processes.thread_id(); }).join();
  EXPECT_NE(other, 0U);
  EXPECT_NE(other, processes.thread_id());
}

TEST(process_identity, has_no_package) {
  platform::host::processes processes;
  EXPECT_EQ(processes.package_full_name(0).code, platform::win32_error::appmodel_no_package);
  EXPECT_EQ(processes.set_app_user_model_id(L"id"), platform::hresult::ok);
  EXPECT_EQ(processes.enter_apartment(), platform::hresult::ok);
}

}  // namespace
