#include "organize/undo_journal.h"

#include <gtest/gtest.h>

#include <string>

#include "support/failure_of.h"
#include "support/simulated_machine.h"

namespace {

using namespace quill_box::organize;
namespace attribute = platform::attribute;
using platform::win32_error;
using support::failure_of;

const std::wstring path = LR"(C:\Photos\qb_organize_undo.json)";

const undo_journal sample = {LR"(C:\Photos)",
                             {L"2026", LR"(2026\Paris)"},
                             {{L"a.jpg", LR"(2026\Paris\a.jpg)"}, {L"\u00e9.jpg", LR"(D:\Other\"e".jpg)"}}};

constexpr const char* sample_text =
    "{\r\n"
    "    \"version\": \"1.0\",\r\n"
    "    \"folder\": \"C:\\\\Photos\",\r\n"
    "    \"created_folders\": [\r\n"
    "        \"2026\",\r\n"
    "        \"2026\\\\Paris\"\r\n"
    "    ],\r\n"
    "    \"moves\": [\r\n"
    "        {\r\n"
    "            \"from\": \"a.jpg\",\r\n"
    "            \"to\": \"2026\\\\Paris\\\\a.jpg\"\r\n"
    "        },\r\n"
    "        {\r\n"
    "            \"from\": \"\xc3\xa9.jpg\",\r\n"
    "            \"to\": \"D:\\\\Other\\\\\\\"e\\\".jpg\"\r\n"
    "        }\r\n"
    "    ]\r\n"
    "}";

TEST(journal_text, is_the_documented_form_to_the_byte) { EXPECT_EQ(journal_text(sample), sample_text); }

TEST(journal_text, of_a_run_without_folders_has_empty_arrays) {
  EXPECT_EQ(journal_text({L"f", {}, {}}),
            "{\r\n    \"version\": \"1.0\",\r\n    \"folder\": \"f\",\r\n    \"created_folders\": [],\r\n"
            "    \"moves\": []\r\n}");
}

TEST(parse_journal, reads_what_was_written) { EXPECT_EQ(parse_journal(sample_text), sample); }

TEST(parse_journal, takes_any_version_or_none) {
  EXPECT_EQ(parse_journal(R"({"version":"9","folder":"f"})"), (undo_journal{L"f", {}, {}}));
  EXPECT_EQ(parse_journal(R"({"version":7})"), undo_journal());
  EXPECT_EQ(parse_journal("{}"), undo_journal());
}

TEST(parse_journal, what_is_of_another_type_counts_as_empty) {
  EXPECT_EQ(parse_journal(R"({"folder":1,"created_folders":"a","moves":{}})"), undo_journal());
  EXPECT_EQ(parse_journal(R"({"created_folders":["a",1,null,["b"],"c"]})"), (undo_journal{L"", {L"a", L"c"}, {}}));
}

TEST(parse_journal, a_move_without_its_two_strings_is_dropped_alone) {
  EXPECT_EQ(parse_journal(R"({"moves":[{"from":1,"to":"b"},{"from":"a"},{"to":"b"},7,{"to":"d","from":"c"}]})"),
            (undo_journal{L"", {}, {{L"c", L"d"}}}));
}

TEST(parse_journal, what_is_no_object_is_none) {
  for (const char* text : {"", " ", "[]", "null", "\"a\"", "{", "{\"moves\":[", "{} {}", "\xff"})
    EXPECT_EQ(parse_journal(text), std::nullopt) << text;
}

TEST(parse_journal, cut_at_every_byte_is_none) {
  const std::string_view whole = sample_text;
  for (std::size_t size = 0; size < whole.size(); ++size)
    EXPECT_EQ(parse_journal(whole.substr(0, size)), std::nullopt) << size;
}

TEST(parse_journal, nesting_is_bounded_by_nothing_but_memory) {
  const std::string deep = R"({"x":)" + std::string(1'000'000, '[') + std::string(1'000'000, ']') + "}";
  EXPECT_EQ(parse_journal(deep), undo_journal());
}

class journal_file : public testing::Test {
 protected:
  support::scoped_machine machine;
};

TEST_F(journal_file, lies_in_the_folder) {
  EXPECT_EQ(journal_path(LR"(C:\Photos)"), path);
  EXPECT_EQ(journal_path(LR"(C:\)"), LR"(C:\qb_organize_undo.json)");
}

TEST_F(journal_file, is_written_hidden_and_read_back) {
  machine.make_directory(LR"(C:\Photos)");
  write_journal(sample, path);
  EXPECT_EQ(machine.read_file(path), sample_text);
  EXPECT_TRUE(machine.entry(path).has(attribute::hidden));
  EXPECT_EQ(read_journal(path), sample);
}

TEST_F(journal_file, a_hidden_one_of_an_earlier_run_is_replaced) {
  machine.write_file(path, std::string(10'000, 'x')).attributes |= attribute::hidden;
  write_journal(sample, path);
  EXPECT_EQ(machine.read_file(path), sample_text);
  EXPECT_TRUE(machine.entry(path).has(attribute::hidden));
}

TEST_F(journal_file, a_read_only_one_is_a_failure_and_stays) {
  machine.write_file(path, "old").attributes |= attribute::read_only | attribute::hidden;
  EXPECT_EQ(failure_of([] { write_journal(sample, path); }), "Failed to write undo journal");
  EXPECT_EQ(machine.read_file(path), "old");
}

TEST_F(journal_file, one_that_can_not_be_hidden_stays_visible_without_a_failure) {
  machine.make_directory(LR"(C:\Photos)");
  machine.calls.refuse("set_attributes", path, win32_error::access_denied);
  write_journal(sample, path);
  EXPECT_EQ(machine.read_file(path), sample_text);
  EXPECT_FALSE(machine.entry(path).has(attribute::hidden));
}

TEST_F(journal_file, one_that_is_not_written_whole_is_a_failure) {
  machine.make_directory(LR"(C:\Photos)");
  for (const char* operation : {"write", "close"}) {
    machine.calls.refuse(operation, path, win32_error::disk_full, 1);
    EXPECT_EQ(failure_of([] { write_journal(sample, path); }), "Failed to write undo journal") << operation;
  }
}

TEST_F(journal_file, one_that_the_disk_has_no_room_for_is_a_failure) {
  machine.make_directory(LR"(C:\Photos)");
  machine.disk.drive(L"C:").free_bytes = 10;
  EXPECT_EQ(failure_of([] { write_journal(sample, path); }), "Failed to write undo journal");
}

TEST_F(journal_file, each_way_not_to_be_read_has_its_message) {
  EXPECT_EQ(failure_of([] { static_cast<void>(read_journal(path)); }), "Failed to open undo journal");
  for (const char* text : {"", "[]", "{"}) {
    machine.write_file(path, text);
    EXPECT_EQ(failure_of([] { static_cast<void>(read_journal(path)); }), "Undo journal is not valid JSON");
  }
}

}  // namespace
