#include "support/fault_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <array>
#include <span>

#include "platform/property_keys.h"
#include "support/fault_sweep.h"
#include "support/simulated_machine.h"

namespace {

using platform::access;
using platform::disposition;
using platform::hresult;
using platform::rating_key;
using platform::share;
using platform::win32_error;
using support::fault_lasting;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

const std::wstring photo = LR"(C:\a.jpg)";

class fault_machine : public testing::Test {
 protected:
  fault_machine() {
    below.write_file(photo, "abc");
    below.properties.handler(L".jpg");
    below.images.image(photo).frame_queries = {L"/q"};
  }

  support::scoped_machine below;
  support::fault_machine faults{below.machine};
  platform::machine& machine = faults.machine();

  win32_error attributes_error() { return machine.files.attributes(photo).error(); }
};

TEST_F(fault_machine, forwards_everything_until_a_fault_is_armed) {
  EXPECT_EQ(attributes_error(), win32_error::success);
  EXPECT_EQ(machine.processes.process_id(), below.processes.process_id());
  EXPECT_EQ(machine.profiles.write(LR"(C:\x.ini)", L"s", L"k", L"v"), win32_error::success);
  EXPECT_EQ(*machine.profiles.read(LR"(C:\x.ini)", L"s", L"k", 9), L"v");
  EXPECT_EQ(faults.counted(), 0);
}

TEST_F(fault_machine, fails_one_call_once) {
  faults.arm({win32_error::disk_full, 2});
  EXPECT_EQ(attributes_error(), win32_error::success);
  EXPECT_EQ(attributes_error(), win32_error::disk_full);
  EXPECT_EQ(attributes_error(), win32_error::success);
  EXPECT_EQ(faults.counted(), 3);
  EXPECT_EQ(faults.struck(), R"(attributes(C:\a.jpg))");
  EXPECT_EQ(below.calls.count("attributes"), 2) << "a failing call does nothing below";
}

TEST_F(fault_machine, fails_from_one_call_on) {
  faults.arm({win32_error::disk_full, 2, fault_lasting::from_then_on});
  EXPECT_EQ(attributes_error(), win32_error::success);
  EXPECT_EQ(attributes_error(), win32_error::disk_full);
  EXPECT_EQ(attributes_error(), win32_error::disk_full);
  faults.disarm();
  EXPECT_EQ(attributes_error(), win32_error::success);
}

TEST_F(fault_machine, counts_only_the_named_operation) {
  faults.arm({win32_error::disk_full, 1, fault_lasting::once, "facts"});
  EXPECT_EQ(attributes_error(), win32_error::success);
  EXPECT_EQ(machine.files.facts(photo).error(), win32_error::disk_full);
}

TEST_F(fault_machine, counts_only_calls_that_can_answer_with_such_a_code) {
  faults.arm({hresult::fail, 1});
  EXPECT_EQ(attributes_error(), win32_error::success);
  EXPECT_EQ(machine.properties.open_handler_store(photo, platform::handler_access::read).error(), hresult::fail);
  faults.arm({win32_error::access_denied, 1});
  machine.shell.notify(platform::shell_event::update_item, platform::shell_flush::path_and_return, photo);
  machine.clock.sleep(std::chrono::milliseconds(1));
  EXPECT_TRUE(machine.properties.open_handler_store(photo, platform::handler_access::read));
  EXPECT_EQ(faults.counted(), 0);
}

TEST_F(fault_machine, fails_moves_removals_and_enumerations_without_doing_them) {
  below.make_directory(LR"(C:\empty)");
  faults.arm({win32_error::gen_failure, 1, fault_lasting::from_then_on});
  EXPECT_EQ(machine.files.move_file(photo, LR"(C:\b.jpg)"), win32_error::gen_failure);
  EXPECT_EQ(faults.struck(), R"(move_file(C:\a.jpg))");
  EXPECT_EQ(machine.files.remove_directory(LR"(C:\empty)"), win32_error::gen_failure);
  EXPECT_EQ(machine.files.enumerate(L"C:", [](const platform::directory_entry&) { FAIL(); }), win32_error::gen_failure);
  EXPECT_EQ(faults.counted(), 3);
  EXPECT_TRUE(below.exists(photo));
  EXPECT_TRUE(below.exists(LR"(C:\empty)"));
}

TEST_F(fault_machine, breaks_an_enumeration_off_after_what_was_visited) {
  below.write_file(LR"(C:\folder\b.jpg)", "");
  below.write_file(LR"(C:\folder\c.jpg)", "");
  std::vector<std::wstring> visited;
  const auto visit = [&](platform::directory_entry entry) { visited.push_back(std::move(entry.name)); };
  faults.arm({win32_error::read_fault, 2, fault_lasting::once, "next_entry"});
  EXPECT_EQ(machine.files.enumerate(LR"(C:\folder)", visit), win32_error::read_fault);
  EXPECT_THAT(visited, ElementsAre(L"b.jpg"));
  visited.clear();
  EXPECT_EQ(machine.files.enumerate(LR"(C:\folder)", visit), win32_error::success);
  EXPECT_THAT(visited, ElementsAre(L"b.jpg", L"c.jpg"));
}

TEST_F(fault_machine, wraps_the_files_that_it_hands_out) {
  const auto file = *machine.files.open(photo, {access::read | access::write, share::none});
  std::array<std::byte, 2> bytes = {};
  const auto error_of = [this](const char* operation, auto call) {
    faults.arm({win32_error::gen_failure, 1, fault_lasting::once, operation});
    EXPECT_EQ(call(), win32_error::gen_failure) << operation;
    EXPECT_EQ(faults.struck(), std::string(operation) + R"((C:\a.jpg))");
  };
  error_of("read", [&] { return file->read(bytes).error(); });
  error_of("write", [&] { return file->write(bytes).error(); });
  error_of("seek", [&] { return file->seek(0); });
  error_of("size", [&] { return file->size().error(); });
  error_of("set_end", [&] { return file->set_end(); });
  error_of("set_last_write_time", [&] { return file->set_last_write_time(1); });
  error_of("close", [&] { return file->close(); });
  EXPECT_EQ(below.read_file(photo), "abc");
  EXPECT_THAT(below.open_handles(), ElementsAre()) << "a failed close leaves nothing open";
}

TEST_F(fault_machine, wraps_stores_and_encoders) {
  const auto failing = [this](const char* operation) {
    faults.arm({hresult::fail, 1, fault_lasting::once, operation});
  };
  const auto storage =
      *machine.properties.open_property_set_storage(photo, platform::storage_access::read_write_exclusive);
  failing("create_store");
  EXPECT_EQ(storage->create_store(platform::store_access::read_write).error().code, hresult::fail);
  const auto store = *storage->create_store(platform::store_access::read_write);
  failing("get");
  EXPECT_EQ(store->get(rating_key).error(), hresult::fail);
  failing("set");
  EXPECT_EQ(store->set(rating_key, 1u), hresult::fail);
  failing("commit");
  EXPECT_EQ(store->commit(), hresult::fail);
}

TEST_F(fault_machine, wraps_image_encoders) {
  const auto failing = [this](const char* operation) {
    faults.arm({hresult::fail, 1, fault_lasting::once, operation});
  };
  failing("open_image");
  EXPECT_EQ(machine.images.open(photo).error(), hresult::fail);
  const auto decoder = *machine.images.open(photo);
  failing("frame_encoder");
  EXPECT_EQ(decoder->frame_encoder().error(), hresult::fail);
  failing("container_encoder");
  EXPECT_EQ(decoder->container_encoder().error(), hresult::fail);
  const auto encoder = *decoder->frame_encoder();
  failing("set_metadata");
  EXPECT_EQ(encoder->set(L"/q", 1u), hresult::fail);
  EXPECT_EQ(encoder->set(L"/q", 1u), hresult::ok);
  failing("commit_metadata");
  EXPECT_EQ(encoder->commit(), hresult::fail);
  EXPECT_EQ(encoder->commit(), hresult::ok);
}

TEST_F(fault_machine, a_short_write_takes_half_and_says_so) {
  const auto file = *machine.files.open(photo, {access::write, share::none});
  faults.arm({support::short_write{}, 1});
  EXPECT_EQ(*file->write(std::as_bytes(std::span(std::string_view("WXYZ")))), 2);
  EXPECT_EQ(below.read_file(photo), "WXc");
  EXPECT_EQ(*file->write(std::as_bytes(std::span(std::string_view("YZ")))), 2);
}

TEST_F(fault_machine, a_commit_fails_for_ever_only_with_a_sharing_violation) {
  const auto store = *machine.properties.open_handler_store(photo, platform::handler_access::read_write);
  faults.arm({hresult::fail, 1, fault_lasting::from_then_on, "commit"});
  EXPECT_EQ(store->commit(), hresult::fail);
  EXPECT_EQ(store->commit(), hresult::ok);
  for (const hresult code : {hresult::sharing_violation, hresult::storage_sharing_violation}) {
    faults.arm({code, 1, fault_lasting::from_then_on, "commit"});
    EXPECT_EQ(store->commit(), code);
    EXPECT_EQ(store->commit(), code);
  }
}

// A scenario with three calls that can fail: open, write, close.
void save(support::simulated_machine&) {
  const auto file = platform::current().files.open(photo, {access::write, share::none, disposition::create_always});
  if (!file) return;
  const auto written = (*file)->write(std::as_bytes(std::span(std::string_view("new"))));
  if (!written || *written != 3) platform::current().shell.notify({}, {}, L"not written");
  if (!succeeded((*file)->close())) platform::current().shell.notify({}, {}, L"not closed");
}

TEST(for_each_fault, fails_each_call_in_turn_on_a_fresh_machine_and_ends_with_a_run_without_fault) {
  std::vector<std::string> struck;
  std::size_t whole_runs = 0;
  const std::array<support::fault_code, 1> codes = {win32_error::disk_full};
  support::for_each_fault(codes, {[](support::simulated_machine& machine) { machine.write_file(photo, "old"); }, save},
                          [&](const support::fault_round& round) {
                            if (round.struck) {
                              struck.push_back(*round.struck);
                            } else {
                              ++whole_runs;
                              EXPECT_EQ(round.machine.read_file(photo), "new");
                            }
                            if (round.struck == R"(open(C:\a.jpg))") {
                              EXPECT_EQ(round.machine.read_file(photo), "old");
                            }
                          });
  EXPECT_EQ(whole_runs, 2) << "once and from then on";
  EXPECT_THAT(struck, UnorderedElementsAre(R"(open(C:\a.jpg))", R"(write(C:\a.jpg))", R"(close(C:\a.jpg))",
                                           R"(open(C:\a.jpg))", R"(write(C:\a.jpg))", R"(close(C:\a.jpg))"));
}

TEST(for_each_fault, sweeps_short_writes_over_writes_alone) {
  std::vector<std::string> contents;
  const std::array<support::fault_code, 1> codes = {support::short_write{}};
  support::for_each_fault(codes, {[](support::simulated_machine&) {}, save}, [&](const support::fault_round& round) {
    contents.push_back(round.machine.read_file(photo));
  });
  EXPECT_THAT(contents, ElementsAre("n", "new", "n", "new"));
}

void ask_for_ever() {
  const std::array<support::fault_code, 1> codes = {win32_error::disk_full};
  std::size_t calls = 0;
  const auto ask_more_each_time = [&calls](support::simulated_machine&) {
    ++calls;
    for (std::size_t i = 0; i < calls; ++i)
      static_cast<void>(platform::current().files.attributes(photo));
  };
  support::for_each_fault(
      codes, {[](support::simulated_machine&) {}, ask_more_each_time}, [](const support::fault_round&) {}, 20);
}

TEST(for_each_fault, a_sweep_without_an_end_fails) { EXPECT_NONFATAL_FAILURE(ask_for_ever(), "The sweep has no end"); }

void leave_open_when_the_call_fails() {
  std::unique_ptr<support::disk_claim> left;
  const auto run = [&left](support::simulated_machine& machine) {
    if (!platform::current().files.attributes(L"C:\\")) {
      left = std::make_unique<support::disk_claim>(*machine.disk.find(L"C:\\"),
                                                   support::disk_use{access::read, share::none});
    }
  };
  const std::array<support::fault_code, 1> codes = {win32_error::disk_full};
  support::for_each_fault(codes, {[](support::simulated_machine&) {}, run},
                          [&left](const support::fault_round&) { left.reset(); });
}

TEST(for_each_fault, a_handle_that_a_run_leaves_open_fails) {
  testing::TestPartResultArray results;
  {
    const testing::ScopedFakeTestPartResultReporter reporter(&results);
    leave_open_when_the_call_fails();
  }
  ASSERT_EQ(results.size(), 2) << "once and from then on";
  EXPECT_THAT(results.GetTestPartResult(0).message(), testing::HasSubstr("was left open"));
}

}  // namespace
