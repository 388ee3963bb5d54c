#include "support/simulated_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <tuple>

#include "logging/log.h"

namespace {

using platform::hresult;
using platform::win32_error;
using testing::ElementsAre;

TEST(scoped_machine, is_the_current_machine_until_its_end) {
  support::scoped_machine outer;
  EXPECT_EQ(&platform::current(), &outer.machine);
  {
    support::scoped_machine inner;
    EXPECT_EQ(&platform::current(), &inner.machine);
  }
  EXPECT_EQ(&platform::current(), &outer.machine);
}

TEST(scoped_machine, tells_of_a_handle_that_is_left_open) {
  EXPECT_NONFATAL_FAILURE(
      {
        auto machine = std::make_unique<support::scoped_machine>();
        const auto entry = machine->disk.find(LR"(C:\Users)");
        const support::disk_claim claim(*entry, {platform::access::read, platform::share::none});
        machine.reset();
      },
      "A handle on C:\\Users was left open.");
}

TEST(simulated_clock, stands_still_but_for_sleeps) {
  support::scoped_machine machine;
  const platform::file_time start = machine.clock.now();
  EXPECT_EQ(machine.clock.now(), start);
  machine.clock.sleep(std::chrono::milliseconds(50));
  EXPECT_EQ(machine.clock.now(), start + 500'000);
  EXPECT_THAT(machine.clock.sleeps(), ElementsAre(std::chrono::milliseconds(50)));
}

TEST(simulated_clock, knows_local_time) {
  support::scoped_machine machine;
  const platform::local_time local = machine.clock.to_local(machine.clock.now());
  EXPECT_EQ(std::tie(local.year, local.month, local.day), std::make_tuple(2026, 11, 14));
  EXPECT_EQ(std::tie(local.hour, local.minute, local.second, local.ticks), std::make_tuple(12, 5, 17, 1234567));
  machine.clock.set_zone(std::chrono::hours(-12));
  EXPECT_EQ(machine.clock.to_local(machine.clock.now()).day, 13);
  EXPECT_EQ(machine.clock.to_local(machine.clock.now()).hour, 23);
  // The Unix epoch, a well-known number.
  EXPECT_EQ(support::ticks_of({1970, 1, 1, 0, 0, 0, 0}), 116444736000000000u);
}

TEST(simulated_terminal, gives_the_scripted_keys_and_passes_time_without_one) {
  support::scoped_machine machine;
  machine.terminal.press(L"yn");
  const platform::file_time start = machine.clock.time();
  EXPECT_EQ(machine.terminal.read_key(std::chrono::milliseconds(100)), L'y');
  EXPECT_EQ(machine.terminal.read_key(std::chrono::milliseconds(100)), L'n');
  EXPECT_EQ(machine.clock.time(), start);
  EXPECT_EQ(machine.terminal.read_key(std::chrono::milliseconds(100)), L'\0');
  EXPECT_EQ(machine.clock.time(), start + 1'000'000);
}

TEST(simulated_terminal, forgets_discarded_keys_and_takes_ctrl_c_for_an_interrupt) {
  support::scoped_machine machine;
  machine.terminal.press(L"yn");
  machine.terminal.discard_keys();
  machine.terminal.press(L"\x03z");
  EXPECT_FALSE(machine.terminal.interrupted());
  EXPECT_EQ(machine.terminal.read_key(std::chrono::milliseconds(100)), L'\0');
  EXPECT_TRUE(machine.terminal.interrupted());
  EXPECT_EQ(machine.terminal.read_key(std::chrono::milliseconds(100)), L'z');
}

TEST(simulated_terminal, can_be_interrupted_at_a_chosen_moment) {
  support::scoped_machine machine;
  machine.calls.before("notify", 2, [&machine] { machine.terminal.interrupt(); });
  const auto notify = [&machine] {
    machine.shell.notify(platform::shell_event::update_item, platform::shell_flush::path_and_return, LR"(C:\a.jpg)");
  };
  notify();
  EXPECT_FALSE(machine.terminal.interrupted());
  notify();
  EXPECT_TRUE(machine.terminal.interrupted());
  EXPECT_EQ(machine.calls.named({"notify"}).front(), R"(notify(update_item, path_and_return, C:\a.jpg))");
}

TEST(simulated_errors, has_texts_of_known_codes_only) {
  support::scoped_machine machine;
  EXPECT_EQ(machine.errors.text_of(5), L"Access is denied.\r\n");
  EXPECT_EQ(machine.errors.text_of(0x80070005), L"Access is denied.\r\n");
  EXPECT_EQ(machine.errors.text_of(0x80030005), L"Access Denied.\r\n");
  EXPECT_EQ(machine.errors.text_of(54321), std::nullopt);
}

TEST(simulated_processes, answers_by_the_size_of_the_buffer) {
  support::scoped_machine machine;
  machine.processes.executable = LR"(C:\a.exe)";
  EXPECT_EQ(machine.processes.module_path(8).error(), win32_error::insufficient_buffer);
  EXPECT_EQ(*machine.processes.module_path(9), LR"(C:\a.exe)");
  EXPECT_EQ(machine.processes.package_full_name(0).code, win32_error::appmodel_no_package);
  machine.processes.package = L"package";
  const platform::package_name_answer asked = machine.processes.package_full_name(0);
  EXPECT_EQ(asked.code, win32_error::insufficient_buffer);
  EXPECT_EQ(asked.length, 8);
  const platform::package_name_answer answered = machine.processes.package_full_name(asked.length);
  EXPECT_EQ(answered.code, win32_error::success);
  EXPECT_EQ(answered.name, std::wstring(L"package\0", 8));
}

class simulated_images : public testing::Test {
 protected:
  simulated_images() { machine.write_file(photo, ""); }

  const std::wstring photo = LR"(C:\a.jpg)";
  support::scoped_machine machine;
};

TEST_F(simulated_images, a_file_that_no_test_described_has_no_known_format) {
  EXPECT_EQ(machine.images.open(photo).error(), hresult::imaging_unknown_format);
  EXPECT_EQ(machine.images.open(LR"(C:\b.jpg)").error(), hresult::file_not_found);
}

TEST_F(simulated_images, each_level_takes_its_own_queries) {
  machine.images.image(photo).container_queries = {L"/xmp/xmp:Rating"};
  const auto decoder = *machine.images.open(photo);
  const auto frame = *decoder->frame_encoder();
  EXPECT_EQ(frame->set(L"/xmp/xmp:Rating", 4u), hresult::imaging_property_not_found);
  const auto container = *decoder->container_encoder();
  EXPECT_EQ(container->set(L"/xmp/xmp:Rating", 4u), hresult::ok);
  EXPECT_TRUE(machine.images.image(photo).written.empty());
  EXPECT_EQ(container->commit(), hresult::ok);
  EXPECT_EQ(machine.images.image(photo).written[L"/xmp/xmp:Rating"], platform::property_value(4u));
}

TEST_F(simulated_images, a_commit_without_room_changes_nothing) {
  machine.images.image(photo).frame_queries = {L"/xmp/xmp:Rating"};
  machine.images.image(photo).has_room = false;
  const auto encoder = *(*machine.images.open(photo))->frame_encoder();
  EXPECT_EQ(encoder->set(L"/xmp/xmp:Rating", 4u), hresult::ok);
  EXPECT_EQ(encoder->commit(), hresult::imaging_too_much_metadata);
  EXPECT_TRUE(machine.images.image(photo).written.empty());
}

TEST_F(simulated_images, an_open_image_is_closed_to_writers) {
  machine.images.image(photo);
  const auto decoder = machine.images.open(photo);
  EXPECT_EQ(machine.files.open(photo, {platform::access::write, platform::share::all}).error(),
            win32_error::sharing_violation);
}

class simulated_profiles : public testing::Test {
 protected:
  const std::wstring ini = LR"(C:\desktop.ini)";
  support::scoped_machine machine;
  platform::profile_strings& profiles = machine.profiles;

  std::wstring value(const std::wstring& section, const std::wstring& key, std::size_t capacity) {
    const auto read = profiles.read(ini, section, key, capacity);
    EXPECT_EQ(read.error(), win32_error::success);
    return read ? *read : L"?";
  }

  static std::string utf16(std::string_view ascii) {
    std::string bytes = "\xff\xfe";
    for (const char c : ascii)
      bytes.append(1, c).append(1, '\0');
    return bytes;
  }
};

TEST_F(simulated_profiles, what_is_missing_reads_as_nothing) {
  EXPECT_EQ(value(L"s", L"k", 100), L"");
  machine.write_file(ini, "[s]\r\nother=1\r\n");
  EXPECT_EQ(value(L"s", L"k", 100), L"");
  EXPECT_EQ(value(L"t", L"other", 100), L"");
}

TEST_F(simulated_profiles, a_read_that_a_test_refuses_fails) {
  machine.write_file(ini, "[s]\r\nk=1\r\n");
  machine.calls.refuse("read_profile", ini, win32_error::read_fault, 1);
  EXPECT_EQ(profiles.read(ini, L"s", L"k", 100).error(), win32_error::read_fault);
  EXPECT_EQ(value(L"s", L"k", 100), L"1");
}

TEST_F(simulated_profiles, names_are_read_without_case_and_values_without_quotes_up_to_the_buffer) {
  machine.write_file(ini, "[Section]\r\n Key = \"a b\" \r\nlong=12345");
  EXPECT_EQ(value(L"section", L"KEY", 100), L"a b");
  EXPECT_EQ(value(L"section", L"long", 4), L"123");
}

TEST_F(simulated_profiles, writing_keeps_every_other_line) {
  machine.write_file(ini, "; note\r\n[a]\r\nk=1\r\nl=2\r\n\r\n[b]\r\nk=3\r\n");
  EXPECT_EQ(profiles.write(ini, L"A", L"K", L"9"), win32_error::success);
  EXPECT_EQ(profiles.write(ini, L"a", L"new", L"x"), win32_error::success);
  EXPECT_EQ(profiles.write(ini, L"b", L"k", std::nullopt), win32_error::success);
  EXPECT_EQ(profiles.write(ini, L"c", L"k", L"y"), win32_error::success);
  EXPECT_EQ(machine.read_file(ini), "; note\r\n[a]\r\nk=9\r\nl=2\r\nnew=x\r\n\r\n[b]\r\n[c]\r\nk=y\r\n");
}

TEST_F(simulated_profiles, a_file_with_the_mark_stays_utf16) {
  machine.write_file(ini, utf16("\r\n"));
  EXPECT_EQ(profiles.write(ini, L"s", L"k", L"v"), win32_error::success);
  EXPECT_EQ(machine.read_file(ini), utf16("\r\n[s]\r\nk=v\r\n"));
  EXPECT_EQ(profiles.write(ini, L"s", L"smile", L"\U0001f600"), win32_error::success);
  EXPECT_EQ(value(L"s", L"smile", 3), L"\U0001f600");
  EXPECT_EQ(value(L"s", L"smile", 2), L"") << "half a character is none";
}

TEST_F(simulated_profiles, a_section_goes_with_its_keys) {
  machine.write_file(ini, "[a]\r\nk=1\r\n[b]\r\nk=2\r\n");
  EXPECT_EQ(profiles.delete_section(ini, L"A"), win32_error::success);
  EXPECT_EQ(machine.read_file(ini), "[b]\r\nk=2\r\n");
}

TEST_F(simulated_profiles, a_file_that_cannot_be_written_stays_as_it_is) {
  machine.write_file(ini, "[a]\r\nk=1\r\n").attributes = platform::attribute::read_only;
  EXPECT_EQ(profiles.write(ini, L"a", L"k", L"2"), win32_error::access_denied);
  machine.entry(ini).attributes = platform::attribute::hidden | platform::attribute::system;
  machine.disk.drive(L"C:").free_bytes = 0;
  EXPECT_EQ(profiles.write(ini, L"a", L"k", L"22"), win32_error::disk_full);
  machine.disk.drive(L"C:").free_bytes.reset();
  {
    const auto locked = machine.files.open(ini, {platform::access::read, platform::share::none});
    EXPECT_EQ(profiles.write(ini, L"a", L"k", L"2"), win32_error::sharing_violation);
    EXPECT_EQ(profiles.read(ini, L"a", L"k", 100).error(), win32_error::sharing_violation);
  }
  EXPECT_EQ(machine.read_file(ini), "[a]\r\nk=1\r\n");
  EXPECT_EQ(profiles.write(LR"(C:\x\desktop.ini)", L"a", L"k", L"2"), win32_error::path_not_found);
}

TEST(log_lines, come_without_their_prefix_and_with_their_continuations) {
  support::scoped_machine machine;
  logging::logger()->make_log_directory_and_open(L"", L"Processor", L"Quill Box");
  logging::log(logging::level::info, "one {}", 1);
  logging::log(logging::level::error, "two\nthree");
  EXPECT_THAT(machine.log_lines(), ElementsAre("[INFO] one 1", "[ERROR] two\nthree"));
}

}  // namespace
